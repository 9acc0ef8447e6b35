#include "ut_string.h"

#include "platform/text.h"
#include "text/ut_string_p.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace ut {

namespace {

// The shared shape of the isNumber tests: a conversion that consumed something and is followed by white
// space at most. The value is stored whatever the answer.
template <class T, class Convert>
bool convertsWhole(const wchar_t* s, T* value, Convert convert) {
  if (!s || !*s) return false;
  wchar_t* end = nullptr;
  const T result = convert(s, &end);
  if (value) *value = result;
  if (end == s) return false;
  while (std::iswspace(*end)) ++end;
  return *end == 0;
}

OdString replaced(OdString s, wchar_t from, wchar_t to) {
  s.replace(from, to);
  return s;
}

}  // namespace

const wchar_t* DEGREE_SYMBOL() { return L"\u00B0"; }

// --- Quoting, trimming and padding ---------------------------------------------------------------------

wchar_t* trimQuotes(wchar_t* s) {
  if (!s) return s;
  const size_t length = std::wcslen(s);
  if (length < 2 || s[0] != L'"' || s[length - 1] != L'"') return s;
  s[length - 1] = 0;
  return s + 1;
}

OdString& trimQuotes(OdString& s) {
  const int length = s.getLength();
  if (length >= 2 && s[0] == L'"' && s[length - 1] == L'"') {
    s.deleteChars(length - 1);
    s.deleteChars(0);
  }
  return s;
}

OdString& wrapInQuotes(OdString& s) {
  if (!s.isEmpty()) {
    s.insert(0, L'"');
    s += L'"';
  }
  return s;
}

const wchar_t* findEndingQuote(const wchar_t* p) {
  for (; p && *p; ++p) {
    if (*p == L'"') return p;
    if (*p == L'\\' && !*++p) return nullptr;
  }
  return nullptr;
}

void trimTrailingZeros(OdString& s, const wchar_t& separator) {
  const int k = s.reverseFind(separator);
  if (k <= 0) return;
  int removable = s.getLength() - k - 1;
  while (removable-- > 0 && s[s.getLength() - 1] == L'0') s.deleteChars(s.getLength() - 1);
  if (s[s.getLength() - 1] == separator) s.deleteChars(s.getLength() - 1);
}

void padAtLeftSide(wchar_t* s, int width) {
  if (!s) return;
  const int length = static_cast<int>(std::wcslen(s));
  if (length >= width) return;
  std::wmemmove(s + width - length, s, length + 1);
  std::wmemset(s, L' ', width - length);
}

void padAtRightSide(wchar_t* s, int width) {
  if (!s) return;
  const int length = static_cast<int>(std::wcslen(s));
  if (length >= width) return;
  std::wmemset(s + length, L' ', width - length);
  s[width] = 0;
}

void truncateWithDots(wchar_t* s, int maxLen, const wchar_t* mode) {
  if (!s || !mode || maxLen <= 3) return;
  const int length = static_cast<int>(std::wcslen(s));
  if (length <= maxLen) return;
  const wchar_t end = static_cast<wchar_t>(std::towlower(mode[0]));
  if (end == L'b') {
    int kept = length - (maxLen - 3);
    // Never start the kept text between the two bytes of a double-byte character.
    if (platform::isAnsiLeadByte(s[kept]) && platform::isAnsiTrailByte(s[kept + 1])) ++kept;
    std::wmemmove(s + 3, s + kept, length - kept + 1);
    std::wmemset(s, L'.', 3);
  } else if (end == L'e') {
    std::wmemset(s + maxLen - 3, L'.', 3);
    s[maxLen] = 0;
  }
}

