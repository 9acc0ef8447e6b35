#include "core/ut_utf16.h"

namespace ut::internal {

namespace {

constexpr std::string_view kTerminator("\0\0", 2);

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

char32_t unitAt(std::string_view bytes, size_t index) {
  return static_cast<unsigned char>(bytes[2 * index]) | static_cast<unsigned char>(bytes[2 * index + 1]) << 8;
}

// The bytes before the first NUL code unit, and where the unit after it starts (npos when there is none).
std::string_view untilTerminator(std::string_view bytes, size_t& next) {
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    if (bytes[i] == 0 && bytes[i + 1] == 0) {
      next = i + 2;
      return bytes.substr(0, i);
    }
  }
  next = std::string_view::npos;
  return bytes;
}

}  // namespace

// Both directions write into a buffer sized for the longest result and trim it: appending unit by unit
// costs several times as much.
std::string toUtf16le(std::wstring_view text) {
  std::string out(4 * text.size(), '\0');
  char* next = out.data();
  const auto put = [&next](char32_t unit) {
    *next++ = static_cast<char>(unit & 0xFF);
    *next++ = static_cast<char>(unit >> 8);
  };
  for (wchar_t wc : text) {
    char32_t c = static_cast<char32_t>(wc);
    if (c > 0x10FFFF) c = 0xFFFD;
    if (c < 0x10000) {
      put(c);
      continue;
    }
    c -= 0x10000;
    put(0xD800 + (c >> 10));
    put(0xDC00 + (c & 0x3FF));
  }
  out.resize(next - out.data());
  return out;
}

namespace {

void assignFromUtf16le(std::string_view bytes, std::wstring& text) {
  const size_t count = bytes.size() / 2;
  text.resize(count);
  wchar_t* next = text.data();
  for (size_t i = 0; i < count; ++i) {
    const char32_t unit = unitAt(bytes, i);
    if (isHighSurrogate(unit) && i + 1 < count && isLowSurrogate(unitAt(bytes, i + 1))) {
      *next++ = static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (unitAt(bytes, i + 1) - 0xDC00));
      ++i;
    } else {
      *next++ = static_cast<wchar_t>(unit);
    }
  }
  text.resize(next - text.data());
}

}  // namespace

std::wstring fromUtf16le(std::string_view bytes) {
  std::wstring text;
  assignFromUtf16le(bytes, text);
  return text;
}

std::string stringValueBytes(std::wstring_view text) { return toUtf16le(text).append(kTerminator); }

std::wstring stringFromValueBytes(std::string_view bytes) {
  std::wstring text;
  assignStringFromValueBytes(bytes, text);
  return text;
}

void assignStringFromValueBytes(std::string_view bytes, std::wstring& text) {
  size_t next = 0;
  assignFromUtf16le(untilTerminator(bytes, next), text);
}

std::string multiStringValueBytes(const std::vector<std::wstring>& strings) {
  std::string bytes;
  for (const std::wstring& s : strings) {
    if (!s.empty()) bytes += stringValueBytes(s);
  }
  return bytes.append(kTerminator);
}

std::vector<std::wstring> multiStringFromValueBytes(std::string_view bytes) {
  std::vector<std::wstring> strings;
  while (bytes.size() >= 2) {
    size_t next = 0;
    const std::string_view piece = untilTerminator(bytes, next);
    if (piece.empty()) break;
    strings.push_back(fromUtf16le(piece));
    if (next == std::string_view::npos) break;
    bytes.remove_prefix(next);
  }
  return strings;
}

}  // namespace ut::internal
