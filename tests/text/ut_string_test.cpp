#include "ut_string.h"

#include "test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using qxtest::ScopedEnv;  // on LC_ALL, for a locale: the library reads the environment at each call

// Runs a raw-buffer function on a copy of `text` in a roomy buffer and returns the result.
template <class F>
std::wstring onBuffer(const wchar_t* text, F f) {
  std::vector<wchar_t> buffer(64, L'#');
  std::wcscpy(buffer.data(), text);
  f(buffer.data());
  return buffer.data();
}

TEST(Quotes, TrimmedAlikeAndEndFoundPastEscapes) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"\"x\"", L"x"}, {L"\"\"", L""}, {L"\"", L"\""}, {L"\"ab", L"\"ab"}, {L"a\"", L"a\""}, {L"", L""}};
  for (const auto& [in, out] : cases) {
    SCOPED_TRACE(testing::Message() << "in: " << in);
    EXPECT_STREQ(ut::trimQuotes(std::wstring(in).data()), out);
    OdString s(in);
    EXPECT_EQ(ut::trimQuotes(s), out);
  }
  EXPECT_EQ(ut::trimQuotes(static_cast<wchar_t*>(nullptr)), nullptr);
  // The ending quote is the first one no backslash escapes.
  const wchar_t* text = L"a\\\"b\"c";
  EXPECT_EQ(ut::findEndingQuote(text), text + 4);
  for (const wchar_t* s : {L"abc", L"ab\\"}) EXPECT_EQ(ut::findEndingQuote(s), nullptr) << s;
  EXPECT_EQ(ut::findEndingQuote(nullptr), nullptr);
}

TEST(TrimTrailingZeros, OnlyAfterTheSeparator) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"12.500", L"12.5"}, {L"12.000", L"12"},
                                                             {L"1200", L"1200"},   {L"0.0", L"0"},
                                                             {L".00", L".00"},     {L"1.2.30", L"1.2.3"}};
  for (const auto& [in, out] : cases) {
    OdString s(in);
    ut::trimTrailingZeros(s, L'.');
    EXPECT_EQ(s, out) << in;
  }
}

TEST(Padding, FillsToWidth) {
  EXPECT_EQ(onBuffer(L"ab", [](wchar_t* s) { ut::padAtLeftSide(s, 5); }), L"   ab");
  EXPECT_EQ(onBuffer(L"ab", [](wchar_t* s) { ut::padAtRightSide(s, 5); }), L"ab   ");
  EXPECT_EQ(onBuffer(L"abcdef", [](wchar_t* s) { ut::padAtLeftSide(s, 3); }), L"abcdef");
  ut::padAtLeftSide(nullptr, 3);
  OdString s(L" a b ");
  EXPECT_EQ(ut::padAtLeftSide(s, 6), L"  a b ");
  EXPECT_EQ(ut::padAtRightSide(s, 8), L"  a b   ");
  EXPECT_EQ(ut::removeSpaces(s, L"bem"), L"ab");
  EXPECT_EQ(ut::truncateWithDots(s.format(L"abcdefgh"), 6, L"e"), L"abc...");
  EXPECT_EQ(ut::replaceSymbol(s, L'.', L'_'), L"abc___");
  EXPECT_EQ(onBuffer(L"a.b.c", [](wchar_t* s) { ut::replaceSymbol(s, L'.', L'_'); }), L"a_b_c");
}

