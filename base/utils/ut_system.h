// System information the other families build on: where the running program lies, where the user's
// configuration is kept, and which thread is which.
//
//   OdString qsb = ut::getExecutableFolder() + L"qsb.json";     // beside the executable
//   OdString config = ut::getUserConfigDir() + L"config";        // ~/.config/Korvani/config

#ifndef QX_UT_SYSTEM_H
#define QX_UT_SYSTEM_H

#include "OdString.h"

namespace ut {

// The folder of the running executable, ending with a separator; empty when it cannot be found.
OdString getExecutableFolder();
// The folder for the company's configuration files: $XDG_CONFIG_HOME/<company>/, else
// ~/.config/<company>/ (the company of Config::regCompany), ending with a separator.
OdString getUserConfigDir();

// The calling thread's id as the system knows it (gettid() on POSIX, GetCurrentThreadId on Windows).
unsigned long getCurrentThreadId();
// The thread the host counts as its main one: the log marks its lines, crash reports name its stack.
// initCrashReporting records the calling thread; a host may record another. 0 while none is recorded.
void setMainThreadId(unsigned long id);
unsigned long getMainThreadId();

}  // namespace ut

#endif
