// A process's memory map from arbitrary text, as the crash reporter reads /proc/PID/maps: every range kept
// comes from one whole line of the text, ends at or after its start, and names the rest of that line as its
// path; a line that parses is kept, a broken one only left out.

#include "platform/stack.h"

#include <cstdlib>
#include <sstream>
#include <string>

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::vector<ut::platform::MemoryRange> ranges = ut::platform::parseMemoryMap(text);
  size_t lines = 0;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) ++lines;
  require(ranges.size() <= lines);
  for (const ut::platform::MemoryRange& range : ranges) {
    require(range.start <= range.end);
    require(range.path.find('\n') == std::string::npos);
    require(range.path.empty() || text.find(range.path) != std::string::npos);
  }
  return 0;
}
