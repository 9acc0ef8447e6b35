#include "OdUnicode.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace od_unicode {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

// Length of the sequence a lead byte opens, 0 for a byte that cannot lead.
int sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC2) return 0;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  if (lead < 0xF5) return 4;
  return 0;
}

// Decodes one sequence at bytes[pos]; returns its length, or 0 when it is invalid.
size_t decodeOne(std::string_view bytes, size_t pos, char32_t& c) {
  const auto lead = static_cast<unsigned char>(bytes[pos]);
  const int n = sequenceLength(lead);
  if (n == 0 || pos + n > bytes.size()) return 0;
  if (n == 1) {
    c = lead;
    return 1;
  }
  c = lead & (0x7F >> n);
  for (int i = 1; i < n; ++i) {
    const auto b = static_cast<unsigned char>(bytes[pos + i]);
    if ((b & 0xC0) != 0x80) return 0;
    c = (c << 6) | (b & 0x3F);
  }
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (c < kSmallest[n] || c > 0x10FFFF || isSurrogate(c)) return 0;
  return n;
}

bool isAsciiWord(const char* p) {
  uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return (word & 0x8080808080808080ull) == 0;
}

}  // namespace

bool encodeUtf8(std::wstring_view text, std::string& out) {
  out.reserve(out.size() + text.size());
  for (wchar_t wc : text) {
    const auto c = static_cast<char32_t>(wc);
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (isSurrogate(c) || c > 0x10FFFF) {
      return false;
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return true;
}

bool decodeUtf8(std::string_view bytes, std::wstring& out, bool replaceInvalid) {
  const size_t start = out.size();
  out.resize(start + bytes.size());
  wchar_t* next = out.data() + start;
  for (size_t pos = 0; pos < bytes.size();) {
    if (pos + 8 <= bytes.size() && isAsciiWord(bytes.data() + pos)) {
      for (size_t i = 0; i < 8; ++i) next[i] = static_cast<unsigned char>(bytes[pos + i]);
      next += 8;
      pos += 8;
      continue;
    }
    const auto lead = static_cast<unsigned char>(bytes[pos]);
    if (lead < 0x80) {
      *next++ = lead;
      ++pos;
      continue;
    }
    char32_t c = 0;
    const size_t n = decodeOne(bytes, pos, c);
    if (n == 0) {
      if (!replaceInvalid) {
        out.resize(next - out.data());
        return false;
      }
      c = kReplacement;
    }
    *next++ = static_cast<wchar_t>(c);
    pos += n ? n : 1;
  }
  out.resize(next - out.data());
  return true;
}

// --- Case ----------------------------------------------------------------------------------------------

namespace {

// The characters first, first + step, ... up to last map to themselves plus `offset`.
struct CaseRange {
  char32_t first;
  char32_t last;
  int offset;
  char32_t step;
};

#include "OdUnicodeCase.inc"

template <size_t N>
wchar_t mapped(const CaseRange (&ranges)[N], wchar_t wc) {
  const auto c = static_cast<char32_t>(wc);
  const auto after =
      std::upper_bound(std::begin(ranges), std::end(ranges), c,
                       [](char32_t value, const CaseRange& range) { return value < range.first; });
  if (after == std::begin(ranges)) return wc;
  const CaseRange& range = *std::prev(after);
  if (c > range.last || (c - range.first) % range.step != 0) return wc;
  return static_cast<wchar_t>(static_cast<int64_t>(c) + range.offset);
}

}  // namespace

wchar_t toUpper(wchar_t c) {
  if (c < 0x80) return c >= L'a' && c <= L'z' ? c - 32 : c;
  return mapped(kUpper, c);
}

wchar_t toLower(wchar_t c) {
  if (c < 0x80) return c >= L'A' && c <= L'Z' ? c + 32 : c;
  return mapped(kLower, c);
}

}  // namespace od_unicode
