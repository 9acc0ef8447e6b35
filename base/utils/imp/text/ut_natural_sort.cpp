#include "ut_natural_sort.h"

#include "platform/text.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <string>
#include <string_view>

namespace ut {
namespace {

constexpr size_t kMaxPositions = 1024;
constexpr size_t kMaxDigits = 1024;

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

template <class T>
int threeWay(T a, T b) {
  return (a > b) - (a < b);
}

// Where the run of '0's at s[i] ends. Every position inside one run has the same answer, so `cachedEnd`
// keeps the last one and a long run of zeros is scanned once rather than once per position.
size_t skipZeros(const wchar_t* s, size_t i, size_t& cachedEnd) {
  if (cachedEnd <= i) {
    cachedEnd = i;
    while (s[cachedEnd] == L'0') ++cachedEnd;
  }
  return cachedEnd;
}

struct ZeroRunEnds {
  size_t a = 0;
  size_t b = 0;
};

struct RunComparison {
  int sign = 0;  // non-zero: the runs decide
  // Non-zero: both texts hold the very same digit run of this many characters from position i, so
  // every position inside it would tie again and can be stepped over.
  size_t sameLength = 0;
};

// Compares the digit runs found at position i past their leading zeros.
RunComparison compareDigitRuns(const wchar_t* a, const wchar_t* b, size_t i, ZeroRunEnds& zeroRunEnds) {
  const size_t zerosA = skipZeros(a, i, zeroRunEnds.a) - i;
  const size_t zerosB = skipZeros(b, i, zeroRunEnds.b) - i;
  const wchar_t* digitsA = a + i + zerosA;
  const wchar_t* digitsB = b + i + zerosB;
  if (!isDigit(*digitsA) || !isDigit(*digitsB)) return {};
  int sign = 0;
  size_t k = 0;
  for (; k < kMaxDigits && isDigit(digitsA[k]) && isDigit(digitsB[k]); ++k) {
    if (sign == 0 && digitsA[k] != digitsB[k]) sign = digitsA[k] < digitsB[k] ? -1 : 1;
  }
  if (k == kMaxDigits) return {};  // Too long to judge from here; later positions walk on.
  if (isDigit(digitsA[k])) return {1, 0};
  if (isDigit(digitsB[k])) return {-1, 0};
  if (sign != 0) return {sign, 0};
  return {0, zerosA == zerosB ? zerosA + k : 0};
}

int collateChars(wchar_t a, wchar_t b, bool caseSensitive) {
  if (a == b) return 0;
  if (!caseSensitive) {
    a = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(a)));
    b = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(b)));
    if (a == b) return 0;
  }
  if (platform::collationIsCodePointOrder()) return threeWay(a, b);
  const wchar_t oneA[2] = {a, L'\0'};
  const wchar_t oneB[2] = {b, L'\0'};
  return std::wcscoll(oneA, oneB);
}

// The comparison as defined, walked position by position from `from` on; every position before `from`
// is known to tie.
int compareFrom(const wchar_t* a, const wchar_t* b, size_t from, bool caseSensitive) {
  ZeroRunEnds zeroRunEnds;
  for (size_t i = from; i < kMaxPositions; ++i) {
    if (a[i] == b[i] && !isDigit(a[i])) {
      if (a[i] == L'\0') return 0;
      continue;
    }
    if (isDigit(a[i]) && isDigit(b[i])) {
      const RunComparison runs = compareDigitRuns(a, b, i, zeroRunEnds);
      if (runs.sign != 0) return runs.sign;
      if (runs.sameLength > 0) {
        i += runs.sameLength - 1;
        continue;
      }
    }
    const int order = collateChars(a[i], b[i], caseSensitive);
    if (order != 0) return order;
    // A character the locale ignores collates equal to the end of the other string; never walk past it.
    if (a[i] == L'\0' || b[i] == L'\0') return a[i] == L'\0' ? -1 : 1;
  }
  return 0;
}

bool isNonZeroDigit(wchar_t c) { return c > L'0' && c <= L'9'; }

// The strings first differ at `diff`, and the digits shared just before it start at `runStart`. When both
// numbers there start at the same place (same leading zeros), their lengths and then the digits at `diff`
// decide at once, as the full walk would; anything else takes the full walk from `runStart`.
int compareAtDifference(const wchar_t* a, const wchar_t* b, size_t runStart, size_t diff,
                        bool caseSensitive) {
  size_t lead = runStart;
  while (lead < diff && a[lead] == L'0') ++lead;
  if (lead == diff && !(isNonZeroDigit(a[diff]) && isNonZeroDigit(b[diff]))) {
    return compareFrom(a, b, runStart, caseSensitive);
  }
  size_t end = diff;
  while (isDigit(a[end]) && isDigit(b[end])) ++end;
  if (end - lead >= kMaxDigits) return compareFrom(a, b, runStart, caseSensitive);
  if (isDigit(a[end]) != isDigit(b[end])) return isDigit(a[end]) ? 1 : -1;
  if (end > diff) return a[diff] < b[diff] ? -1 : 1;
  return compareFrom(a, b, diff, caseSensitive);  // the same number in both: the characters go on
}

}  // namespace

