// System information on POSIX: the executable from /proc/self/exe, configuration folders where the XDG
// base directory rules place them, the account's name from the account database, thread ids from gettid(),
// debug output on standard error.

#include "platform/system.h"

#include "platform/posix/files_posix.h"
#include "platform/text.h"

#include "core/ut_utf8.h"

#include <limits.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace ut::platform {

namespace {

OdString fromNative(const std::string& text) { return OdString(codePageToWide(text, kUtf8CodePage)); }

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

OdString executableFolder() {
  std::string path(4096, '\0');
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0 || static_cast<size_t>(length) >= path.size()) return OdString();
  path.resize(static_cast<size_t>(length));
  return fromNative(path.substr(0, path.rfind('/') + 1));
}

OdString userConfigDir(const OdString& vendor) {
  std::string base = environment("XDG_CONFIG_HOME");
  if (base.empty()) base = environment("HOME") + "/.config";
  return fromNative(base + "/") + vendor + L"/";
}

OdString machineConfigDir(const OdString& vendor) { return L"/etc/xdg/" + vendor + L"/"; }

// The account database may be a service far away, and a process seldom changes its account: the name
// is asked for again only when it does.
OdString loginName() {
  static std::mutex mutex;
  static uid_t namedUid = 0;
  static OdString name;
  const uid_t uid = getuid();
  const std::lock_guard lock(mutex);
  if (name.isEmpty() || uid != namedUid) {
    const std::wstring wide = codePageToWide(posix::accountName(uid), kAnsiCodePage);
    name = wide.empty() ? OdString(std::to_wstring(uid)) : OdString(wide);
    namedUid = uid;
  }
  return name;
}

OdString hostName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof name - 1) != 0) return OdString();
  return OdString(codePageToWide(name, kAnsiCodePage));
}

unsigned long currentThreadId() { return static_cast<unsigned long>(gettid()); }

void debugOutput(std::wstring_view text) {
  std::string bytes;
  internal::encodeUtf8Lenient(text, bytes);
  // One fwrite holds the stream's lock for the whole text.
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
  std::fflush(stderr);
}

}  // namespace ut::platform
