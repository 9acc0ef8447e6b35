// OdAnsiString: the drawing SDK's narrow string, as far as qxutils needs it: a value type over
// std::string whose constructors accept a null pointer as the empty string.
//
//   OdAnsiString a("abc");
//   a.getLength();   // 3
//   a == "abc";      // true

#ifndef QX_SDK_ODANSISTRING_H
#define QX_SDK_ODANSISTRING_H

#include <string>
#include <string_view>

class OdAnsiString {
 public:
  OdAnsiString() = default;
  OdAnsiString(const char* s) : m_s(s ? s : "") {}
  OdAnsiString(const char* s, int length) : m_s(s ? std::string(s, length) : std::string()) {}
  OdAnsiString(std::string s) : m_s(std::move(s)) {}

  const char* c_str() const { return m_s.c_str(); }
  operator const char*() const { return m_s.c_str(); }
  const std::string& str() const { return m_s; }

  int getLength() const { return static_cast<int>(m_s.size()); }
  bool isEmpty() const { return m_s.empty(); }
  char getAt(int index) const { return m_s.at(index); }

  OdAnsiString& operator+=(const OdAnsiString& s) {
    m_s += s.m_s;
    return *this;
  }

  friend bool operator==(const OdAnsiString& a, const OdAnsiString& b) { return a.m_s == b.m_s; }
  friend bool operator==(const OdAnsiString& a, const char* b) { return a.m_s == (b ? b : ""); }
  friend auto operator<=>(const OdAnsiString& a, const OdAnsiString& b) { return a.m_s <=> b.m_s; }

 private:
  std::string m_s;
};

#endif
