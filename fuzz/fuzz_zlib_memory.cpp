// ZlibEngine's memory functions over arbitrary bytes: decompressMemory agrees with zlib's streaming
// inflate (a whole stream or an error, never more than the room it was given), and compressMemory of the
// same bytes, at a level taken from the first byte, decompresses back to them.

#include "ut_zlib.h"

#include "zlib_reference.h"

#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<unsigned char> source(data, data + size);
  const qxfuzz::Inflated reference = qxfuzz::referenceInflate(source.data(), size);
  std::vector<unsigned char> out(reference.bytes.size() + 16);
  unsigned long outSize = out.size();
  const int code = ZlibEngine::decompressMemory(out.data(), &outSize, source.data(), size);
  if ((code == Z_OK) != reference.ended) std::abort();
  if (code == Z_OK && std::string(out.begin(), out.begin() + outSize) != reference.bytes) std::abort();

  const int level = size ? data[0] % 11 - 1 : 6;
  std::vector<unsigned char> packed(ZlibEngine::compressedSize(size));
  unsigned long packedSize = packed.size();
  if (ZlibEngine::compressMemory(packed.data(), &packedSize, source.data(), size, level) != Z_OK) std::abort();
  std::vector<unsigned char> back(size + 1);
  unsigned long backSize = back.size();
  if (ZlibEngine::decompressMemory(back.data(), &backSize, packed.data(), packedSize) != Z_OK) std::abort();
  if (backSize != size || !std::equal(source.begin(), source.end(), back.begin())) std::abort();
  return 0;
}
