#include "ut_string.h"

#include "platform/text.h"
#include "core/ut_utf8.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <optional>
#include <stdexcept>
#include <vector>

namespace ut {

namespace {

constexpr unsigned kUtf16CodePage = 1200;

// --- Collation ---

// The collation of the C library's current locale; case-insensitive by folding to lower case first.
int collate(const OdString& a, const OdString& b, bool caseInsensitive) {
  if (!caseInsensitive) return std::wcscoll(a.c_str(), b.c_str());
  return std::wcscoll(toLowerCase(a).c_str(), toLowerCase(b).c_str());
}

// --- Number formatting ---

// The number format the user's locale asks for, with the defaults of an unreadable locale.
struct NumberFormat {
  int digits = 0;
  bool leadingZero = true;
  std::vector<int> groups;  // group sizes from the decimal point outwards, the last one repeating
  std::wstring decimalSeparator = L".";
  std::wstring thousandSeparator = L",";
  int negativeOrder = 1;
};

// A plain decimal number: an optional '-', digits, an optional '.' and more digits, at least one digit.
struct DecimalNumber {
  bool negative = false;
  std::wstring integer;
  std::wstring fraction;
};

std::optional<DecimalNumber> parseDecimal(std::wstring_view text) {
  DecimalNumber number;
  number.negative = text.starts_with(L'-');
  if (number.negative) text.remove_prefix(1);
  const size_t point = text.find(L'.');
  number.integer = text.substr(0, point);
  if (point != std::wstring_view::npos) number.fraction = text.substr(point + 1);
  const auto digitsOnly = [](const std::wstring& s) {
    return std::all_of(s.begin(), s.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
  };
  if (number.integer.empty() && number.fraction.empty()) return std::nullopt;
  if (!digitsOnly(number.integer) || !digitsOnly(number.fraction)) return std::nullopt;
  return number;
}

// Rounds half away from zero to `digits` fraction digits.
void roundTo(DecimalNumber& number, int digits) {
  if (static_cast<int>(number.fraction.size()) <= digits) {
    number.fraction.append(digits - number.fraction.size(), L'0');
    return;
  }
  const bool up = number.fraction[digits] >= L'5';
  number.fraction.resize(digits);
  if (!up) return;
  std::wstring all = number.integer + number.fraction;
  int i = static_cast<int>(all.size()) - 1;
  for (; i >= 0 && all[i] == L'9'; --i) all[i] = L'0';
  if (i >= 0)
    ++all[i];
  else
    all.insert(0, 1, L'1');
  number.integer = all.substr(0, all.size() - digits);
  number.fraction = all.substr(all.size() - digits);
}

std::wstring groupedInteger(const std::wstring& digits, const NumberFormat& format) {
  std::wstring result;
  size_t end = digits.size(), group = 0;
  while (end > 0) {
    const int size = format.groups[std::min(group, format.groups.size() - 1)];
    const size_t begin = size > 0 && end > static_cast<size_t>(size) ? end - size : 0;
    result.insert(0, digits, begin, end - begin);
    if (begin > 0) result.insert(0, format.thousandSeparator);
    end = begin;
    ++group;
  }
  return result;
}

std::wstring withSign(const std::wstring& magnitude, int negativeOrder) {
  switch (negativeOrder) {
    case 0:
      return L"(" + magnitude + L")";
    case 2:
      return L"- " + magnitude;
    case 3:
      return magnitude + L"-";
    case 4:
      return magnitude + L" -";
    default:
      return L"-" + magnitude;
  }
}

std::optional<std::wstring> formatNumber(std::wstring_view text, const NumberFormat& format) {
  std::optional<DecimalNumber> number = parseDecimal(text);
  if (!number) return std::nullopt;
  roundTo(*number, format.digits);
  number->integer.erase(0, std::min(number->integer.find_first_not_of(L'0'), number->integer.size()));
  std::wstring magnitude = groupedInteger(number->integer, format);
  if (magnitude.empty() && (format.leadingZero || number->fraction.empty())) magnitude = L"0";
  if (!number->fraction.empty()) magnitude += format.decimalSeparator + number->fraction;
  const bool zero = (number->integer + number->fraction).find_first_not_of(L'0') == std::wstring::npos;
  return number->negative && !zero ? withSign(magnitude, format.negativeOrder) : magnitude;
}

// The grouping text "3;0" stands for threes repeated, anything else for a three then twos repeated.
void applyGrouping(const std::wstring& text, NumberFormat& format) {
  if (text.empty() || text[0] < L'0' || text[0] > L'9') {
    format.groups = {3};
  } else if (text.size() > 2 && text[2] == L'0') {
    format.groups = {text[0] - L'0'};
  } else {
    format.groups = {3, 2};
  }
}

NumberFormat userNumberFormat(std::wstring_view number, bool noLeadingZero) {
  NumberFormat format;
  const size_t point = number.find(L'.');
  format.digits =
      point != std::wstring_view::npos && point >= 1 ? static_cast<int>(number.size() - point - 1) : 0;
  format.leadingZero = !noLeadingZero;
  const platform::NumberFormatInfo info = platform::userNumberFormat();
  applyGrouping(info.grouping, format);
  if (!info.decimalSeparator.empty()) format.decimalSeparator = info.decimalSeparator;
  if (!info.thousandSeparator.empty()) format.thousandSeparator = info.thousandSeparator;
  if (info.negativeOrder >= 0) format.negativeOrder = info.negativeOrder;
  return format;
}

}  // namespace

OdString getNumberFormat(const OdString& number, bool noLeadingZero) {
  // The result must fit the 100-character buffer that Windows formats into.
  constexpr size_t kMaxLength = 99;
  const std::optional<std::wstring> formatted =
      formatNumber(number.view(), userNumberFormat(number.view(), noLeadingZero));
  return formatted && formatted->size() <= kMaxLength ? OdString(*formatted) : number;
}

OdAnsiString convertToAnsi(const OdString& s, unsigned codePage) {
  if (codePage == kUtf16CodePage) codePage = platform::kAnsiCodePage;
  return OdAnsiString(platform::wideToCodePage(s.view(), codePage));
}

std::string convFileNameToMB(const wchar_t* fileName) {
  return fileName ? platform::fileNameToNarrow(fileName) : std::string();
}

std::string ws2s(const std::wstring& s) {
  std::string out;
  if (!internal::encodeUtf8(s, out)) throw std::range_error("bad conversion");
  return out;
}

std::wstring s2ws(const std::string& s) {
  std::wstring out;
  if (!internal::decodeUtf8(s, out, false)) throw std::range_error("bad conversion");
  return out;
}

int sortStrings(OdArray<OdString>& strings, bool caseInsensitive) {
  std::stable_sort(strings.begin(), strings.end(), [caseInsensitive](const OdString& a, const OdString& b) {
    return collate(a, b, caseInsensitive) < 0;
  });
  return static_cast<int>(strings.size());
}

}  // namespace ut
