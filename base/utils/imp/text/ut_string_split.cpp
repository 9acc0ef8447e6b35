#include "ut_string.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace ut {

namespace {

constexpr size_t npos = std::wstring_view::npos;

// The separators in the order they win ties: longest first, equal lengths as given.
std::vector<std::wstring_view> orderedSeparators(const OdArray<OdString>& separators) {
  std::vector<std::wstring_view> ordered;
  for (const OdString& separator : separators) {
    if (!separator.isEmpty()) ordered.push_back(separator.view());
  }
  std::stable_sort(ordered.begin(), ordered.end(), [](auto a, auto b) { return a.size() > b.size(); });
  return ordered;
}

// Finds, from `from` on, the earliest occurrence of any separator. Each separator's next occurrence is
// remembered and searched again only once the scan has passed it, so a separator that is rare or absent
// costs one pass over the text in all, not one per piece.
class SeparatorScanner {
 public:
  SeparatorScanner(std::wstring_view text, std::vector<std::wstring_view> separators)
      : m_text(text), m_separators(std::move(separators)), m_next(m_separators.size(), 0), m_stale(true) {}

  // Position of the winning occurrence (npos for none) and the index of its separator.
  std::pair<size_t, size_t> next(size_t from) {
    size_t best = npos, winner = 0;
    for (size_t i = 0; i < m_separators.size(); ++i) {
      if (m_stale || (m_next[i] != npos && m_next[i] < from)) m_next[i] = m_text.find(m_separators[i], from);
      if (m_next[i] < best) {
        best = m_next[i];
        winner = i;
      }
    }
    m_stale = false;
    return {best, winner};
  }

  std::wstring_view separator(size_t index) const { return m_separators[index]; }

 private:
  std::wstring_view m_text;
  std::vector<std::wstring_view> m_separators;
  std::vector<size_t> m_next;
  bool m_stale;
};

void appendPiece(OdArray<OdString>& out, std::wstring_view piece, bool keepEmpty) {
  if (keepEmpty || !piece.empty()) out.append(OdString(piece));
}

}  // namespace

void split(OdArray<OdString>& out, const OdString& str, const OdArray<OdString>& separators, bool keepEmpty,
           bool keepSeparators) {
  const std::wstring_view text = str.view();
  std::vector<std::wstring_view> ordered = orderedSeparators(separators);
  if (ordered.empty()) {
    appendPiece(out, text, keepEmpty);
    return;
  }
  SeparatorScanner scanner(text, std::move(ordered));
  for (size_t p = 0;;) {
    const auto [found, winner] = scanner.next(p);
    appendPiece(out, text.substr(p, found == npos ? npos : found - p), keepEmpty);
    if (found == npos) return;
    const std::wstring_view separator = scanner.separator(winner);
    if (keepSeparators) out.append(OdString(separator));
    p = found + separator.size();
    if (p >= text.size()) {
      if (keepEmpty) out.append(OdString());
      return;
    }
  }
}

void split(OdArray<OdString>& out, const OdString& str, const OdString& separator, bool keepEmpty,
           bool keepSeparators) {
  split(out, str, OdArray<OdString>{separator}, keepEmpty, keepSeparators);
}

void splitByChar(OdArray<OdString>& out, const OdString& str, wchar_t ch, bool keepEmpty) {
  const std::wstring_view text = str.view();
  for (size_t p = 0;;) {
    const size_t found = text.find(ch, p);
    appendPiece(out, text.substr(p, found == npos ? npos : found - p), keepEmpty);
    if (found == npos) return;
    p = found + 1;
  }
}

void splitLines(OdArray<OdString>& out, const OdString& str, bool keepEmpty) {
  static const OdArray<OdString> lineBreaks{L"\r\n", L"\r", L"\n"};
  split(out, str, lineBreaks, keepEmpty, false);
}

void splitSlideSpecification(const OdString& notation, OdString& name, OdString& slide) {
  if (notation.isEmpty()) return;
  const std::wstring_view text = notation.view();
  const size_t close = text.rfind(L')');
  const bool closes = close != npos && (close + 1 == text.size() || text[close + 1] == L'.');
  const size_t open = closes ? text.rfind(L'(') : npos;
  if (open == npos || open < 1 || open >= close) {
    name = notation;
    slide.empty();
    return;
  }
  slide = OdString(text.substr(open + 1, close - open - 1));
  name = OdString(text.substr(0, open));
  name.trimRight(L' ');
}

}  // namespace ut
