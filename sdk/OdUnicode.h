// The Unicode services the stand-ins need, and that qxutils builds on: UTF-8 encoding and decoding of
// wide strings, and Unicode's simple case mappings, the same whatever the locale. Not part of the drawing
// SDK's interface. A wide character is one code point; surrogate pairs are not combined.
//
//   std::string bytes;
//   od_unicode::encodeUtf8(L"a\u00E9", bytes);         // true, bytes == "a\xC3\xA9"
//   od_unicode::toUpper(L'\u00E9');                    // L'\u00C9'

#ifndef OD_UNICODE_H
#define OD_UNICODE_H

#include <string>
#include <string_view>

namespace od_unicode {

// Appends the UTF-8 form of `text` to `out`. Returns false at the first character that is a surrogate
// or above U+10FFFF; `out` then holds what was encoded before it.
[[nodiscard]] bool encodeUtf8(std::wstring_view text, std::string& out);

// Appends the characters of `bytes` to `out`. A byte sequence that is truncated, overlong, a surrogate
// or above U+10FFFF makes the call return false, unless `replaceInvalid` is set: then each such
// sequence becomes U+FFFD and the call succeeds.
[[nodiscard]] bool decodeUtf8(std::string_view bytes, std::wstring& out, bool replaceInvalid);

// The simple case mappings of UnicodeData ("\u00DF" has none, so it maps to itself).
[[nodiscard]] wchar_t toUpper(wchar_t c);
[[nodiscard]] wchar_t toLower(wchar_t c);

}  // namespace od_unicode

#endif
