#include "ut_string.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using Pieces = OdArray<OdString>;

TEST(Split, SeparatorListTable) {
  // Each row: the text, separators, keepEmpty, keepSeparators, and the pieces.
  const std::tuple<const wchar_t*, Pieces, bool, bool, Pieces> cases[] = {
      {L"a,,b", {L","}, false, false, {L"a", L"b"}},
      {L"a,,b", {L","}, true, false, {L"a", L"", L"b"}},
      {L"a,", {L","}, false, false, {L"a"}},
      {L"a,", {L","}, true, false, {L"a", L""}},
      {L",a", {L","}, true, false, {L"", L"a"}},
      {L"", {L","}, false, false, {}},
      {L"", {L","}, true, false, {L""}},
      {L"abc", {}, false, false, {L"abc"}},
      {L"abc", {L""}, true, false, {L"abc"}},
      {L"a+b-c", {L"+", L"-"}, false, true, {L"a", L"+", L"b", L"-", L"c"}},
      {L"a::b:c", {L":", L"::"}, false, true, {L"a", L"::", L"b", L":", L"c"}},
      {L"a<>b<c", {L"<", L"<>"}, false, false, {L"a", L"b", L"c"}},
      {L"x--y", {L"--"}, true, true, {L"x", L"--", L"y"}},
      {L"aXbXXc", {L"X", L"Y"}, true, false, {L"a", L"b", L"", L"c"}},
      // A rare separator misses no later hit of another.
      {L"a;b|c;d", {L"|", L";"}, false, false, {L"a", L"b", L"c", L"d"}}};
  for (const auto& [text, separators, keepEmpty, keepSeparators, pieces] : cases) {
    SCOPED_TRACE(testing::Message() << "text: " << text);
    Pieces out{L"kept"}, expected{L"kept"};
    ut::split(out, text, separators, keepEmpty, keepSeparators);
    for (const OdString& piece : pieces) expected.append(piece);
    EXPECT_EQ(out, expected);
  }
}

TEST(SplitByChar, KeepsLastPiece) {
  const std::tuple<const wchar_t*, bool, Pieces> cases[] = {
      {L"a;b;", false, {L"a", L"b"}},
      {L"a;b;", true, {L"a", L"b", L""}},
      {L";;", true, {L"", L"", L""}},
      {L"", true, {L""}},
      {L"", false, {}},
  };
  for (const auto& [text, keepEmpty, expected] : cases) {
    Pieces out;
    ut::splitByChar(out, text, L';', keepEmpty);
    EXPECT_EQ(out, expected) << text;
  }
}

TEST(SplitLines, CrLfIsOneBreak) {
  Pieces out;
  ut::splitLines(out, L"a\r\n\nb");
  EXPECT_EQ(out, (Pieces{L"a", L"b"}));
  out.clear();
  ut::splitLines(out, L"a\r\n\nb", true);
  EXPECT_EQ(out, (Pieces{L"a", L"", L"b"}));
  out.clear();
  ut::splitLines(out, L"a\rb\n\rc\r", true);
  EXPECT_EQ(out, (Pieces{L"a", L"b", L"", L"c", L""}));
}

TEST(SplitSlideSpecification, Table) {
  // Each row: the notation, the name, and the slide; the empty notation leaves both as they were.
  const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> cases[] = {
      {L"lib(slide)", L"lib", L"slide"},
      {L"lib  (slide)", L"lib", L"slide"},
      {L"lib(slide).sld", L"lib", L"slide"},
      {L"lib(slide)x", L"lib(slide)x", L""},
      {L"lib", L"lib", L""},
      {L"(slide)", L"(slide)", L""},
      {L"lib)(x", L"lib)(x", L""},
      {L"a(b)(c)", L"a(b)", L"c"},
      {L"lib()", L"lib", L""},
      {L"", L"old", L"old"}};
  for (const auto& [notation, name, slide] : cases) {
    SCOPED_TRACE(testing::Message() << "notation: " << notation);
    OdString gotName(L"old"), gotSlide(L"old");
    ut::splitSlideSpecification(notation, gotName, gotSlide);
    EXPECT_EQ(gotName, name);
    EXPECT_EQ(gotSlide, slide);
  }
}

}  // namespace
