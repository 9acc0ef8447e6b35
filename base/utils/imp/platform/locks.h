// What every platform backend provides to the document locks of ut_file_locker.h: a document held open
// so that nobody else can take it for editing while the holder lives, and the small information files
// written beside it. The POSIX backend is posix/locks.cpp; a Windows backend would open the document
// with CreateFileW sharing read access only, and write the information files hidden.
//
// Every function may be called from any thread.

#ifndef QX_PLATFORM_LOCKS_H
#define QX_PLATFORM_LOCKS_H

#include "OdString.h"

#include <cstdint>
#include <string_view>

namespace ut::platform {

// An open file as the platform names it: a descriptor on POSIX, a HANDLE on Windows.
using NativeHandle = std::intptr_t;
// No file: all bits set.
constexpr NativeHandle kNoHandle = -1;

// Opens the existing file `path` for reading and writing and locks it against every other
// openLockedDocument of it, in this process or another, until the handle is closed or the process ends,
// however it ends. Opening the file only to read it still succeeds. kNoHandle when the file does not
// exist, may not be written, or is locked already.
NativeHandle openLockedDocument(const OdString& path);

// Writes `content` as the file `path`, in one step replacing any file of that name (a reader sees the
// old file or all of the new one), for every account to read as far as the folder and the process's
// defaults allow, and leaves it open; while it is open, openLockedDocument of it fails. kNoHandle when
// it cannot be written; an old file then stays.
NativeHandle createLockInfoFile(const OdString& path, std::string_view content);

// Closes `handle`; false when the system reports a failure, after which the handle is gone all the same.
bool closeHandle(NativeHandle handle);

// Deletes `path` if it still names the file that `handle` has open (one that another process has put in
// its place since stays), then closes `handle`. False when the deletion or the closing fails.
bool removeLockInfoFile(NativeHandle handle, const OdString& path);

}  // namespace ut::platform

#endif
