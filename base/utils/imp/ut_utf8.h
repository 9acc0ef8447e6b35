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

// Checks UTF-8 handed over in pieces, which may cut a sequence anywhere. Well-formed means Unicode's
// table of well-formed byte sequences: no overlong form, no surrogate, nothing above U+10FFFF.
//   Utf8Validator v;
//   v.feed(first, n1) && v.feed(second, n2) && v.finish();
class Utf8Validator {
 public:
  // False once any byte so far cannot be part of well-formed UTF-8.
  bool feed(const unsigned char* bytes, size_t size);
  // Whether everything fed was well-formed and no sequence is left open.
  bool finish() const { return m_state == 0; }

 private:
  unsigned char m_state = 0;
};

inline bool isValidUtf8(std::string_view bytes) {
  Utf8Validator validator;
  return validator.feed(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) && validator.finish();
}

}  // namespace ut::internal

#endif
