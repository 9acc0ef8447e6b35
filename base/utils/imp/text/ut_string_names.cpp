// Symbol-table names: validation and repair through the SDK's symbol-name rules, and numbering a name
// until it is unique.

#include "ut_string.h"

#include "OdDbSymUtil.h"
#include "platform/text.h"
#include "text/ut_string_p.h"

#include <climits>
#include <optional>
#include <string>
#include <string_view>

namespace ut {
namespace {

// Escapes are decoded within the first 256 characters, one more than a name may hold; the rest is taken
// as written.
constexpr size_t kEscapeScanLimit = 256;
constexpr size_t kMultibyteEscapeLength = 8;  // \M+NXXXX

struct DecodedEscape {
  std::wstring text;
  size_t length;
};

bool isAsciiDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

std::optional<DecodedEscape> decodeUnicodeEscape(std::wstring_view s) {
  const wchar_t c = internal::unicodeEscapeChar(s);
  if (!c) return std::nullopt;
  return DecodedEscape{std::wstring(1, c), internal::kUnicodeEscapeLength};
}

// "\M+NXXXX": the bytes XX XX read in the ANSI code page (N, the code page the text was written in, is
// not used). Bytes the code page cannot read leave the escape as written.
std::optional<DecodedEscape> decodeMultibyteEscape(std::wstring_view s) {
  if (s.size() < kMultibyteEscapeLength || s[1] != L'M' || s[2] != L'+' || !isAsciiDigit(s[3])) {
    return std::nullopt;
  }
  const int code = internal::parseHex4(s.substr(4));
  if (code < 0) return std::nullopt;
  const char bytes[] = {static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
  std::wstring text = platform::codePageToWide(std::string_view(bytes, 2), platform::kAnsiCodePage);
  if (text.empty() || text.find(L'\0') != std::wstring::npos) return std::nullopt;
  return DecodedEscape{std::move(text), kMultibyteEscapeLength};
}

std::optional<DecodedEscape> decodeEscape(std::wstring_view s) {
  if (s[0] != L'\\') return std::nullopt;
  if (auto escape = decodeUnicodeEscape(s)) return escape;
  return decodeMultibyteEscape(s);
}

OdString decodeEscapes(std::wstring_view name) {
  const std::wstring_view scanned = name.substr(0, kEscapeScanLimit);
  std::wstring decoded;
  decoded.reserve(name.size());
  for (size_t i = 0; i < scanned.size();) {
    if (auto escape = decodeEscape(scanned.substr(i))) {
      decoded += escape->text;
      i += escape->length;
    } else {
      decoded += scanned[i++];
    }
  }
  decoded.append(name.substr(scanned.size()));
  return OdString(std::move(decoded));
}

struct NumberedName {
  OdString base;
  long long start;
};

// The value of a run of decimal digits (0 for none), or nothing when it exceeds the int that the
// numbered names count in.
std::optional<int> parseCounter(std::wstring_view digits) {
  long long value = 0;
  for (wchar_t c : digits) {
    value = value * 10 + (c - L'0');
    if (value > INT_MAX) return std::nullopt;
  }
  return static_cast<int>(value);
}

// "Layer_7" counts on from 7 after "Layer_", "Layer 3" from 3 after "Layer ", "name_" from 0 after
// "name_". "Layer5", "123" and names whose number is too large get a separator and start at 1.
NumberedName splitTrailingNumber(const OdString& name, wchar_t separator) {
  const std::wstring_view s = name.view();
  size_t digitsAt = s.size();
  while (digitsAt > 0 && isAsciiDigit(s[digitsAt - 1])) --digitsAt;
  const bool afterSeparator = digitsAt > 0 && (s[digitsAt - 1] == separator || s[digitsAt - 1] == L' ');
  const std::optional<int> number = parseCounter(s.substr(digitsAt));
  if (!afterSeparator || !number) return {name + separator, 1};
  return {OdString(s.substr(0, digitsAt)), *number};
}

}  // namespace

bool isValidName(const wchar_t* name, bool allowVerticalBar, bool extendedNames) {
  return name && OdDbSymUtil::validateSymbolName(decodeEscapes(name), allowVerticalBar, extendedNames);
}

OdString makeValidName(const OdString& name, wchar_t replacement, bool keepLeadingAsterisk,
                       bool extendedNames) {
  const OdString decoded = decodeEscapes(name.view());
  OdString repaired = OdDbSymUtil::repairSymbolName(decoded, replacement, false, extendedNames);
  if (repaired == decoded) return name;
  // The repair maps the first character to the first character, so the '*' it replaced is at index 0.
  if (keepLeadingAsterisk && name.view().starts_with(L'*')) repaired.setAt(0, L'*');
  return repaired;
}

OdString makeUniqueName(const OdString& name, std::function<bool(const OdString&)> isUnique, bool forceSuffix,
                        const wchar_t& separator) {
  if (!isUnique) return name;
  if (!forceSuffix && isUnique(name)) return name;
  const NumberedName numbered = splitTrailingNumber(name, separator);
  // 64 bits: counting on from INT_MAX cannot overflow in any number of calls a program could make.
  for (long long n = numbered.start;; ++n) {
    const OdString candidate = numbered.base + OdString(std::to_wstring(n));
    if (isUnique(candidate)) return candidate;
  }
}

}  // namespace ut
