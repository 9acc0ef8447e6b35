// File helpers shared by the POSIX backends.

#ifndef QX_POSIX_FILE_H
#define QX_POSIX_FILE_H

#include "platform/files.h"

#include <sys/types.h>

#include <string>
#include <string_view>

namespace ut::platform::posix {

// The mode of a folder (`isDir`) or file made with `sharing`: 0700 or 0755, 0600 or 0644.
mode_t modeOf(Sharing sharing, bool isDir);
// Makes `dir` and its missing parents with the mode of `sharing`, whatever the umask.
bool makeDirectories(const std::string& dir, Sharing sharing);
// Writes all of `bytes` to `fd`, going on after interruptions; false when a write fails.
bool writeAll(int fd, std::string_view bytes);
// Creates `file`, empty, with the mode of `sharing` unless it exists; false when it can be neither.
bool createFile(const std::string& file, Sharing sharing);

}  // namespace ut::platform::posix

#endif