TEST(TruncateWithDots, CutsAtEitherEnd) {
  // Each row: the text, maxLen, the mode, and the result.
  const std::tuple<const wchar_t*, int, const wchar_t*, const wchar_t*> cases[] = {
      {L"abcdefgh", 6, L"b", L"...fgh"},   {L"abcdefgh", 6, L"Begin", L"...fgh"},
      {L"abcdefgh", 6, L"e", L"abc..."},   {L"abcdefgh", 6, L"x", L"abcdefgh"},
      {L"abcdefgh", 3, L"e", L"abcdefgh"}, {L"abc", 6, L"e", L"abc"},
      {L"abcdefgh", 8, L"b", L"abcdefgh"}};
  for (const auto& [in, maxLen, mode, out] : cases)
    EXPECT_EQ(onBuffer(in, [&](wchar_t* s) { ut::truncateWithDots(s, maxLen, mode); }), out)
        << in << " " << maxLen << " " << mode;
  ScopedEnv japanese("LC_ALL", "ja_JP.SJIS");
  // 0x82 leads and 0xA0 may follow in Shift JIS, so the cut moves one character on.
  const wchar_t text[] = {L'a', L'b', L'c', L'd', 0x82, 0xA0, L'x', 0};
  EXPECT_EQ(onBuffer(text, [](wchar_t* s) { ut::truncateWithDots(s, 6, L"b"); }),
            (std::wstring{L'.', L'.', L'.', 0xA0, L'x'}));
}

TEST(RemoveSpaces, ModesCombine) {
  const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> cases[] = {
      {L"  a b  c  ", L"b", L"a b  c  "}, {L"  a b  c  ", L"E", L"  a b  c"},
      {L"  a b  c  ", L"m", L"  abc  "},  {L"  a b  c  ", L"bem", L"abc"},
      {L"   ", L"bem", L"   "},           {L"\t a", L"b", L"\t a"}};
  for (const auto& [in, mode, out] : cases)
    EXPECT_EQ(onBuffer(in, [&](wchar_t* s) { ut::removeSpaces(s, mode); }), out) << in << " " << mode;
}

TEST(SafeCopy, AlwaysTerminates) {
  EXPECT_EQ(onBuffer(L"", [](wchar_t* s) { ut::safe_tcsncpy(s, L"abcdef", 3); }), L"abc");
  EXPECT_EQ(onBuffer(L"", [](wchar_t* s) { ut::safe_tcsncpy(s, L"ab", 3); }), L"ab");
  EXPECT_EQ(onBuffer(L"xyz", [](wchar_t* s) { ut::safe_tcsncpy(s, nullptr, 3); }), L"");
}

TEST(Nfgets, ReadsLinesUpToTheLimit) {
  // A fresh stream: one that was written to is byte-oriented and refuses wide reads.
  const qxtest::TempDir dir;
  std::ofstream(dir.path() / "lines", std::ios::binary) << "ab\r\ncdefg\n\nh\x7Fij";
  FILE* f = std::fopen((dir.path() / "lines").c_str(), "r");
  ASSERT_NE(f, nullptr);
  wchar_t buffer[5];
  std::vector<std::wstring> lines;
  while (ut::nfgets(buffer, 4, f)) lines.push_back(buffer);
  std::fclose(f);
  EXPECT_EQ(lines, (std::vector<std::wstring>{L"ab", L"cdef", L"g", L"", L"h", L"ij"}));
}

TEST(Affixes, CaseSensitiveAndAsymmetric) {
  EXPECT_TRUE(ut::startsWith(L"Layer1", L"Lay"));
  EXPECT_FALSE(ut::startsWith(L"Layer1", L"lay") || ut::endsWith(L"dwg", L"a.dwg"));
  EXPECT_EQ(ut::beforeFirst(L"name", L'x'), L"name");
  EXPECT_EQ(ut::afterFirst(L"name", L'x'), L"");
  EXPECT_EQ(ut::afterFirst(L"a=b=c", L'='), L"b=c");
  EXPECT_EQ(ut::removeLast(L""), L"");
}

TEST(CaseFolding, AsciiOnlyAndSubstrings) {
  EXPECT_EQ(ut::compareNamesLowercase(L"ABC", L"abd", 2), 0);
  EXPECT_LT(ut::compareNamesLowercase(L"ABC", L"abd", 3), 0);
  EXPECT_NE(ut::compareNamesLowercase(L"\u00C4", L"\u00E4", 1), 0);
  const wchar_t* hay = L"The Layer Name";
  EXPECT_EQ(ut::findSubstringNoCase(hay, L"layer"), hay + 4);
  EXPECT_EQ(ut::findSubstringNoCase(hay, L"xyz"), nullptr);
  EXPECT_EQ(ut::findSubstringNoCase(nullptr, L"a"), nullptr);
  EXPECT_EQ(ut::toUpperCase(L"a\u00E4"), L"A\u00C4");
}

