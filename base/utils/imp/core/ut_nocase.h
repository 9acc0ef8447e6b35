// Comparison of names ignoring case, the way the registry compares key and value names: each character
// upper-cased by its Unicode simple mapping, then compared by code point. It does not depend on the
// process locale, so a name matches the same names in every process.

#ifndef QX_UT_NOCASE_H
#define QX_UT_NOCASE_H

#include <string>
#include <string_view>

namespace ut::internal {

// Negative, 0 or positive as `a` sorts before, with or after `b`, ignoring case.
int compareNoCase(std::wstring_view a, std::wstring_view b);

// Names are mostly spelled alike: an exact match is tried first, which the C library does fast.
inline bool equalNoCase(std::wstring_view a, std::wstring_view b) {
  return a.size() == b.size() && (a == b || compareNoCase(a, b) == 0);
}

// Hash and equality of names ignoring case, for unordered containers that look names up without
// making a case-folded copy first.
struct NoCaseHash {
  using is_transparent = void;
  // Deliberately not noexcept: libstdc++ then keeps each key's hash beside it, where it would otherwise
  // hash keys again while it walks a bucket or grows, and the keys hashed most are long paths.
  size_t operator()(std::wstring_view name) const;
};

struct NoCaseEqual {
  using is_transparent = void;
  bool operator()(std::wstring_view a, std::wstring_view b) const noexcept { return equalNoCase(a, b); }
};

// `name` with every character upper-cased as compareNoCase does: two names compare equal exactly when
// their folded forms are the same, so the folded form can serve as a key.
std::wstring foldCase(std::wstring_view name);

}  // namespace ut::internal

#endif
