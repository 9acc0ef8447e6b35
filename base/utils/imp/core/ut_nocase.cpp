#include "core/ut_nocase.h"

#include "OdUnicode.h"

#include <algorithm>

namespace ut::internal {

namespace {

wchar_t upper(wchar_t c) { return od_unicode::toUpper(c); }

}  // namespace

int compareNoCase(std::wstring_view a, std::wstring_view b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const wchar_t ua = upper(a[i]);
    const wchar_t ub = upper(b[i]);
    if (ua != ub) return ua < ub ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

size_t NoCaseHash::operator()(std::wstring_view name) const {
  size_t hash = 14695981039346656037ull;  // FNV-1a over the upper-cased characters
  for (wchar_t c : name) hash = (hash ^ static_cast<size_t>(upper(c))) * 1099511628211ull;
  return hash;
}

std::wstring foldCase(std::wstring_view name) {
  std::wstring folded(name);
  std::transform(folded.begin(), folded.end(), folded.begin(), upper);
  return folded;
}

}  // namespace ut::internal