TEST(IsNumber, ConversionMustConsumeAll) {
  const std::tuple<const wchar_t*, bool, bool> cases[] = {
      {L"12 ", true, true},   {L" 12", true, true},   {L"12a", false, false},
      {L"", false, false},    {L"1.5", false, true},  {L"1e3", false, true},
      {L"-inf", false, true}, {L"0x1A", false, true}, {L"+7\t\n", true, true}};
  for (const auto& [in, integer, number] : cases) {
    SCOPED_TRACE(testing::Message() << "in: " << in);
    EXPECT_EQ(ut::isInteger(in), integer);
    EXPECT_EQ(ut::isNumber(in), number);
  }
  EXPECT_FALSE(ut::isNumber(nullptr));
  long value = 0;
  EXPECT_FALSE(ut::isNumber(L"42x", &value));
  EXPECT_EQ(value, 42);
  long long big = 0;
  EXPECT_TRUE(ut::isNumber(L"9000000000", &big));
  EXPECT_EQ(big, 9000000000LL);
}

TEST(CharacterTests, Classes) {
  EXPECT_TRUE(ut::isASCII(L"") && !ut::isASCII(L"a\u00E9"));
  EXPECT_TRUE(ut::isValidHandleString(L"   ") && ut::isValidHandleString(L" 1aF"));
  EXPECT_FALSE(ut::isValidHandleString(L"1A ") || ut::isValidHandleString(L""));
  for (wchar_t c = 1; c < 128; ++c) {
    EXPECT_EQ(ut::isMTextFormatCodeWithValue(c),
              std::wstring(L"ACFHQSTWacfhpqstw").find(c) != std::wstring::npos)
        << int(c);
    EXPECT_EQ(ut::isValidHexDigit(c), std::iswxdigit(c) != 0) << int(c);
  }
  EXPECT_TRUE(ut::isLeftToRightChar(L'a') && !ut::isLeftToRightChar(L'1'));
  EXPECT_TRUE(ut::isRightToLeftChar(L'\u05D0') && ut::isRightToLeftChar(L'\u0627'));  // Hebrew, Arabic alef
  EXPECT_FALSE(ut::isRightToLeftChar(L'a'));
}

TEST(Wildcards, DetectAndEscape) {
  for (const wchar_t* s : {L"a*", L"a?", L"a,b", L"a.b", L"#", L"@", L"`", L"[", L"~"})
    EXPECT_TRUE(ut::hasWildcard(s)) << s;
  EXPECT_FALSE(ut::hasWildcard(L"a-b]"));
  EXPECT_FALSE(ut::hasWildcard(nullptr));
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"abc*?", L"abc*?"}, {L"a.b", L"a`.b"},
                                                             {L"a`.b", L"a`.b"},   {L"[x-y]", L"`[x`-y`]"},
                                                             {L"#@~", L"`#`@`~"},  {L"a,b*", L"a,b*"}};
  for (const auto& [in, out] : cases) EXPECT_EQ(ut::escapeWildcards(in), out) << in;
}

TEST(Slashes, Conversions) {
  EXPECT_EQ(ut::correctSlashes(L"a/b|c"), L"a\\b c");
  OdString inPlace(L"x/y");
  ut::correctSlashes(inPlace);
  EXPECT_EQ(inPlace, L"x\\y");
  EXPECT_EQ(ut::makeBackSlashes(L"a/b|c"), L"a\\b|c");
  EXPECT_EQ(ut::makeForwardSlashes(OdString(L"a\\b")), L"a/b");
  EXPECT_TRUE(ut::checkSlashes(L"a\\b") && !ut::checkSlashes(OdString(L"a/b")));
}

