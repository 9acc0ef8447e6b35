// File services on POSIX: '/' is the separator, a file's owner is the user name of its uid, modes are
// set with chmod after creation (creation alone passes them through the umask), a file is replaced by
// renaming a finished copy over it, locks are flock() locks on a file of their own, and a file system is
// probed with statvfs(), which NFS, SMB and SFTP answer from the server.

#include "platform/files.h"

#include "platform/posix/files_posix.h"
#include "platform/text.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

namespace ut::platform {

namespace posix {

mode_t modeOf(Sharing sharing, bool isDir) {
  if (sharing == Sharing::eOwnerOnly) return isDir ? 0700 : 0600;
  return isDir ? 0755 : 0644;
}

bool makeDirectories(const std::string& dir, Sharing sharing) {
  struct stat status {};
  if (dir.empty() || stat(dir.c_str(), &status) == 0) return true;
  const std::string parent = std::filesystem::path(dir).parent_path().string();
  if (parent != dir && !makeDirectories(parent, sharing)) return false;
  const mode_t mode = modeOf(sharing, true);
  if (mkdir(dir.c_str(), mode) != 0) return errno == EEXIST;
  return chmod(dir.c_str(), mode) == 0;
}

bool createFile(const std::string& file, Sharing sharing) {
  const mode_t mode = modeOf(sharing, false);
  const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (fd < 0) return errno == EEXIST;
  const bool ok = fchmod(fd, mode) == 0;
  return close(fd) == 0 && ok;
}

// The names are our own rather than mkostemp's, whose files are made 0600 whatever the mode asked. A
// forked child draws other names than its parent.
int createBeside(const std::string& path, mode_t mode, std::string& temporary) {
  static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  thread_local std::minstd_rand random;
  thread_local pid_t seededIn = 0;
  if (const pid_t pid = getpid(); pid != seededIn) {
    random.seed(std::random_device{}() ^ static_cast<unsigned>(pid));
    seededIn = pid;
  }
  for (int attempt = 0; attempt < 100; ++attempt) {
    temporary = path + '.';
    for (int i = 0; i < 6; ++i) temporary += kLetters[random() % (sizeof kLetters - 1)];
    const int fd = open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

std::string accountName(uid_t uid) {
  const long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
  struct passwd entry {};
  struct passwd* found = nullptr;
  if (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return std::string();
  return found->pw_name;
}

}  // namespace posix

OdString correctPathSeparators(const OdString& path) {
  OdString corrected = path;
  corrected.replace(L'\\', L'/');
  corrected.replace(L'|', L' ');
  return corrected;
}

bool fileOwner(const OdString& path, OdString& owner) {
  struct stat status {};
  if (path.isEmpty() || stat(fileNameToNarrow(path.view()).c_str(), &status) != 0) return false;
  owner = OdString(codePageToWide(posix::accountName(status.st_uid), kAnsiCodePage));
  return !owner.isEmpty();
}

std::optional<FileStamp> fileStamp(const OdString& file) {
  struct stat status {};
  if (stat(fileNameToNarrow(file.view()).c_str(), &status) != 0) return std::nullopt;
  return FileStamp{status.st_dev, status.st_ino, static_cast<uint64_t>(status.st_size),
                   status.st_mtim.tv_sec * 1000000000LL + status.st_mtim.tv_nsec};
}

std::optional<int64_t> fileCreationTimeNs(const OdString& file) {
  // The birth time where the file system records one (statx's btime), else the last modification.
  struct statx status {};
  if (statx(AT_FDCWD, fileNameToNarrow(file.view()).c_str(), 0, STATX_BTIME | STATX_MTIME, &status) != 0)
    return std::nullopt;
  const statx_timestamp& time = status.stx_mask & STATX_BTIME ? status.stx_btime : status.stx_mtime;
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

bool makeEmptyFile(const OdString& file, Sharing sharing) {
  const mode_t mode = posix::modeOf(sharing, false);
  const int fd = open(fileNameToNarrow(file.view()).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, mode);
  if (fd < 0) return false;
  // A file that cannot be given the access is left as it was.
  const bool ok = fchmod(fd, mode) == 0 && ftruncate(fd, 0) == 0;
  return close(fd) == 0 && ok;
}

bool makeDirectories(const OdString& dir, Sharing sharing) {
  return posix::makeDirectories(fileNameToNarrow(dir.view()), sharing);
}

bool replaceFile(const OdString& file, std::string_view bytes, Sharing sharing) {
  const std::string path = fileNameToNarrow(file.view());
  struct stat existing {};
  const mode_t mode =
      stat(path.c_str(), &existing) == 0 ? existing.st_mode & 07777 : posix::modeOf(sharing, false);
  std::string temporary;
  const int fd = posix::createBeside(path, 0600, temporary);
  if (fd < 0) return false;
  bool ok = fchmod(fd, mode) == 0 && posix::writeAll(fd, bytes);
  ok = close(fd) == 0 && ok;
  if (ok && rename(temporary.c_str(), path.c_str()) == 0) return true;
  unlink(temporary.c_str());
  return false;
}

struct FileLock::Held {
  int fd = -1;
};

FileLock::FileLock(const OdString& lockFile, Sharing sharing, int timeoutMs) {
  const std::string path = fileNameToNarrow(lockFile.view());
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, posix::modeOf(sharing, false));
  if (fd < 0) return;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() > deadline) {
      close(fd);
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  m_held = std::make_unique<Held>(Held{fd});
}

FileLock::~FileLock() {
  if (m_held) close(m_held->fd);  // closing the last descriptor releases the lock
}

bool FileLock::locked() const { return m_held != nullptr; }

bool probeFileSystem(const OdString& root) {
  struct statvfs status {};
  return statvfs(fileNameToNarrow(root.view()).c_str(), &status) == 0;
}

}  // namespace ut::platform
