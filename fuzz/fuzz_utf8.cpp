// UTF-8 validation of arbitrary bytes against the plain reference validator, whole and fed in two
// pieces cut where the first byte picks.

#include "utf8_reference.h"
#include "ut_text_file.h"
#include "core/ut_utf8.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  const bool expected = qxfuzz::referenceValidUtf8(data, size);
  if (ut::isValidUTF8Encoding(reinterpret_cast<unsigned char*>(bytes.data()), size) != expected) std::abort();
  const size_t cut = size ? data[0] % (size + 1) : 0;
  ut::internal::Utf8Validator pieces;
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const bool fed = pieces.feed(p, cut) && pieces.feed(p + cut, size - cut);
  if ((fed && pieces.finish()) != expected) std::abort();
  return 0;
}
