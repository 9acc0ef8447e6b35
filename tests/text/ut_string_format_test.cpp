#include "ut_string.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

namespace {

TEST(RemoveFormattingTest, KeepsThePlainText) {
  // Each row: the text, keepLineBreaks, and the plain text.
  const std::tuple<std::wstring, bool, std::wstring> cases[] = {
      {L"plain text; 100%", false, L"plain text; 100%"},
      {L"{\\H2;Size \\Lup\\l}\\P\\S1/2;", true, L"Size up\n1/2"},
      {L"{\\H2;Size \\Lup\\l}\\P\\S1/2;", false, L"Size up 1/2"},
      {L"\\fArial|b1|i0;Text{\\C1;red}", false, L"Textred"},
      {L"\\pxi-3,l5;\\Oover\\o \\Kstruck\\k", false, L"over struck"},
      {L"a\\~b", false, L"a b"},
      {L"\\\\ \\{ \\}", false, L"\\ { }"},
      {L"\\U+00E9t\\u+00e9", false, L"\u00e9t\u00e9"},
      {L"\\P1;", true, L"\n1;"},
      {L"abc\\", false, L"abc\\"},
      // Stacks keep both texts around a slash.
      {L"\\S1#2;", false, L"1/2"},
      {L"\\S+0.1^-0.2;", false, L"+0.1/-0.2"},
      {L"\\S1\\/2/3;", false, L"1/2/3"},
      {L"\\S1\\;2\\^/3;x", false, L"1;2^/3x"},
      {L"\\S12;", false, L"12"},
      // Unknown codes go, and so does a value that never reaches its semicolon.
      {L"a\\Nb\\Xc", false, L"abc"},
      {L"\\U+12", false, L"+12"},
      {L"\\U+0000", false, L"+0000"},
      {L"a\\H2.5x", false, L"a"},
      {L"a\\S1/2", false, L"a"},
      {L"a\\S1/2\\;", false, L"a"}};
  for (const auto& [text, keepLineBreaks, plain] : cases)
    EXPECT_EQ(ut::removeFormatting(text, keepLineBreaks).str(), plain) << "text \"" << text << "\"";
}

TEST(RemoveFormattingTest, DropsEveryCodeWithAValueUpToItsSemicolon) {
  for (wchar_t letter : std::wstring(L"ACFHQTWacfhpqstw")) {
    const std::wstring text = std::wstring(L"x\\") + letter + L"1.5x;y";
    EXPECT_EQ(ut::removeFormatting(text, false).str(), L"xy") << "text \"" << text << "\"";
  }
}

TEST(IsFormattingCharTest, TrueExactlyForWhatLeavesNoText) {
  const std::pair<const wchar_t*, bool> cases[] = {
      {nullptr, false},  {L"", false},         {L"a{", false},      {L"{", true},
      {L"}x", true},     {L"\\H2;x", true},    {L"\\L", true},      {L"\\X", true},
      {L"\\S1/2", true}, {L"\\\\", false},     {L"\\{", false},     {L"\\~", false},
      {L"\\P", false},   {L"\\U+0041", false}, {L"\\S1/2;", false}, {L"\\", false}};
  for (const auto& [text, formatting] : cases)
    EXPECT_EQ(ut::isFormattingChar(text), formatting) << "text \"" << (text ? text : L"(null)") << "\"";
}

}  // namespace
