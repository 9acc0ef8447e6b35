#include "OdDbSymUtil.h"

#include <algorithm>
#include <cwchar>
#include <string>
#include <string_view>

namespace {

size_t maxLength(bool extendedNames) { return extendedNames ? 255 : 31; }

bool isAsciiLetterOrDigit(wchar_t c) {
  return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9');
}

bool isAllowedChar(wchar_t c, bool allowVerticalBar, bool extendedNames) {
  if (c == L'|') return allowVerticalBar;
  if (!extendedNames) return isAsciiLetterOrDigit(c) || c == L'$' || c == L'-' || c == L'_';
  return c >= 0x20 && !std::wcschr(L"<>/\\\":;?*,=`", c);
}

}  // namespace

namespace OdDbSymUtil {

bool validateSymbolName(const OdString& name, bool allowVerticalBar, bool extendedNames) {
  const std::wstring_view s = name.view();
  if (s.empty() || s.size() > maxLength(extendedNames)) return false;
  if (s.front() == L' ' || s.back() == L' ') return false;
  return std::all_of(s.begin(), s.end(),
                     [&](wchar_t c) { return isAllowedChar(c, allowVerticalBar, extendedNames); });
}

OdString repairSymbolName(const OdString& source, wchar_t replacement, bool allowVerticalBar,
                          bool extendedNames) {
  if (source.isEmpty()) return OdString(replacement, 1);
  std::wstring s(source.view().substr(0, maxLength(extendedNames)));
  for (wchar_t& c : s) {
    if (!isAllowedChar(c, allowVerticalBar, extendedNames)) c = replacement;
  }
  if (s.front() == L' ') s.front() = replacement;
  if (s.back() == L' ') s.back() = replacement;
  return OdString(std::move(s));
}

}  // namespace OdDbSymUtil