void removeSpaces(wchar_t* s, const wchar_t* mode) {
  if (!s || !mode || !std::wcschr(s, L' ')) return;
  std::wstring text(s);
  if (std::all_of(text.begin(), text.end(), [](wchar_t c) { return std::iswspace(c); })) return;
  std::wstring letters(mode);
  std::transform(letters.begin(), letters.end(), letters.begin(), [](wchar_t c) { return std::towlower(c); });
  const auto has = [&](wchar_t letter) { return letters.find(letter) != std::wstring::npos; };
  if (has(L'b')) text.erase(0, text.find_first_not_of(L' '));
  if (has(L'e')) text.erase(text.find_last_not_of(L' ') + 1);
  if (has(L'm')) {
    const size_t first = text.find_first_not_of(L' ');
    const size_t last = text.find_last_not_of(L' ');
    text.erase(std::remove(text.begin() + first, text.begin() + last, L' '), text.begin() + last);
  }
  std::wmemcpy(s, text.c_str(), text.size() + 1);
}

// Runs an in-place buffer edit on an OdString with room for `capacity` characters.
template <class Edit>
OdString& editInPlace(OdString& s, int capacity, Edit edit) {
  edit(s.getBuffer(std::max(capacity, s.getLength())));
  s.releaseBuffer();
  return s;
}

OdString& padAtLeftSide(OdString& s, int width) {
  return editInPlace(s, width, [width](wchar_t* buffer) { padAtLeftSide(buffer, width); });
}

OdString& padAtRightSide(OdString& s, int width) {
  return editInPlace(s, width, [width](wchar_t* buffer) { padAtRightSide(buffer, width); });
}

OdString& truncateWithDots(OdString& s, int maxLen, const wchar_t* mode) {
  return editInPlace(s, 0, [=](wchar_t* buffer) { truncateWithDots(buffer, maxLen, mode); });
}

OdString& removeSpaces(OdString& s, const wchar_t* mode) {
  return editInPlace(s, 0, [mode](wchar_t* buffer) { removeSpaces(buffer, mode); });
}

void safe_tcsncpy(wchar_t* dst, const wchar_t* src, size_t n) {
  if (!dst) return;
  const size_t length = src ? ::wcsnlen(src, n) : 0;
  if (length) std::wmemcpy(dst, src, length);
  dst[length] = 0;
}

wchar_t* nfgets(wchar_t* buf, int n, FILE* f) {
  if (!buf || !f) return nullptr;
  int stored = 0;
  bool atEnd = false;
  while (stored < n) {
    const wint_t c = std::fgetwc(f);
    if (c == WEOF) {
      atEnd = true;
      break;
    }
    if (c == L'\n' || c == 0x7F) break;
    if (c != L'\r') buf[stored++] = static_cast<wchar_t>(c);
  }
  buf[stored] = 0;
  return atEnd && stored == 0 ? nullptr : buf;
}

// --- Prefixes, suffixes and case -----------------------------------------------------------------------

bool startsWith(const OdString& s, const OdString& prefix) { return s.view().starts_with(prefix.view()); }

bool startsWithAny(const OdString& s, const OdString& a, const OdString& b) {
  return startsWith(s, a) || startsWith(s, b);
}

bool endsWith(const OdString& s, const OdString& suffix) { return s.view().ends_with(suffix.view()); }

OdString beforeFirst(const OdString& s, wchar_t ch) {
  const int k = s.find(ch);
  return k < 0 ? s : s.left(k);
}

OdString afterFirst(const OdString& s, wchar_t ch) {
  const int k = s.find(ch);
  return k < 0 ? OdString() : s.mid(k + 1);
}

OdString removeLast(const OdString& s) { return s.left(s.getLength() - 1); }

OdString toUpperCase(const OdString& s) { return OdString(s).makeUpper(); }

OdString toLowerCase(const OdString& s) { return OdString(s).makeLower(); }

int compareNamesLowercase(const wchar_t* a, const wchar_t* b, size_t n) {
  const auto fold = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; };
  a = a ? a : L"";
  b = b ? b : L"";
  for (size_t i = 0; i < n; ++i) {
    const wchar_t ca = fold(a[i]), cb = fold(b[i]);
    if (ca != cb) return static_cast<int>(ca) - static_cast<int>(cb);
    if (ca == 0) break;
  }
  return 0;
}

const wchar_t* findSubstringNoCase(const wchar_t* haystack, const wchar_t* needle) {
  if (!haystack || !needle) return nullptr;
  const int k = toLowerCase(haystack).find(toLowerCase(needle).c_str());
  return k < 0 ? nullptr : haystack + k;
}

