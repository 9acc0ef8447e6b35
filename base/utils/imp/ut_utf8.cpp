#include "ut_utf8.h"

namespace ut::internal {

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
  out.reserve(out.size() + bytes.size());
  for (size_t pos = 0; pos < bytes.size();) {
    char32_t c = 0;
    const size_t n = decodeOne(bytes, pos, c);
    if (n == 0) {
      if (!replaceInvalid) return false;
      c = kReplacement;
    }
    out += static_cast<wchar_t>(c);
    pos += n ? n : 1;
  }
  return true;
}

}  // namespace ut::internal
