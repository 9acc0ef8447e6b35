// ZlibEngine::decompress of an arbitrary file: it succeeds exactly when zlib's own inflate finds a whole
// stream at the file's start, writes what that inflate produces (the output of a broken stream as far as
// it goes), and names the ending in its status.

#include "ut_zlib.h"

#include "zlib_reference.h"

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::filesystem::path g_dir;

class StatusEngine : public ZlibEngine {
 public:
  std::wstring last;

 protected:
  void status(const wchar_t* text) override { last = text; }
};

std::string fileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::string pattern = (std::filesystem::temp_directory_path() / "fuzz_zlib_XXXXXX").string();
  g_dir = mkdtemp(pattern.data());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::filesystem::path input = g_dir / "input.z", output = g_dir / "output";
  std::ofstream(input, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data), size);
  StatusEngine engine;
  const int code = engine.decompress(input.wstring().c_str(), output.wstring().c_str());
  const qxfuzz::Inflated reference = qxfuzz::referenceInflate(data, size);
  if ((code == 0) != reference.ended) std::abort();
  if (engine.last != (code == 0 ? L"Success" : L"Zlib Error")) std::abort();
  if (fileBytes(output) != reference.bytes) std::abort();
  return 0;
}
