// What every platform backend provides to the file families: the native form of a path, the owner of a
// file, when a file was made, the means to keep the library's own files (the configuration file, the
// registry hives) safe from other accounts and from each other's writers, the file systems mounted over a
// network, and what walking, extracting and replacing files needs: kinds of files, directory listings,
// file times, files put in place whole. The POSIX backend is posix/files.cpp, posix/mounts.cpp and
// posix/files_tree.cpp.

#ifndef QX_FILE_PLATFORM_H
#define QX_FILE_PLATFORM_H

#include "OdString.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

// A mounted file system: where it is mounted, and whether a server on the network serves it (NFS,
// SMB, SSHFS and the like), so that it may stop answering.
struct MountPoint {
  OdString path;
  bool network = false;
};
using MountTable = std::vector<MountPoint>;

// The file systems the process sees mounted now, in the order they were mounted. A table never changes
// once made: a mount or unmount gives a new one. Cheap while nothing is mounted or unmounted. May be
// called from any thread.
std::shared_ptr<const MountTable> mountTable();

// Asks the file system that holds `root` for its size and free space, which over a network the server
// answers itself (no cache does). Returns when the answer comes: for a server that does not answer,
// perhaps never, so call it only where the caller can abandon the wait. False when the answer is an
// error.
bool probeFileSystem(const OdString& root);

// The text of the error of the last system call or C library file function that failed on this thread
// ("Permission denied", "No such file or directory").
std::string lastErrorText();

// What stands at a path. With `followLinks` a symbolic link counts as what it points to (eMissing when
// that is gone); without, it is eLink.
enum class FileKind { eMissing, eFile, eDirectory, eLink, eOther };
FileKind fileKind(const OdString& path, bool followLinks);

// One entry of a directory: kind and stamp are those of what a symbolic link points to.
struct DirectoryEntry {
  std::wstring name;
  FileKind kind = FileKind::eMissing;
  bool isLink = false;
  FileStamp stamp;
};
// Appends the entries of `dir`, "." and ".." left out, in no particular order; false (and nothing
// appended) when it cannot be read.
bool listDirectory(const OdString& dir, std::vector<DirectoryEntry>& entries);

// Sets the modification time of `path` (and its access time) to `seconds` since 1970, UTC.
bool setModificationTime(const OdString& path, int64_t seconds);

// Puts `bytes` at `path` as a file of its own, with the modification time `modified` unless that is
// negative. A new file is written in place (and removed again when that fails); an existing file or link
// is replaced as a PendingFile replaces it. The file gets the mode the process's umask gives. Safe to call
// from any thread.
bool putFile(const OdString& path, std::string_view bytes, int64_t modified);

// A new file that is written under a temporary name in the folder of `path` and takes the place of
// `path` by commit(): whoever looks at `path` meanwhile sees what stood there before (or nothing), never
// part of the new file. A symbolic link at `path` is replaced, not followed. The temporary file gets the
// mode the process's umask gives and is removed by the destructor unless it was committed. Instances are
// independent of each other and may be used on different threads.
class PendingFile {
 public:
  explicit PendingFile(const OdString& path);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  // The temporary file, empty and ready to be opened for writing; empty when it could not be made.
  const OdString& temporaryPath() const { return m_temporary; }
  // Renames the temporary file to `path`; false when it cannot.
  [[nodiscard]] bool commit();

 private:
  OdString m_path;
  OdString m_temporary;
  bool m_committed = false;
};

}  // namespace ut::platform

#endif
