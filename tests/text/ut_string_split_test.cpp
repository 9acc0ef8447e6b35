#include "ut_string.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<std::wstring> items(const OdArray<OdString>& array) {
  std::vector<std::wstring> result;
  for (const OdString& s : array) result.push_back(s.str());
  return result;
}

using Pieces = std::vector<std::wstring>;

TEST(Split, SeparatorListTable) {
  const struct {
    const wchar_t* text;
    OdArray<OdString> separators;
    bool keepEmpty;
    bool keepSeparators;
    Pieces expected;
  } cases[] = {
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
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "text: " << c.text);
    OdArray<OdString> out{L"kept"};
    ut::split(out, c.text, c.separators, c.keepEmpty, c.keepSeparators);
    Pieces expected{L"kept"};
    expected.insert(expected.end(), c.expected.begin(), c.expected.end());
    EXPECT_EQ(items(out), expected);
  }
}

TEST(Split, RareSeparatorDoesNotMissLaterHits) {
  OdArray<OdString> out;
  ut::split(out, L"a;b|c;d", OdArray<OdString>{L"|", L";"});
  EXPECT_EQ(items(out), (Pieces{L"a", L"b", L"c", L"d"}));
}

TEST(SplitByChar, KeepsLastPiece) {
  const struct {
    const wchar_t* text;
    bool keepEmpty;
    Pieces expected;
  } cases[] = {{L"a;b;", false, {L"a", L"b"}},
               {L"a;b;", true, {L"a", L"b", L""}},
               {L";;", true, {L"", L"", L""}},
               {L"", true, {L""}},
               {L"", false, {}}};
  for (const auto& c : cases) {
    OdArray<OdString> out;
    ut::splitByChar(out, c.text, L';', c.keepEmpty);
    EXPECT_EQ(items(out), c.expected) << c.text;
  }
}

TEST(SplitLines, CrLfIsOneBreak) {
  OdArray<OdString> out;
  ut::splitLines(out, L"a\r\n\nb");
  EXPECT_EQ(items(out), (Pieces{L"a", L"b"}));
  out.clear();
  ut::splitLines(out, L"a\r\n\nb", true);
  EXPECT_EQ(items(out), (Pieces{L"a", L"", L"b"}));
  out.clear();
  ut::splitLines(out, L"a\rb\n\rc\r", true);
  EXPECT_EQ(items(out), (Pieces{L"a", L"b", L"", L"c", L""}));
}

TEST(SplitSlideSpecification, Table) {
  const struct {
    const wchar_t* notation;
    const wchar_t* name;
    const wchar_t* slide;
  } cases[] = {
      {L"lib(slide)", L"lib", L"slide"},
      {L"lib  (slide)", L"lib", L"slide"},
      {L"lib(slide).sld", L"lib", L"slide"},
      {L"lib(slide)x", L"lib(slide)x", L""},
      {L"lib", L"lib", L""},
      {L"(slide)", L"(slide)", L""},
      {L"lib)(x", L"lib)(x", L""},
      {L"a(b)(c)", L"a(b)", L"c"},
      {L"lib()", L"lib", L""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "notation: " << c.notation);
    OdString name(L"old"), slide(L"old");
    ut::splitSlideSpecification(c.notation, name, slide);
    EXPECT_EQ(name, c.name);
    EXPECT_EQ(slide, c.slide);
  }
  OdString name(L"old"), slide(L"old");
  ut::splitSlideSpecification(L"", name, slide);
  EXPECT_EQ(name, L"old");
  EXPECT_EQ(slide, L"old");
}

}  // namespace