TEST(Utf8, RoundTripAndErrors) {
  const std::wstring text = L"a\u00E9\u20AC\U0001F600";
  EXPECT_EQ(ut::ws2s(text), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(ut::s2ws(ut::ws2s(text)), text);
  const auto badConversion = testing::ThrowsMessage<std::range_error>(testing::StrEq("bad conversion"));
  for (const char* bad : {"\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80", "a\xFF"})
    EXPECT_THAT([&] { ut::s2ws(bad); }, badConversion) << bad;
  EXPECT_THAT([] { ut::ws2s(std::wstring(1, static_cast<wchar_t>(0xD800))); }, badConversion);
}

TEST(CodePages, ConvertToAnsi) {
  // Each row: the text, the code page, and the bytes. A base letter and a combining mark become the
  // precomposed letter where the code page has one; UTF-8 holds the mark as it is.
  const std::tuple<const wchar_t*, unsigned, const char*> cases[] = {
      {L"a\u00E9", 1252, "a\xE9"}, {L"a\u00E9", 65001, "a\xC3\xA9"},      {L"\u20AC", 1252, "\x80"},
      {L"a\u4E00", 1252, "a?"},    {L"e\u0301A\u030A", 1252, "\xE9\xC5"}, {L"e\u0301", 65001, "e\xCC\x81"},
      {L"abc", 99999, ""}};
  for (const auto& [text, codePage, bytes] : cases)
    EXPECT_EQ(ut::convertToAnsi(text, codePage), bytes) << text;
  EXPECT_EQ(ut::convertToAnsi(L"q\u0301", 1252)[0], 'q');
  ScopedEnv utf8("LC_ALL", "C.UTF-8");
  EXPECT_EQ(ut::convertToAnsi(L"\u00E9", 1200), "\xC3\xA9");
  EXPECT_EQ(ut::convFileNameToMB(L"/tmp/\u00E9.txt"), "/tmp/\xC3\xA9.txt");
  EXPECT_EQ(ut::convFileNameToMB(nullptr), "");
}

TEST(NumberFormat, FollowsTheUserLocale) {
  // Each row: the locale, a number, noLeadingZero, and the number formatted. With no digit before the
  // point, no decimals are kept.
  const char* const en = "en_US.UTF-8";
  const std::tuple<const char*, const wchar_t*, bool, const wchar_t*> cases[] = {
      {en, L"0.5", false, L"0.5"},     {en, L"1234567.891", false, L"1,234,567.891"},
      {en, L"0.5", true, L".5"},       {en, L"-1234.50", false, L"-1,234.50"},
      {en, L"-.5", false, L"-0.5"},    {"de_DE.UTF-8", L"1234567.891", false, L"1.234.567,891"},
      {en, L".5", false, L"1"},        {"en_IN.UTF-8", L"1234567", false, L"12,34,567"},
      {en, L"007", false, L"7"},       {"C", L"1234567", false, L"1,234,567"},
      {en, L"999", false, L"999"},     {en, L"12a", false, L"12a"},
      {en, L"1,000", false, L"1,000"}, {en, L"", false, L""},
      {en, L"-", false, L"-"},
  };
  for (const auto& [locale, in, noLeadingZero, out] : cases) {
    ScopedEnv scoped("LC_ALL", locale);
    EXPECT_EQ(ut::getNumberFormat(in, noLeadingZero), out) << locale << " " << in;
  }
  ScopedEnv english("LC_ALL", en);
  const OdString tooLong(std::wstring(90, L'9'));
  EXPECT_EQ(ut::getNumberFormat(tooLong, false), tooLong);
}

TEST(SortStrings, CollationOrder) {
  OdArray<OdString> names{L"b", L"B", L"a", L"C"};
  EXPECT_EQ(ut::sortStrings(names, false), 4);
  EXPECT_EQ(names, (OdArray<OdString>{L"B", L"C", L"a", L"b"}));
  ut::sortStrings(names, true);
  EXPECT_EQ(names, (OdArray<OdString>{L"a", L"B", L"b", L"C"}));
}

}  // namespace
