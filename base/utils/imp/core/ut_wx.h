// Conversions between the interface's OdString and wxWidgets' wxString, keeping embedded NULs.

#ifndef QX_UT_WX_H
#define QX_UT_WX_H

#include "OdString.h"

#include <wx/string.h>

namespace ut::internal {

inline wxString toWx(const OdString& s) { return wxString(s.c_str(), static_cast<size_t>(s.getLength())); }

inline OdString fromWx(const wxString& s) { return OdString(std::wstring_view(s.wc_str(), s.length())); }

}  // namespace ut::internal

#endif
