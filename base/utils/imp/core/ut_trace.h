// Developer trace lines: "level> text" on standard error when VDM_LOG_LEVEL is at least the line's level.

#ifndef QX_UT_TRACE_H
#define QX_UT_TRACE_H

#include <wx/string.h>

namespace ut::internal {

void trace(int level, const wxString& text);

}  // namespace ut::internal

#endif
