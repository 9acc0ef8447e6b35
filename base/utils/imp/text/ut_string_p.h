// Pieces shared by the parsers of escaped text (format codes, symbol names): hexadecimal digits and the
// "\U+XXXX" character escape.

#ifndef QX_UT_TEXT_ESCAPES_H
#define QX_UT_TEXT_ESCAPES_H

#include <string_view>

namespace ut::internal {

constexpr size_t kUnicodeEscapeLength = 7;  // \U+XXXX

// 0 to 15 for a hexadecimal digit, -1 for anything else.
constexpr int hexDigitValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

// The value of the four hexadecimal digits `s` starts with, or -1.
constexpr int parseHex4(std::wstring_view s) {
  if (s.size() < 4) return -1;
  int value = 0;
  for (wchar_t c : s.substr(0, 4)) {
    const int digit = hexDigitValue(c);
    if (digit < 0) return -1;
    value = value * 16 + digit;
  }
  return value;
}

// The character of the "\U+XXXX" (U in either case) that `s` starts with, or 0: U+0000 cannot stand in
// a text.
constexpr wchar_t unicodeEscapeChar(std::wstring_view s) {
  if (s.size() < kUnicodeEscapeLength || s[0] != L'\\' || (s[1] != L'U' && s[1] != L'u') || s[2] != L'+') {
    return 0;
  }
  const int code = parseHex4(s.substr(3));
  return code > 0 ? static_cast<wchar_t>(code) : 0;
}

}  // namespace ut::internal

#endif
