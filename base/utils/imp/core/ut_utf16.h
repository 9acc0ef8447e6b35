// UTF-16LE encoding and decoding of wide strings, and the byte forms in which the registry holds string
// and multi-string values (as Windows does: UTF-16LE, each string ending in a two-byte terminator).
//
// A wide character is one code point. Characters above U+FFFF travel as surrogate pairs; a surrogate
// value without its partner is kept as it is in both directions, so any value's bytes survive a decode
// and an encode unchanged.
//
//   toUtf16le(L"A\U0001F600")                  // "A\0" "\x3D\xD8" "\x00\xDE"
//   stringValueBytes(L"ab")                    // "a\0" "b\0" "\0\0"
//   multiStringValueBytes({L"a", L"b"})        // "a\0\0\0" "b\0\0\0" "\0\0"

#ifndef QX_UT_UTF16_H
#define QX_UT_UTF16_H

#include <string>
#include <string_view>
#include <vector>

namespace ut::internal {

// A character above U+10FFFF (which no UTF can carry) is written as U+FFFD.
[[nodiscard]] std::string toUtf16le(std::wstring_view text);
// An odd final byte is dropped.
[[nodiscard]] std::wstring fromUtf16le(std::string_view bytes);

// `text` in UTF-16LE followed by the terminator.
[[nodiscard]] std::string stringValueBytes(std::wstring_view text);
// The text up to the first NUL code unit, or all of it when there is none.
[[nodiscard]] std::wstring stringFromValueBytes(std::string_view bytes);
// The same into `text`, whose buffer is reused: reading string after string allocates only to grow it.
void assignStringFromValueBytes(std::string_view bytes, std::wstring& text);

// Each string terminated, then one more terminator. An empty string would end the list early, so empty
// strings are left out.
[[nodiscard]] std::string multiStringValueBytes(const std::vector<std::wstring>& strings);
// The strings up to the first empty one (the list's end); a last string without terminator is kept.
[[nodiscard]] std::vector<std::wstring> multiStringFromValueBytes(std::string_view bytes);

}  // namespace ut::internal

#endif
