// UTF-8 encoding and decoding of wide strings, shared by the string family and the SDK stand-ins.
// A wide character is one code point; surrogate pairs are not combined.

#ifndef QX_UT_UTF8_H
#define QX_UT_UTF8_H

#include <string>
#include <string_view>

namespace ut::internal {

// Appends the UTF-8 form of `text` to `out`. Returns false at the first character that is a surrogate
// or above U+10FFFF; `out` then holds what was encoded before it.
[[nodiscard]] bool encodeUtf8(std::wstring_view text, std::string& out);

// Appends the characters of `bytes` to `out`. A byte sequence that is truncated, overlong, a surrogate
// or above U+10FFFF makes the call return false, unless `replaceInvalid` is set: then each such
// sequence becomes U+FFFD and the call succeeds.
[[nodiscard]] bool decodeUtf8(std::string_view bytes, std::wstring& out, bool replaceInvalid);

}  // namespace ut::internal

#endif
