// The mount table's text (/proc/self/mountinfo) from arbitrary bytes: reading it never fails hard, every
// mount point found is absolute, and no line gives more than one.

#include "platform/posix/files_posix.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ut::platform::MountTable table = ut::platform::posix::parseMountInfo(text);
  const size_t lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  if (table.size() > lines) std::abort();
  for (const ut::platform::MountPoint& mount : table) {
    if (mount.path.isEmpty() || mount.path[0] != L'/') std::abort();
  }
  return 0;
}
