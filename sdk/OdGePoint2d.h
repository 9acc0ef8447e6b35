// Plane geometry of the drawing SDK: a point and a vector with double coordinates.
//
//   OdGePoint2d a(1, 2), b(4, 6);
//   (b - a).length();            // 5
//   a + OdGeVector2d(1, 1);      // (2, 3)

#ifndef QX_SDK_ODGEPOINT2D_H
#define QX_SDK_ODGEPOINT2D_H

#include <cmath>

class OdGeVector2d {
 public:
  OdGeVector2d() = default;
  OdGeVector2d(double xx, double yy) : x(xx), y(yy) {}

  double length() const { return std::hypot(x, y); }
  OdGeVector2d operator+(const OdGeVector2d& v) const { return {x + v.x, y + v.y}; }
  OdGeVector2d operator-(const OdGeVector2d& v) const { return {x - v.x, y - v.y}; }
  OdGeVector2d operator*(double f) const { return {x * f, y * f}; }
  bool operator==(const OdGeVector2d&) const = default;

  double x = 0;
  double y = 0;
};

class OdGePoint2d {
 public:
  OdGePoint2d() = default;
  OdGePoint2d(double xx, double yy) : x(xx), y(yy) {}

  OdGePoint2d operator+(const OdGeVector2d& v) const { return {x + v.x, y + v.y}; }
  OdGePoint2d operator-(const OdGeVector2d& v) const { return {x - v.x, y - v.y}; }
  OdGeVector2d operator-(const OdGePoint2d& p) const { return {x - p.x, y - p.y}; }
  double distanceTo(const OdGePoint2d& p) const { return (*this - p).length(); }
  bool isEqualTo(const OdGePoint2d& p, double tolerance = 1e-10) const { return distanceTo(p) <= tolerance; }
  bool operator==(const OdGePoint2d&) const = default;

  double x = 0;
  double y = 0;
};

#endif
