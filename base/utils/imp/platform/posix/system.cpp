#include "ut_system.h"

#include "ut_config.h"

#include <wx/string.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace ut {

namespace {

OdString fromNative(const std::string& text) { return OdString(wxString(text.c_str(), wxConvFile).wc_str()); }

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

OdString getExecutableFolder() {
  std::string path(4096, '\0');
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0 || static_cast<size_t>(length) >= path.size()) return OdString();
  path.resize(static_cast<size_t>(length));
  return fromNative(path.substr(0, path.rfind('/') + 1));
}

OdString getUserConfigDir() {
  std::string base = environment("XDG_CONFIG_HOME");
  if (base.empty()) base = environment("HOME") + "/.config";
  return fromNative(base + "/") + Config::regCompany() + L"/";
}

}  // namespace ut
