// OdDbSymUtil: the drawing SDK's rules for symbol-table names (layers, blocks, text styles, ...), as far
// as qxutils and its users need them.
//
// Extended names, the default: not empty, at most 255 characters, no leading or trailing space, no
// control character (below U+0020) and none of < > / \ " : ; ? * , = | ` (the vertical bar is allowed
// where the caller says so, as in the names of externally referenced symbols "Xref|Layer"). The older
// rules (extendedNames false) allow at most 31 characters, each an ASCII letter or digit, '$', '-' or '_'
// (or '|' where allowed).
//
//   OdDbSymUtil::validateSymbolName(L"Walls 2nd floor");               // true
//   OdDbSymUtil::validateSymbolName(L"Walls 2nd floor", false, false);  // false: spaces
//   OdDbSymUtil::validateSymbolName(L"Xref|Walls", true);              // true
//   OdDbSymUtil::repairSymbolName(L"a<b>c");                           // L"a_b_c"
//   OdDbSymUtil::repairSymbolName(L" Walls ");                         // L"_Walls_"
//   OdDbSymUtil::repairSymbolName(L"");                                // L"_"
//
// Both functions are pure and may be called from any thread.

#ifndef QX_SDK_ODDBSYMUTIL_H
#define QX_SDK_ODDBSYMUTIL_H

#include "OdString.h"

namespace OdDbSymUtil {

// Whether `name` obeys the rules above.
bool validateSymbolName(const OdString& name, bool allowVerticalBar = false, bool extendedNames = true);

// `source` made to obey the rules, changing as little as possible: a name too long is cut to the
// maximum length; each character the rules refuse becomes `replacement`; a leading or trailing space
// (after the cut) becomes `replacement`; an empty name becomes `replacement` alone. A valid name comes
// back unchanged. The result is valid when `replacement` itself is a valid one-character name.
OdString repairSymbolName(const OdString& source, wchar_t replacement = L'_', bool allowVerticalBar = false,
                          bool extendedNames = true);

}  // namespace OdDbSymUtil

#endif