void replaceSymbol(wchar_t* s, wchar_t from, wchar_t to) {
  for (; s && *s; ++s) {
    if (*s == from) *s = to;
  }
}

OdString& replaceSymbol(OdString& s, wchar_t from, wchar_t to) {
  s.replace(from, to);
  return s;
}

// --- Number and character tests ------------------------------------------------------------------------

bool isNumber(const wchar_t* s, long* value) {
  return convertsWhole(s, value, [](const wchar_t* p, wchar_t** end) { return std::wcstol(p, end, 10); });
}

bool isNumber(const wchar_t* s, long long* value) {
  return convertsWhole(s, value, [](const wchar_t* p, wchar_t** end) { return std::wcstoll(p, end, 10); });
}

bool isNumber(const wchar_t* s, double* value) {
  return convertsWhole(s, value, [](const wchar_t* p, wchar_t** end) { return std::wcstod(p, end); });
}

bool isNumber(const wchar_t* s) {
  long integer;
  double real;
  return isNumber(s, &integer) || isNumber(s, &real);
}

bool isInteger(const wchar_t* s) {
  long ignored;
  return isNumber(s, &ignored);
}

bool isASCII(const wchar_t* s) {
  return s && std::all_of(s, s + std::wcslen(s), [](wchar_t c) { return static_cast<unsigned>(c) <= 127; });
}

bool isValidHexDigit(wchar_t c) { return internal::hexDigitValue(c) >= 0; }

bool isValidHandleString(const wchar_t* s) {
  if (!s || !*s) return false;
  while (*s == L' ') ++s;
  for (; *s; ++s) {
    if (internal::hexDigitValue(*s) < 0) return false;
  }
  return true;
}

bool isMTextFormatCodeWithValue(wchar_t c) { return c && std::wcschr(L"ACFHQSTWacfhpqstw", c); }

bool isLeftToRightChar(wchar_t c) {
  return platform::charDirection(c) == platform::CharDirection::LeftToRight;
}

bool isRightToLeftChar(wchar_t c) {
  return platform::charDirection(c) == platform::CharDirection::RightToLeft;
}

bool hasWildcard(const wchar_t* s) { return s && std::wcspbrk(s, L"*?,.#@`[~"); }

bool checkSlashes(const wchar_t* s) { return s && !std::wcschr(s, L'/'); }

bool checkSlashes(const OdString& s) { return s.find(L'/') < 0; }

// --- Slashes and wildcards -----------------------------------------------------------------------------

OdString correctSlashes(const wchar_t* s) { return correctSlashes(OdString(s)); }

OdString correctSlashes(const OdString& s) {
  OdString copy(s);
  return correctSlashes(copy);
}

OdString& correctSlashes(OdString& s) {
  s.replace(L'/', L'\\');
  s.replace(L'|', L' ');
  return s;
}

OdString makeBackSlashes(const wchar_t* s) { return replaced(s, L'/', L'\\'); }

OdString makeBackSlashes(const OdString& s) { return replaced(s, L'/', L'\\'); }

OdString makeForwardSlashes(const wchar_t* s) { return replaced(s, L'\\', L'/'); }

OdString makeForwardSlashes(const OdString& s) { return replaced(s, L'\\', L'/'); }

OdString escapeWildcards(const OdString& s) {
  static constexpr wchar_t kEscaped[] = L".@#~[]-";
  if (s.findOneOf(kEscaped) < 0) return s;
  OdString result(s);
  for (const wchar_t* c = kEscaped; *c; ++c) {
    const wchar_t once[] = {L'`', *c, 0};
    const wchar_t twice[] = {L'`', L'`', *c, 0};
    result.replace(once + 1, once);
    result.replace(twice, once);
  }
  return result;
}

// --- Container functors --------------------------------------------------------------------------------

size_t OdStringHash::operator()(const OdString& s) const noexcept { return std::hash<OdString>()(s); }

bool OdStringArrayLess::operator()(const OdArray<OdString>& a, const OdArray<OdString>& b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
}

}  // namespace ut
