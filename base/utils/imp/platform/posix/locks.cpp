// Document locks on POSIX: an open-file-description lock (F_OFD_SETLK) on the whole document. It belongs
// to the open file, not to the process as a classic fcntl() lock does, so a second open in the same
// process is refused too, and the kernel drops it with the last descriptor, however the process ends.
// The locks are advisory: they bind those that ask for them, and readers never ask.

#include "platform/locks.h"

#include "platform/posix/files_posix.h"
#include "platform/text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace ut::platform {

namespace {

// A write lock on the whole of the file `fd` has open, for as long as that open file lives.
bool lockWhole(int fd) {
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  int result;
  while ((result = fcntl(fd, F_OFD_SETLK, &whole)) != 0 && errno == EINTR) {
  }
  return result == 0;
}

}  // namespace

NativeHandle openLockedDocument(const OdString& path) {
  const int fd = open(fileNameToNarrow(path.view()).c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY);
  if (fd < 0 || lockWhole(fd)) return fd;
  close(fd);
  return kNoHandle;
}

// Written under a name of its own and renamed over the old file, so that another instance reading the
// information never sees half of it, and a file that a crashed holder left behind is replaced even
// where it belongs to another account. Locked as a document is, so that nobody takes it for one while
// it is held (where the file system keeps no locks, it is written all the same).
NativeHandle createLockInfoFile(const OdString& path, std::string_view content) {
  const std::string target = fileNameToNarrow(path.view());
  std::string temporary;
  const int fd = posix::createBeside(target, 0666, temporary);
  if (fd < 0) return kNoHandle;
  (void)lockWhole(fd);
  if (posix::writeAll(fd, content) && rename(temporary.c_str(), target.c_str()) == 0) return fd;
  unlink(temporary.c_str());
  close(fd);
  return kNoHandle;
}

bool closeHandle(NativeHandle handle) { return close(static_cast<int>(handle)) == 0; }

bool removeLockInfoFile(NativeHandle handle, const OdString& path) {
  const std::string name = fileNameToNarrow(path.view());
  struct stat opened {
  }, named{};
  const bool ours = fstat(static_cast<int>(handle), &opened) == 0 && stat(name.c_str(), &named) == 0 &&
                    opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
  const bool removed = !ours || unlink(name.c_str()) == 0;
  return closeHandle(handle) && removed;
}

}  // namespace ut::platform
