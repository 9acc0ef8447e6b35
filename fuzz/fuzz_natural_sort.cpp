// Splits UTF-8 input at NUL bytes into up to three names and checks the orders on them:
// strCmpAlphanum is 0 on equal strings and antisymmetric below its 1,024-character limit, and
// LexiNumericalSorter::isLess is a strict total order (irreflexive, asymmetric, total on distinct
// names, transitive).

#include "ut_natural_sort.h"
#include "core/ut_utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

int sign(int v) { return (v > 0) - (v < 0); }

std::vector<OdString> splitNames(std::string_view bytes) {
  std::vector<OdString> names;
  for (size_t start = 0; names.size() < 3;) {
    const size_t end = std::min(bytes.find('\0', start), bytes.size());
    std::wstring name;
    (void)ut::internal::decodeUtf8(bytes.substr(start, end - start), name, true);
    names.emplace_back(name);
    if (end == bytes.size()) break;
    start = end + 1;
  }
  while (names.size() < 3) names.emplace_back(names.back());
  return names;
}

void checkStrCmpAlphanum(const OdString& a, const OdString& b) {
  for (const bool caseSensitive : {true, false}) {
    check(ut::strCmpAlphanum(a, a, caseSensitive) == 0);
    if (a.getLength() < 1024 && b.getLength() < 1024) {
      check(sign(ut::strCmpAlphanum(a, b, caseSensitive)) == -sign(ut::strCmpAlphanum(b, a, caseSensitive)));
    }
  }
}

void checkSorter(const ut::LexiNumericalSorter& sorter, const std::vector<OdString>& n) {
  for (const OdString& a : n) {
    check(!sorter.isLess(a, a));
    for (const OdString& b : n) {
      const bool less = sorter.isLess(a, b);
      check(!(less && sorter.isLess(b, a)));
      check(a == b || less || sorter.isLess(b, a));
      for (const OdString& c : n) check(!less || !sorter.isLess(b, c) || sorter.isLess(a, c));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<OdString> names = splitNames(std::string_view(reinterpret_cast<const char*>(data), size));
  checkStrCmpAlphanum(names[0], names[1]);
  checkStrCmpAlphanum(names[1], names[2]);
  checkSorter(ut::LexiNumericalSorter(), names);
  return 0;
}
