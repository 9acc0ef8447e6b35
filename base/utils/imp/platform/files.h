// What every platform backend provides to the file families: the native form of a path, the owner of a
// file, when a file was made, and the means to keep the library's own files (the configuration file, the registry hives) safe
// from other accounts and from each other's writers. The POSIX backend is posix/files.cpp.

#ifndef QX_FILE_PLATFORM_H
#define QX_FILE_PLATFORM_H

#include "OdString.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace ut::platform {

// `path` with the foreign separator turned into the native one and '|' into a space.
OdString correctPathSeparators(const OdString& path);
// The login name of the account that owns the file; false when the file or its owner cannot be found.
bool fileOwner(const OdString& path, OdString& owner);

// Who may use a file or folder the library makes for data of its own: the user's settings are the
// user's alone, as HKEY_CURRENT_USER is; the machine's are readable by every account.
enum class Sharing { eOwnerOnly, eReadableByAll };

// What tells one state of a file from another: a file written or replaced since has another stamp.
struct FileStamp {
  uint64_t volume = 0;
  uint64_t file = 0;
  uint64_t size = 0;
  int64_t modifiedNs = 0;
  bool operator==(const FileStamp&) const = default;
};
// The stamp of `file` as it is now; nothing when there is no such file.
std::optional<FileStamp> fileStamp(const OdString& file);

// When `file` came to be, in nanoseconds since the epoch; nothing when there is no such file.
std::optional<int64_t> fileCreationTimeNs(const OdString& file);
// Empties `file`, making it when missing, and gives it the access `sharing` gives whatever the umask;
// false when it can do neither, or cannot give it that access.
bool makeEmptyFile(const OdString& file, Sharing sharing);

// Makes `dir` and its missing parents with the access `sharing` gives, whatever the process's umask.
// Folders that exist are left as they are.
bool makeDirectories(const OdString& dir, Sharing sharing);
// Replaces the content of `file` in one step: a reader sees the old content or the new one, never a
// part. A new file gets the access `sharing` gives; an existing one keeps its own.
bool replaceFile(const OdString& file, std::string_view bytes, Sharing sharing);

// An exclusive lock on `lockFile` (made, empty, when missing), held from construction to destruction.
// Another FileLock on the same file, in this process or another, waits until it is released, or gives
// up after `timeoutMs`. Not re-entrant: a thread must not lock a file it holds.
class FileLock {
 public:
  FileLock(const OdString& lockFile, Sharing sharing, int timeoutMs);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  // False when the lock could not be taken in time, or the lock file cannot be made.
  [[nodiscard]] bool locked() const;

 private:
  struct Held;
  std::unique_ptr<Held> m_held;
};

}  // namespace ut::platform

#endif
