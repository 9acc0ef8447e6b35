// A plain UTF-8 validator written from Unicode's table of well-formed byte sequences, one byte at a time:
// the reference the library's validator is fuzzed and measured against.

#ifndef QX_FUZZ_UTF8_REFERENCE_H
#define QX_FUZZ_UTF8_REFERENCE_H

#include <cstddef>
#include <cstdint>

namespace qxfuzz {

// The lead byte fixes the length of the sequence and the range of its second byte.
inline bool referenceValidUtf8(const uint8_t* p, size_t size) {
  for (size_t i = 0; i < size;) {
    const uint8_t lead = p[i];
    size_t length = 0;
    uint8_t low = 0x80, high = 0xBF;
    if (lead <= 0x7F) length = 1;
    else if (lead >= 0xC2 && lead <= 0xDF) length = 2;
    else if (lead == 0xE0) length = 3, low = 0xA0;
    else if (lead >= 0xE1 && lead <= 0xEC) length = 3;
    else if (lead == 0xED) length = 3, high = 0x9F;
    else if (lead >= 0xEE && lead <= 0xEF) length = 3;
    else if (lead == 0xF0) length = 4, low = 0x90;
    else if (lead >= 0xF1 && lead <= 0xF3) length = 4;
    else if (lead == 0xF4) length = 4, high = 0x8F;
    else return false;
    if (i + length > size) return false;
    for (size_t k = 1; k < length; ++k) {
      const uint8_t b = p[i + k];
      if (k == 1 ? (b < low || b > high) : (b < 0x80 || b > 0xBF)) return false;
    }
    i += length;
  }
  return true;
}

}  // namespace qxfuzz

#endif
