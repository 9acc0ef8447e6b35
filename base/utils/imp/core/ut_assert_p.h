// Reporting a failed operation through the assertion callbacks (ut_assert.h), under the operation's name.

#ifndef QX_UT_REPORT_H
#define QX_UT_REPORT_H

#include "OdString.h"
#include "ut_assert.h"

#include <wx/string.h>

#include <string>

namespace ut::internal {

// Always false, so that a failing operation can end with `return report(...)`.
inline bool report(const char* operation, const char* message) {
  callAssert(operation, message, __FILE__, __LINE__);
  return false;
}

inline bool report(const char* operation, const std::string& message) {
  return report(operation, message.c_str());
}

inline bool report(const char* operation, const wxString& message) {
  return report(operation, static_cast<const char*>(message.utf8_str()));
}

}  // namespace ut::internal

#endif
