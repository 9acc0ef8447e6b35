// UTF-8 for the library: the codec the SDK stand-ins have (OdUnicode.h), and a validator fast enough for
// whole files. A wide character is one code point; surrogate pairs are not combined.

#ifndef QX_UT_UTF8_H
#define QX_UT_UTF8_H

#include "OdUnicode.h"

#include <string>
#include <string_view>

namespace ut::internal {

using od_unicode::decodeUtf8;
using od_unicode::encodeUtf8;

// Appends the UTF-8 form of `text` to `out`, each character that has none (a surrogate, anything above
// U+10FFFF) as U+FFFD: for diagnostics, which must show whatever they are handed and never fail.
void encodeUtf8Lenient(std::wstring_view text, std::string& out);

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
  return validator.feed(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) &&
         validator.finish();
}

}  // namespace ut::internal

#endif
