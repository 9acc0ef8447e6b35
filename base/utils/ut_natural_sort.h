// Natural sort: orders names that contain numbers the way people read them, Layer9 before Layer10.
//
// strCmpAlphanum is a three-way comparison of C wide strings in which runs of ASCII digits compare by
// their numeric value and everything else by the collation of the C library's current locale.
// LexiNumericalSorter cuts strings into number and text pieces once and orders arrays by them.
//
//   ut::strCmpAlphanum(L"Layer9", L"Layer10");       // < 0
//   ut::strCmpAlphanum(L"x10y", L"x2y");             // > 0
//   ut::strCmpAlphanum(L"a01", L"a1");               // < 0: equal values, more leading zeros first
//   ut::strCmpAlphanum(L"text", L"TEXT", false);     // 0
//
//   OdArray<OdString> names{L"B2", L"a10", L"A10", L"a9", L"a9x", L"x007", L"x7"};
//   ut::LexiNumericalSorter().sort(names);
//                               // names: "a9", "a9x", "A10", "a10", "B2", "x007", "x7"
//
// Both use no state of their own: strCmpAlphanum and a const LexiNumericalSorter may be called from any
// thread, as long as no thread changes the C library's locale meanwhile (qxutils itself never does).

#ifndef QX_UT_NATURAL_SORT_H
#define QX_UT_NATURAL_SORT_H

#include "OdArray.h"
#include "OdString.h"

#include <boost/variant.hpp>
#include <functional>
#include <vector>

namespace ut {

// Negative, 0 or positive as `a` sorts before, with or after `b`. At each position where both strings
// continue with a digit run (looking past leading '0's), the runs compare by value, a shorter number
// being the smaller; equal values decide nothing. Otherwise the characters at that position compare as
// one-character strings: wcscoll, or with `caseSensitive` false wcscoll of their towlower forms. Only
// '0'-'9' are digits. A null string sorts after every other one; strings that agree in their first
// 1,024 characters compare equal.
[[nodiscard]] int strCmpAlphanum(const wchar_t* a, const wchar_t* b, bool caseSensitive = true);

// Orders strings as lists of pieces.
//
// Cutting: a string becomes alternating runs of ASCII digits and of other characters. A digit run is an
// int when its value fits, else the nearest double (+inf beyond the double range); every other run is
// a text piece. '.', '-' and '+' are text, so "v1.10" gives v, 1, ".", 10 and sorts after "v1.9": a
// hook can merge pieces into decimals where names mean them (see Hook).
//
// Comparing: pieces compare in turn and the first difference decides. Number against number by
// getAsDouble (a NaN, which only a hook can make, after every other number); a number before a text
// piece; text against text by code point after towlower, so "apple" < "Banana" < "cherry". A list that
// is a proper prefix of the other comes first. Strings whose lists are equivalent ("x007" and "x7", "a"
// and "A") fall back to code-point order of the whole strings, so isLess is a strict total order on
// distinct strings and sort gives one result whatever the input order.
class LexiNumericalSorter {
 public:
  using Piece = boost::variant<double, OdString, int>;
  using Pieces = std::vector<Piece>;
  // Rewrites the piece list of each string before it is compared, e.g. to merge 1 "." 5 into 1.5. It
  // must give equal results for equal lists, or isLess stops being an order.
  using Hook = std::function<void(Pieces&)>;

  LexiNumericalSorter() = default;
  // Does not take ownership: a non-null `hook` must outlive the sorter and every copy of it.
  explicit LexiNumericalSorter(const Hook* hook) : m_hook(hook) {}

  // Sorts ascending by isLess, cutting each element (and calling the hook) once.
  void sort(OdArray<OdString>& names) const;
  // Whether `a` sorts strictly before `b`. Cuts both on every call, calling the hook for `a`, then `b`.
  [[nodiscard]] bool isLess(const OdString& a, const OdString& b) const;
  // The value of a number piece; NaN for a text piece.
  [[nodiscard]] static double getAsDouble(const Piece& piece);

 private:
  [[nodiscard]] Pieces piecesOf(const OdString& s) const;

  const Hook* m_hook = nullptr;
};

}  // namespace ut

#endif
