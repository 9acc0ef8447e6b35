// What every platform backend tells about the system the library runs on: where the running program
// lies, where users' and the machine's configuration is kept, who runs it on which machine, which thread
// is calling, and where debug output goes. The POSIX backend is posix/system.cpp; a Windows backend would
// answer with GetModuleFileNameW, the known folders of SHGetKnownFolderPath, GetUserNameW,
// GetComputerNameW and OutputDebugStringW.
//
// Every function may be called from any thread.

#ifndef QX_PLATFORM_SYSTEM_H
#define QX_PLATFORM_SYSTEM_H

#include "OdString.h"

#include <string_view>

namespace ut::platform {

// The folder of the running executable, ending with a separator; empty when it cannot be found.
OdString executableFolder();
// The folder for the configuration files of the user's that `vendor` makes, ending with a separator:
// $XDG_CONFIG_HOME/<vendor>/, else ~/.config/<vendor>/ on POSIX.
OdString userConfigDir(const OdString& vendor);
// The same for the whole machine: /etc/xdg/<vendor>/ on POSIX.
OdString machineConfigDir(const OdString& vendor);
// The login name of the account the process runs as; its number where the account database does not
// know it.
OdString loginName();
// The machine's name on the network; empty when the system cannot tell it.
OdString hostName();
// The calling thread's system-wide id: gettid() on POSIX. Signal-safe.
unsigned long currentThreadId();
// Hands `text` to the platform's debug output as it stands: standard error, in UTF-8, on POSIX
// (OutputDebugStringW on Windows). One call's text is not interleaved with another thread's.
void debugOutput(std::wstring_view text);

}  // namespace ut::platform

#endif
