// UTF-8 validation sixteen bytes at a time with the processor's vector instructions (SSSE3 on x86-64),
// after Keiser and Lemire, "Validating UTF-8 in less than one instruction per byte" (2021): each byte
// is classified by table lookups on its own high nibble and the previous byte's two nibbles, which
// finds every error within two bytes; three- and four-byte sequences are then checked for the right
// number of continuation bytes.

#ifndef QX_UT_UTF8_VECTOR_H
#define QX_UT_UTF8_VECTOR_H

#include <cstddef>

namespace ut::internal {

// Whether validUtf8Vector may be called on this processor.
bool hasUtf8Vector();
// Whether `bytes` is well-formed UTF-8 with no sequence cut off at its end.
bool validUtf8Vector(const unsigned char* bytes, size_t size);

}  // namespace ut::internal

#endif
