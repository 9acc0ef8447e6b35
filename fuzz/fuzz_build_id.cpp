// ELF notes from arbitrary bytes, as the crash reporter reads a module's PT_NOTE segments for its build
// id: nothing is read outside the bytes, and an id found is the descriptor of a GNU build-id note there.

#include "platform/stack.h"

#include <algorithm>
#include <cstdlib>

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<uint8_t> id = ut::platform::findBuildId(data, size);
  if (!id.empty()) {
    require(id.size() + 16 <= size);
    require(std::search(data, data + size, id.begin(), id.end()) != data + size);
  }
  return 0;
}
