// Helpers shared by the POSIX backends: modes, folders and files made safely, and account names.

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
// Creates `file`, empty, with the mode of `sharing` unless it exists; false when it can be neither.
bool createFile(const std::string& file, Sharing sharing);

// Creates a new, empty file beside `path` ("<path>.XXXXXX", a name no other file has), open for reading
// and writing, with `mode` as far as the umask lets it through. Its descriptor, or -1; `temporary`
// receives its name.
int createBeside(const std::string& path, mode_t mode, std::string& temporary);
// Writes all of `bytes` to `fd`, going on after interruptions; false when a write fails.
bool writeAll(int fd, std::string_view bytes);

// The user name of the account `uid`; empty when the account database does not know it.
std::string accountName(uid_t uid);

// The mount points that /proc/self/mountinfo lists in `text`, each marked whether its file system is
// served over a network. Lines that do not parse are passed over.
MountTable parseMountInfo(std::string_view text);

}  // namespace ut::platform::posix

#endif
