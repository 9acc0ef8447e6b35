// Walking and writing trees of files on POSIX: lstat and stat tell kinds apart, readdir lists a folder,
// utimensat sets times, and a pending file is made with O_EXCL under a random name beside its place and
// renamed over it (rename replaces a symbolic link rather than writing through it).

#include "platform/files.h"

#include "core/ut_utf8.h"
#include "platform/posix/files_posix.h"
#include "platform/text.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ut::platform {

namespace {

std::string narrow(const OdString& path) { return fileNameToNarrow(path.view()); }

FileKind kindOf(mode_t mode) {
  if (S_ISREG(mode)) return FileKind::eFile;
  if (S_ISDIR(mode)) return FileKind::eDirectory;
  if (S_ISLNK(mode)) return FileKind::eLink;
  return FileKind::eOther;
}

FileStamp stampOf(const struct stat& status) {
  return FileStamp{status.st_dev, status.st_ino, static_cast<uint64_t>(status.st_size),
                   status.st_mtim.tv_sec * 1000000000LL + status.st_mtim.tv_nsec};
}

DirectoryEntry entryOf(int dir, const char* name) {
  DirectoryEntry entry;
  (void)internal::decodeUtf8(name, entry.name, true);
  struct stat status {};
  if (fstatat(dir, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return entry;
  entry.isLink = S_ISLNK(status.st_mode);
  if (entry.isLink && fstatat(dir, name, &status, 0) != 0) return entry;
  entry.kind = kindOf(status.st_mode);
  entry.stamp = stampOf(status);
  return entry;
}

// `path` with a short random suffix, so that names close to the file system's limit still fit; O_EXCL
// settles the rare clash.
// Writes and closes `fd`; false, with errno telling why, when any of it fails.
bool fillFile(int fd, std::string_view bytes, int64_t modified) {
  const struct timespec times[2] = {{static_cast<time_t>(modified), 0}, {static_cast<time_t>(modified), 0}};
  bool ok = posix::writeAll(fd, bytes) && (modified < 0 || futimens(fd, times) == 0);
  const int error = errno;
  ok = close(fd) == 0 && ok;
  if (!ok && errno == 0) errno = error;
  return ok;
}

}  // namespace

std::string lastErrorText() {
  const int error = errno;
  char buffer[256];
  return strerror_r(error, buffer, sizeof buffer);
}

FileKind fileKind(const OdString& path, bool followLinks) {
  struct stat status {};
  const std::string name = narrow(path);
  const int result = followLinks ? stat(name.c_str(), &status) : lstat(name.c_str(), &status);
  return result == 0 ? kindOf(status.st_mode) : FileKind::eMissing;
}

bool listDirectory(const OdString& dir, std::vector<DirectoryEntry>& entries) {
  DIR* stream = opendir(narrow(dir).c_str());
  if (!stream) return false;
  std::vector<DirectoryEntry> found;
  // readdir tells its end from a failure only by errno, which the entries' own calls set.
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(stream);
    if (!entry) break;
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
      found.push_back(entryOf(dirfd(stream), entry->d_name));
  }
  const bool complete = errno == 0;
  closedir(stream);
  if (!complete) return false;
  entries.insert(entries.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
  return true;
}

bool setModificationTime(const OdString& path, int64_t seconds) {
  const struct timespec times[2] = {{static_cast<time_t>(seconds), 0}, {static_cast<time_t>(seconds), 0}};
  return utimensat(AT_FDCWD, narrow(path).c_str(), times, 0) == 0;
}

bool putFile(const OdString& path, std::string_view bytes, int64_t modified) {
  const std::string name = narrow(path);
  const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (fd >= 0) {
    if (fillFile(fd, bytes, modified)) return true;
    const int error = errno;
    unlink(name.c_str());
    errno = error;
    return false;
  }
  if (errno != EEXIST) return false;
  PendingFile pending(path);
  if (pending.temporaryPath().isEmpty()) return false;
  const int temporary = open(narrow(pending.temporaryPath()).c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  return temporary >= 0 && fillFile(temporary, bytes, modified) && pending.commit();
}

PendingFile::PendingFile(const OdString& path) : m_path(path) {
  std::string temporary;
  const int fd = posix::createBeside(narrow(path), 0666, temporary);
  if (fd < 0) return;
  close(fd);
  m_temporary = OdString(codePageToWide(temporary, kUtf8CodePage));
}

PendingFile::~PendingFile() {
  if (!m_committed && !m_temporary.isEmpty()) unlink(narrow(m_temporary).c_str());
}

bool PendingFile::commit() {
  if (m_temporary.isEmpty() || m_committed) return false;
  m_committed = rename(narrow(m_temporary).c_str(), narrow(m_path).c_str()) == 0;
  return m_committed;
}

}  // namespace ut::platform
