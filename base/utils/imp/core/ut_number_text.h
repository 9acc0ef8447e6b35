// Numbers as text that every reader understands, whatever the locale of the host, its threads or the
// process: "." as the decimal point, no grouping.

#ifndef QX_UT_NUMBER_TEXT_H
#define QX_UT_NUMBER_TEXT_H

#include <array>
#include <charconv>
#include <string>

namespace ut::internal {

// As printf's "%g" writes it in the "C" locale: six significant digits, "0.001", "1e+20".
inline std::wstring gText(double value) {
  std::array<char, 32> buffer{};
  const auto end =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::general, 6).ptr;
  return std::wstring(buffer.data(), end);
}

// The shortest text that reads back as the same double.
inline std::wstring shortestText(double value) {
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  return std::wstring(buffer.data(), end);
}

}  // namespace ut::internal

#endif
