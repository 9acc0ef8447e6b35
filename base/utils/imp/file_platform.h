// What every platform backend provides to the file families: the native form of a path and the owner of
// a file. The POSIX backend is posix/file_platform.cpp.

#ifndef QX_FILE_PLATFORM_H
#define QX_FILE_PLATFORM_H

#include "OdString.h"

namespace ut::platform {

// `path` with the foreign separator turned into the native one and '|' into a space.
OdString correctPathSeparators(const OdString& path);
// The login name of the account that owns the file; false when the file or its owner cannot be found.
bool fileOwner(const OdString& path, OdString& owner);

}  // namespace ut::platform

#endif