int strCmpAlphanum(const wchar_t* a, const wchar_t* b, bool caseSensitive) {
  if (!a || !b) return a == b ? 0 : (a ? -1 : 1);
  // One pass over the common prefix. Digit runs that end inside it are equal in both strings and decide
  // nothing; only the run that reaches the first difference still counts.
  size_t diff = 0;
  size_t runStart = 0;
  for (; diff < kMaxPositions && a[diff] == b[diff]; ++diff) {
    if (a[diff] == L'\0') return 0;
    if (!isDigit(a[diff])) runStart = diff + 1;
  }
  if (diff == kMaxPositions) return compareFrom(a, b, runStart, caseSensitive);
  return compareAtDifference(a, b, runStart, diff, caseSensitive);
}

namespace {

using Piece = LexiNumericalSorter::Piece;
using Pieces = LexiNumericalSorter::Pieces;

// Digit runs too long for an int; from_chars rounds correctly, which keeps longer runs never smaller.
double bigNumber(std::wstring_view digits) {
  const std::string narrow(digits.begin(), digits.end());
  double value = 0;
  const auto result = std::from_chars(narrow.data(), narrow.data() + narrow.size(), value);
  return result.ec == std::errc::result_out_of_range ? std::numeric_limits<double>::infinity() : value;
}

Piece numberPiece(std::wstring_view digits) {
  long long value = 0;
  for (const wchar_t c : digits) {
    value = value * 10 + (c - L'0');
    if (value > INT_MAX) return bigNumber(digits);
  }
  return static_cast<int>(value);
}

Pieces cut(std::wstring_view s) {
  Pieces pieces;
  for (size_t start = 0; start < s.size();) {
    const bool digits = isDigit(s[start]);
    size_t end = start + 1;
    while (end < s.size() && isDigit(s[end]) == digits) ++end;
    const std::wstring_view run = s.substr(start, end - start);
    pieces.push_back(digits ? numberPiece(run) : Piece(OdString(run)));
    start = end;
  }
  return pieces;
}

int compareNumbers(double a, double b) {
  const bool nanA = std::isnan(a);
  const bool nanB = std::isnan(b);
  if (nanA || nanB) return threeWay(nanA, nanB);
  return threeWay(a, b);
}

int compareFolded(std::wstring_view a, std::wstring_view b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const wint_t ca = std::towlower(static_cast<wint_t>(a[i]));
    const wint_t cb = std::towlower(static_cast<wint_t>(b[i]));
    if (ca != cb) return threeWay(ca, cb);
  }
  return threeWay(a.size(), b.size());
}

int comparePieces(const Piece& a, const Piece& b) {
  const OdString* textA = boost::get<OdString>(&a);
  const OdString* textB = boost::get<OdString>(&b);
  if (textA && textB) return compareFolded(textA->view(), textB->view());
  if (textA || textB) return textA ? 1 : -1;
  return compareNumbers(LexiNumericalSorter::getAsDouble(a), LexiNumericalSorter::getAsDouble(b));
}

int compareLists(const Pieces& a, const Pieces& b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (const int order = comparePieces(a[i], b[i]); order != 0) return order;
  }
  return threeWay(a.size(), b.size());
}

bool orderedBefore(const Pieces& piecesA, const OdString& a, const Pieces& piecesB, const OdString& b) {
  const int order = compareLists(piecesA, piecesB);
  return order != 0 ? order < 0 : a.str() < b.str();
}

}  // namespace

LexiNumericalSorter::Pieces LexiNumericalSorter::piecesOf(const OdString& s) const {
  Pieces pieces = cut(s.view());
  if (m_hook && *m_hook) (*m_hook)(pieces);
  return pieces;
}

bool LexiNumericalSorter::isLess(const OdString& a, const OdString& b) const {
  const Pieces piecesA = piecesOf(a);
  const Pieces piecesB = piecesOf(b);
  return orderedBefore(piecesA, a, piecesB, b);
}

void LexiNumericalSorter::sort(OdArray<OdString>& names) const {
  struct Keyed {
    Pieces pieces;
    OdString name;
  };
  // All cutting (and any exception from the hook) happens before `names` is touched.
  std::vector<Keyed> keyed;
  keyed.reserve(names.size());
  for (const OdString& name : names) keyed.push_back({piecesOf(name), OdString()});
  auto source = names.begin();
  for (Keyed& entry : keyed) entry.name = std::move(*source++);
  std::sort(keyed.begin(), keyed.end(),
            [](const Keyed& x, const Keyed& y) { return orderedBefore(x.pieces, x.name, y.pieces, y.name); });
  auto target = names.begin();
  for (Keyed& entry : keyed) *target++ = std::move(entry.name);
}

double LexiNumericalSorter::getAsDouble(const Piece& piece) {
  if (const int* whole = boost::get<int>(&piece)) return *whole;
  if (const double* real = boost::get<double>(&piece)) return *real;
  return std::numeric_limits<double>::quiet_NaN();
}

}  // namespace ut
