// The tracer's inputs from arbitrary bytes: the numbers of its environment variables against a plain
// reference reader, the UTF-8 it writes for any wide text (always well-formed, each character that has
// no UTF-8 form one U+FFFD), and the debug output's expansion of tabs and line feeds.

#include "fuzz_wide_text.h"

#include "core/ut_log_p.h"
#include "core/ut_utf8.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

namespace {

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool allOf(const std::string& s, size_t from, int (*digit)(int)) {
  return from < s.size() && std::all_of(s.begin() + from, s.end(), [&](char c) { return digit(c & 0xFF); });
}

// Decimal with a sign within int, or unsigned "0x" hex within 32 bits, white space around allowed.
std::optional<int> referenceNumber(std::string s) {
  s.erase(s.begin(), std::find_if_not(s.begin(), s.end(), isSpace));
  s.erase(std::find_if_not(s.rbegin(), s.rend(), isSpace).base(), s.end());
  errno = 0;
  if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X') && allOf(s, 2, std::isxdigit)) {
    const unsigned long long value = std::strtoull(s.c_str() + 2, nullptr, 16);
    if (errno || value > UINT_MAX) return std::nullopt;
    return static_cast<int>(static_cast<unsigned int>(value));
  }
  if (!allOf(s, s.empty() || (s[0] != '-' && s[0] != '+') ? 0 : 1, std::isdigit)) return std::nullopt;
  const long long value = std::strtoll(s.c_str(), nullptr, 10);
  if (errno || value < INT_MIN || value > INT_MAX) return std::nullopt;
  return static_cast<int>(value);
}

void checkUtf8(const std::wstring& text) {
  std::string bytes;
  ut::internal::encodeUtf8Lenient(text, bytes);
  std::wstring back;
  if (!ut::internal::isValidUtf8(bytes) || !ut::internal::decodeUtf8(bytes, back, false)) std::abort();
  if (back.size() != text.size()) std::abort();
  for (size_t i = 0; i < text.size(); ++i) {
    if (back[i] != text[i] && back[i] != L'\uFFFD') std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  if (bytes.find('\0') == std::string::npos &&
      ut::internal::parseEnvironmentNumber(bytes) != referenceNumber(bytes))
    std::abort();
  const std::wstring text = wideTextFromBytes(data, size);
  checkUtf8(text);
  std::wstring raw(size / sizeof(wchar_t), L'\0');
  std::memcpy(raw.data(), data, raw.size() * sizeof(wchar_t));
  checkUtf8(raw);
  const std::wstring expanded = ut::internal::expandDebugText(text);
  const auto count = [&](wchar_t c) { return static_cast<size_t>(std::count(text.begin(), text.end(), c)); };
  if (expanded.size() != text.size() + 7 * count(L'\t') + count(L'\n') ||
      expanded.find(L'\t') != std::wstring::npos)
    std::abort();
  return 0;
}
