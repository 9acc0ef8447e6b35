#include "ut_nocase.h"

#include "text_platform.h"

#include <algorithm>

namespace ut::internal {

int compareNoCase(std::wstring_view a, std::wstring_view b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const wchar_t ua = platform::toUpper(a[i]);
    const wchar_t ub = platform::toUpper(b[i]);
    if (ua != ub) return ua < ub ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

std::wstring foldCase(std::wstring_view name) {
  std::wstring folded(name);
  std::transform(folded.begin(), folded.end(), folded.begin(), platform::toUpper);
  return folded;
}

}  // namespace ut::internal
