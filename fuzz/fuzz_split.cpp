// Splitting arbitrary text at arbitrary separators: with every empty piece and every separator kept the
// pieces put back together give the text; without keepEmpty no piece is empty; line splitting leaves no
// line break inside a line; splitting at one character gives one piece more than it has occurrences.

#include "fuzz_wide_text.h"
#include "ut_string.h"

#include <cstdlib>

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

std::wstring joined(const OdArray<OdString>& pieces, std::wstring_view glue = {}) {
  std::wstring text;
  for (unsigned i = 0; i < pieces.size(); ++i)
    text.append(i ? glue : std::wstring_view()).append(pieces[i].view());
  return text;
}

// The first byte chooses the number of separators (its low two bits); the text that follows holds the
// separators and then the body, parted by U+0001.
void checkSplit(uint8_t control, const std::wstring& input) {
  OdArray<OdString> parts;
  ut::splitByChar(parts, input, L'\x01', true);
  const unsigned count = std::min<unsigned>(control & 3, parts.size() - 1);
  OdArray<OdString> separators;
  for (unsigned i = 0; i < count; ++i) separators.append(parts[i]);
  const OdString body(input.substr(joined(separators, L"\x01").size() + (count ? 1 : 0)));

  OdArray<OdString> all;
  ut::split(all, body, separators, true, true);
  const bool anySeparator =
      std::any_of(separators.begin(), separators.end(), [](auto& s) { return !s.isEmpty(); });
  require(!anySeparator || joined(all) == body.view());

  OdArray<OdString> nonEmpty;
  ut::split(nonEmpty, body, separators, false, false);
  require(std::none_of(nonEmpty.begin(), nonEmpty.end(), [](auto& s) { return s.isEmpty(); }));
}

void checkLines(const std::wstring& input) {
  OdArray<OdString> lines;
  ut::splitLines(lines, input, true);
  for (const OdString& line : lines) require(line.findOneOf(L"\r\n") < 0);
}

void checkByChar(const std::wstring& input) {
  OdArray<OdString> pieces;
  ut::splitByChar(pieces, input, L',', true);
  require(pieces.size() == std::count(input.begin(), input.end(), L',') + 1u);
  require(joined(pieces, L",") == input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::wstring input = wideTextFromBytes(data + 1, size - 1);
  checkSplit(data[0], input);
  checkLines(input);
  checkByChar(input);
  return 0;
}
