// File services on POSIX: '/' is the separator, and a file's owner is the user name of its uid.

#include "file_platform.h"

#include "text_platform.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace ut::platform {

OdString correctPathSeparators(const OdString& path) {
  OdString corrected = path;
  corrected.replace(L'\\', L'/');
  corrected.replace(L'|', L' ');
  return corrected;
}

bool fileOwner(const OdString& path, OdString& owner) {
  struct stat status {};
  if (path.isEmpty() || stat(fileNameToNarrow(path.view()).c_str(), &status) != 0) return false;
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
  struct passwd entry {};
  struct passwd* found = nullptr;
  if (getpwuid_r(status.st_uid, &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return false;
  owner = OdString(codePageToWide(found->pw_name, kAnsiCodePage));
  return !owner.isEmpty();
}

}  // namespace ut::platform
