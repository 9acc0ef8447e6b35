// OdError: the drawing SDK's exception class. It carries a wide description; what() gives the same
// text in UTF-8 so that handlers written against std::exception see it too.
//
//   try { throw OdError(L"Invalid index"); }
//   catch (const OdError& e) { e.description(); }  // L"Invalid index"

#ifndef QX_SDK_ODERROR_H
#define QX_SDK_ODERROR_H

#include "OdString.h"

#include <exception>
#include <string>

class OdError : public std::exception {
 public:
  explicit OdError(const OdString& description);

  OdString description() const { return m_description; }
  const char* what() const noexcept override { return m_what.c_str(); }

 private:
  OdString m_description;
  std::string m_what;
};

#endif
