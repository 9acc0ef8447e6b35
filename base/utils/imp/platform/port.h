// What a port of the library to another platform provides: a folder beside posix/ (windows/, say) that
// implements every contract below, which cmake/Library.cmake picks by platform. Each contract uses only
// the C++ standard library and sdk/, so that a backend compiles on its own; the families call these and
// nothing of the platform itself. They include the contracts they need; this header names them all for
// a port, and shows that they compile together. A backend may use the core layer (codecs, case folding,
// assertion callbacks, the company's name) and nothing above it.
//
//   platform/crash_helper.h  the helper a fault handler starts, its channel, private report files
//   platform/files.h         native paths, files' owners and birth times, private files and folders, file
//                            locks and stamps, the mount table and probes of network file systems
//   platform/locks.h         documents locked for editing, and the lock information files beside them
//   platform/registry.h      keys, values and transactions of the registry (posix/: SQLite hives)
//   platform/signals.h       fatal faults: handlers, alternate stacks, Windows exception codes
//   platform/stack.h         registers, stack walks, symbols, reading a process (posix/: libunwind, libdw)
//   platform/system.h        the executable's folder, the user's and the machine's configuration folders,
//                            the login and host names, thread ids, debug output
//   platform/text.h          code pages, character direction, the user's number and time formats, thread
//                            locales

#ifndef QX_PLATFORM_PORT_H
#define QX_PLATFORM_PORT_H

#include "crash_helper.h"
#include "files.h"
#include "locks.h"
#include "registry.h"
#include "signals.h"
#include "stack.h"
#include "system.h"
#include "text.h"

#endif
