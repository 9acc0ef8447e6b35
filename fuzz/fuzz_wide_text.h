// Wide text from fuzzer bytes, able to reach every character up to U+10FFFF while keeping the ASCII
// characters that format codes and name escapes are made of one byte each.

#ifndef QX_FUZZ_WIDE_TEXT_H
#define QX_FUZZ_WIDE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

// A byte below 0x80 is that character. A byte from 0x80 on, with two more bytes after it, makes one
// character of its low seven bits and those two bytes; without them it stands for itself.
inline std::wstring wideTextFromBytes(const uint8_t* data, size_t size) {
  std::wstring text;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] < 0x80 || i + 2 >= size) {
      text += static_cast<wchar_t>(data[i]);
      continue;
    }
    const uint32_t code = (uint32_t{data[i] & 0x7Fu} << 16 | uint32_t{data[i + 1]} << 8 | data[i + 2]);
    text += static_cast<wchar_t>(code % 0x110000);
    i += 2;
  }
  return text;
}

#endif
