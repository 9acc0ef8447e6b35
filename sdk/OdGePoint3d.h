// A point in space of the drawing SDK, with double coordinates.
//
//   OdGePoint3d p(1, 2, 2);
//   p.distanceTo(OdGePoint3d());  // 3

#ifndef QX_SDK_ODGEPOINT3D_H
#define QX_SDK_ODGEPOINT3D_H

#include <cmath>

class OdGePoint3d {
 public:
  OdGePoint3d() = default;
  OdGePoint3d(double xx, double yy, double zz) : x(xx), y(yy), z(zz) {}

  double distanceTo(const OdGePoint3d& p) const {
    return std::sqrt((x - p.x) * (x - p.x) + (y - p.y) * (y - p.y) + (z - p.z) * (z - p.z));
  }
  bool isEqualTo(const OdGePoint3d& p, double tolerance = 1e-10) const { return distanceTo(p) <= tolerance; }
  bool operator==(const OdGePoint3d&) const = default;

  double x = 0;
  double y = 0;
  double z = 0;
};

#endif
