// What every platform backend tells about the system the library runs on: where the running program
// lies, where users' and the machine's configuration is kept, and which thread is calling. The POSIX backend is posix/system.cpp;
// a Windows backend would answer with GetModuleFileNameW and the known folders of SHGetKnownFolderPath.
//
// Every function may be called from any thread.

#ifndef QX_PLATFORM_SYSTEM_H
#define QX_PLATFORM_SYSTEM_H

#include "OdString.h"

namespace ut::platform {

// The folder of the running executable, ending with a separator; empty when it cannot be found.
OdString executableFolder();
// The folder for the configuration files of the user's that `vendor` makes, ending with a separator:
// $XDG_CONFIG_HOME/<vendor>/, else ~/.config/<vendor>/ on POSIX.
OdString userConfigDir(const OdString& vendor);
// The same for the whole machine: /etc/xdg/<vendor>/ on POSIX.
OdString machineConfigDir(const OdString& vendor);
// The calling thread's system-wide id: gettid() on POSIX. Signal-safe.
unsigned long currentThreadId();

}  // namespace ut::platform

#endif
