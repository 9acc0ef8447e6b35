// The mount table on Linux: /proc/self/mountinfo, read again only when the kernel says the table has
// changed (poll() on the open file reports POLLPRI after a mount or unmount), so that asking costs one
// system call while nothing changes.

#include "platform/files.h"

#include "platform/posix/files_posix.h"
#include "platform/text.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace ut::platform {

namespace {

// File systems whose data a server on the network holds; FUSE ones are named "fuse.<subtype>".
bool isNetworkType(std::string_view type) {
  static const std::unordered_set<std::string_view> kNetwork = {
      "nfs",           "nfs4",       "cifs",         "smb3",           "smbfs",          "ncpfs",
      "afs",           "coda",       "9p",           "ceph",           "glusterfs",      "lustre",
      "gpfs",          "beegfs",     "orangefs",     "pvfs2",          "davfs",          "fuse.sshfs",
      "fuse.rclone",   "fuse.s3fs",  "fuse.gcsfuse", "fuse.glusterfs", "fuse.ceph-fuse", "fuse.curlftpfs",
      "fuse.smbnetfs", "fuse.davfs2"};
  return kNetwork.count(type) != 0;
}

// The kernel writes a space, tab, line feed and backslash in a path as "\040", "\011", "\012", "\134".
std::string unescape(std::string_view field) {
  std::string out;
  out.reserve(field.size());
  for (size_t i = 0; i < field.size(); ++i) {
    const auto isOctal = [&](size_t k) { return k < field.size() && field[k] >= '0' && field[k] <= '7'; };
    if (field[i] == '\\' && isOctal(i + 1) && isOctal(i + 2) && isOctal(i + 3)) {
      out += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0'));
      i += 3;
    } else {
      out += field[i];
    }
  }
  return out;
}

// "36 35 98:0 /root /mount/point rw,noatime master:1 - ext3 /dev/root rw": the mount point is the fifth
// field, the file system's type the one after the lone "-" that ends the optional fields.
std::optional<MountPoint> parseLine(std::string_view line) {
  std::vector<std::string_view> fields;
  for (size_t start = 0; start <= line.size();) {
    size_t end = line.find(' ', start);
    if (end == std::string_view::npos) end = line.size();
    fields.push_back(line.substr(start, end - start));
    start = end + 1;
  }
  size_t dash = 6;
  while (dash < fields.size() && fields[dash] != "-") ++dash;
  if (dash + 1 >= fields.size() || fields[4].empty() || fields[4][0] != '/') return std::nullopt;
  std::wstring path = codePageToWide(unescape(fields[4]), kUtf8CodePage);
  if (path.empty()) return std::nullopt;
  return MountPoint{OdString(std::move(path)), isNetworkType(fields[dash + 1])};
}

class MountInfo {
 public:
  std::shared_ptr<const MountTable> current() {
    std::lock_guard lock(m_mutex);
    if (!m_table || changed()) m_table = std::make_shared<const MountTable>(read());
    return m_table;
  }

 private:
  bool changed() const {
    pollfd watch{m_fd, POLLPRI, 0};
    return m_fd >= 0 && poll(&watch, 1, 0) > 0;
  }

  // Opened once and kept: the kernel remembers per open file which change it last reported.
  MountTable read() {
    if (m_fd < 0 && !m_tried) m_fd = open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
    m_tried = true;
    std::string text;
    if (m_fd < 0 || lseek(m_fd, 0, SEEK_SET) != 0) return MountTable();
    std::array<char, 16384> chunk;
    for (ssize_t count; (count = ::read(m_fd, chunk.data(), chunk.size())) != 0;) {
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return MountTable();
      text.append(chunk.data(), static_cast<size_t>(count));
    }
    return posix::parseMountInfo(text);
  }

  std::mutex m_mutex;
  std::shared_ptr<const MountTable> m_table;
  int m_fd = -1;
  bool m_tried = false;
};

}  // namespace

namespace posix {

MountTable parseMountInfo(std::string_view text) {
  MountTable table;
  for (size_t start = 0; start < text.size();) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    if (std::optional<MountPoint> mount = parseLine(text.substr(start, end - start))) {
      table.push_back(std::move(*mount));
    }
    start = end + 1;
  }
  return table;
}

}  // namespace posix

std::shared_ptr<const MountTable> mountTable() {
  // Never destroyed, so that a call during the process's exit still finds it.
  static MountInfo* const info = new MountInfo;
  return info->current();
}

}  // namespace ut::platform
