// qxcrash: the crash reporter's helper. The library's fault handler starts it beside itself when the
// process it belongs to crashes; it reads the crashed process and writes the crash report and the
// minidump. Run by hand it finds no request and exits with 1.

#include "diagnostics/ut_crash_report_p.h"

int main() { return ut::internal::crashHelperMain(); }
