#include "core/ut_utf8_vector.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstring>

namespace ut::internal {

namespace {

// What a pair of bytes may be wrong in; a pair is wrong when its three lookups share a bit.
constexpr char kTooShort = 1 << 0;      // a lead or ASCII byte where a continuation byte is due
constexpr char kTooLong = 1 << 1;       // a continuation byte after ASCII
constexpr char kOverlong3 = 1 << 2;     // E0 80..9F
constexpr char kTooLarge = 1 << 3;      // F4 90..BF, F5.. 90..BF
constexpr char kSurrogate = 1 << 4;     // ED A0..BF
constexpr char kOverlong2 = 1 << 5;     // C0..C1 80..BF
constexpr char kTooLarge1000 = 1 << 6;  // F5.. 80..8F
constexpr char kOverlong4 = 1 << 6;     // F0 80..8F
constexpr char kTwoConts = static_cast<char>(1 << 7);  // a continuation after a continuation, unless due
constexpr char kCarry = kTooShort | kTooLong | kTwoConts;

struct Tables {
  __m128i firstHigh, firstLow, secondHigh;
};

__attribute__((target("ssse3"))) Tables tables() {
  return {
      _mm_setr_epi8(kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTwoConts,
                    kTwoConts, kTwoConts, kTwoConts, kTooShort | kOverlong2, kTooShort,
                    kTooShort | kOverlong3 | kSurrogate, kTooShort | kTooLarge | kTooLarge1000 | kOverlong4),
      _mm_setr_epi8(kCarry | kOverlong3 | kOverlong2 | kOverlong4, kCarry | kOverlong2, kCarry, kCarry,
                    kCarry | kTooLarge, kCarry | kTooLarge | kTooLarge1000,
                    kCarry | kTooLarge | kTooLarge1000, kCarry | kTooLarge | kTooLarge1000,
                    kCarry | kTooLarge | kTooLarge1000, kCarry | kTooLarge | kTooLarge1000,
                    kCarry | kTooLarge | kTooLarge1000, kCarry | kTooLarge | kTooLarge1000,
                    kCarry | kTooLarge | kTooLarge1000, kCarry | kTooLarge | kTooLarge1000 | kSurrogate,
                    kCarry | kTooLarge | kTooLarge1000, kCarry | kTooLarge | kTooLarge1000),
      _mm_setr_epi8(kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort,
                    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kTooLarge1000 | kOverlong4,
                    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kTooLarge,
                    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge,
                    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge, kTooShort, kTooShort,
                    kTooShort, kTooShort),
  };
}

class Checker {
 public:
  __attribute__((target("ssse3"))) Checker() : m_tables(tables()) {}

  __attribute__((target("ssse3"))) void add(__m128i input) {
    if (_mm_movemask_epi8(input) == 0) {
      m_error = _mm_or_si128(m_error, m_previousIncomplete);
      m_previousIncomplete = _mm_setzero_si128();
    } else {
      checkPairs(input);
      // A lead byte in one of the last three places may still wait for its continuation bytes.
      const __m128i lastLeads =
          _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, static_cast<char>(0xEF),
                        static_cast<char>(0xDF), static_cast<char>(0xBF));
      m_previousIncomplete = _mm_subs_epu8(input, lastLeads);
    }
    m_previous = input;
  }

  __attribute__((target("ssse3"))) bool valid() const {
    const __m128i error = _mm_or_si128(m_error, m_previousIncomplete);
    return _mm_movemask_epi8(_mm_cmpeq_epi8(error, _mm_setzero_si128())) == 0xFFFF;
  }

 private:
  __attribute__((target("ssse3"))) void checkPairs(__m128i input) {
    const __m128i nibble = _mm_set1_epi8(0x0F);
    const __m128i previous1 = _mm_alignr_epi8(input, m_previous, 15);
    const __m128i firstHigh =
        _mm_shuffle_epi8(m_tables.firstHigh, _mm_and_si128(_mm_srli_epi16(previous1, 4), nibble));
    const __m128i firstLow = _mm_shuffle_epi8(m_tables.firstLow, _mm_and_si128(previous1, nibble));
    const __m128i secondHigh =
        _mm_shuffle_epi8(m_tables.secondHigh, _mm_and_si128(_mm_srli_epi16(input, 4), nibble));
    const __m128i special = _mm_and_si128(_mm_and_si128(firstHigh, firstLow), secondHigh);
    // Bytes two after an E0..EF lead and three after an F0..FF lead must be continuation bytes.
    const __m128i third = _mm_subs_epu8(_mm_alignr_epi8(input, m_previous, 14), _mm_set1_epi8(0xE0 - 0x80));
    const __m128i fourth = _mm_subs_epu8(_mm_alignr_epi8(input, m_previous, 13), _mm_set1_epi8(0xF0 - 0x80));
    const __m128i mustContinue =
        _mm_and_si128(_mm_or_si128(third, fourth), _mm_set1_epi8(static_cast<char>(0x80)));
    m_error = _mm_or_si128(m_error, _mm_xor_si128(mustContinue, special));
  }

  Tables m_tables;
  __m128i m_previous = _mm_setzero_si128();
  __m128i m_previousIncomplete = _mm_setzero_si128();
  __m128i m_error = _mm_setzero_si128();
};

__attribute__((target("ssse3"))) bool validate(const unsigned char* bytes, size_t size) {
  Checker checker;
  size_t pos = 0;
  for (; pos + 16 <= size; pos += 16)
    checker.add(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + pos)));
  if (pos < size) {
    unsigned char last[16] = {};
    std::memcpy(last, bytes + pos, size - pos);
    checker.add(_mm_loadu_si128(reinterpret_cast<const __m128i*>(last)));
  }
  return checker.valid();
}

}  // namespace

bool hasUtf8Vector() {
  static const bool has = __builtin_cpu_supports("ssse3");
  return has;
}

bool validUtf8Vector(const unsigned char* bytes, size_t size) { return validate(bytes, size); }

}  // namespace ut::internal

#else

namespace ut::internal {

bool hasUtf8Vector() { return false; }
bool validUtf8Vector(const unsigned char*, size_t) { return false; }

}  // namespace ut::internal

#endif
