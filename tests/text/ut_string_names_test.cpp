#include "OdDbSymUtil.h"
#include "ut_string.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Names = std::vector<std::wstring>;

std::wstring repeated(wchar_t c, size_t n) { return std::wstring(n, c); }

TEST(SymbolNameTest, ValidatesExtendedAndOlderRules) {
  // Each row: allowVerticalBar, extendedNames, whether the names are valid under them, and the names.
  const std::tuple<bool, bool, bool, Names> cases[] = {
      {false, true, true, {L"Walls 2nd floor", repeated(L'a', 255)}},
      {false, true, false, {L"", L" Walls", L"a\tb", L"a|b", repeated(L'a', 256)}},
      {false, false, true, {L"Walls-2$_x", repeated(L'a', 31)}},
      {false, false, false, {L"Walls 2", L"W\u00e4nde", repeated(L'a', 32)}},
      {true, true, true, {L"Xref|Walls"}},
      {true, false, true, {L"Xref|Walls"}}};
  for (const auto& [allowVerticalBar, extendedNames, valid, names] : cases)
    for (const std::wstring& name : names)
      EXPECT_EQ(OdDbSymUtil::validateSymbolName(name, allowVerticalBar, extendedNames), valid) << name;
  for (wchar_t forbidden : std::wstring(L"<>/\\\":;?*,=`"))
    EXPECT_FALSE(OdDbSymUtil::validateSymbolName(std::wstring(L"a") + forbidden + L"b", true))
        << std::wstring(1, forbidden);
}

TEST(SymbolNameTest, RepairReplacesCutsAndFixesEnds) {
  // Each row: the source, the replacement, allowVerticalBar, extendedNames, and the repaired name.
  const std::tuple<std::wstring, wchar_t, bool, bool, std::wstring> cases[] = {
      {L"a<b>c", L'_', false, true, L"a_b_c"},
      {L" Walls ", L'-', false, true, L"-Walls-"},
      {L"  a", L'_', false, true, L"_ a"},
      {L"", L'_', false, true, L"_"},
      {L"a|b", L'_', true, true, L"a|b"},
      {L"a|b\n", L'_', false, true, L"a_b_"},
      {repeated(L'a', 300), L'_', false, true, repeated(L'a', 255)},
      {repeated(L'a', 254) + L" b", L'_', false, true, repeated(L'a', 254) + L"_"},
      {L"W\u00e4nde 2", L'_', false, false, L"W_nde_2"},
      {repeated(L'b', 40), L'_', false, false, repeated(L'b', 31)}};
  for (const auto& [source, replacement, allowBar, extended, expected] : cases) {
    SCOPED_TRACE(testing::Message() << "source \"" << source << "\"");
    const OdString repaired = OdDbSymUtil::repairSymbolName(source, replacement, allowBar, extended);
    EXPECT_EQ(repaired.str(), expected);
    EXPECT_TRUE(OdDbSymUtil::validateSymbolName(repaired, allowBar, extended));
  }
}

TEST(ValidNameTest, DecodesEscapesBeforeValidating) {
  const std::wstring escape = L"\\U+0041";
  // Each row: extendedNames, whether the names are valid, and the names. Escapes count only within the
  // first 256 characters.
  const std::tuple<bool, bool, Names> cases[] = {
      {true, false, {L"a\\U+003Fb", L"a\\U+0000", L"a\\U+12", L"\\M+1FFFF", repeated(L'a', 250) + escape}},
      {true, true, {L"x\\M+1C3A9", repeated(L'a', 249) + escape}},
      {false, true, {L"\\u+0041bc", L"\\M+14142"}}};
  const qxtest::ScopedEnv locale("LC_ALL", "C.UTF-8");  // the ANSI code page of "\M+" is the locale's
  for (const auto& [extendedNames, valid, names] : cases)
    for (const std::wstring& name : names)
      EXPECT_EQ(ut::isValidName(name.c_str(), false, extendedNames), valid) << name;
  EXPECT_FALSE(ut::isValidName(nullptr));
}

TEST(ValidNameTest, MakeValidRepairsTheDecodedName) {
  // Each row: a name, keepLeadingAsterisk, extendedNames, and the valid name.
  const std::tuple<std::wstring, bool, bool, std::wstring> cases[] = {
      {L"a\\U+0042", false, true, L"a\\U+0042"},   {L"a<b>", false, true, L"a_b_"},
      {L"a\\U+003F\\U+0042", false, true, L"a_B"}, {L"a|b", false, true, L"a_b"},
      {L"\\M+1FFFF", false, true, L"_M+1FFFF"},    {L"*Model_Space", true, true, L"*Model_Space"},
      {L"W\u00e4nde 2", false, false, L"W_nde_2"}, {L"*Model_Space", false, true, L"_Model_Space"},
  };
  for (const auto& [name, keepLeadingAsterisk, extendedNames, expected] : cases)
    EXPECT_EQ(ut::makeValidName(name, L'_', keepLeadingAsterisk, extendedNames).str(), expected) << name;
}

TEST(UniqueNameTest, NumbersFromTheTrailingNumber) {
  const std::wstring nines = repeated(L'9', 30);
  // Each row: a name, the names taken, forceSuffix, the separator, and the unique name.
  const std::tuple<std::wstring, std::set<std::wstring>, bool, wchar_t, std::wstring> cases[] = {
      {L"Layer", {}, false, L'_', L"Layer"},
      {L"Layer", {L"Layer", L"Layer_1"}, false, L'_', L"Layer_2"},
      {L"Layer_7", {}, true, L'_', L"Layer_7"},
      {L"Layer_7", {L"Layer_7"}, true, L'_', L"Layer_8"},
      {L"Layer 3", {L"Layer 3"}, false, L'_', L"Layer 4"},
      {L"Layer5", {L"Layer5"}, false, L'_', L"Layer5_1"},
      {L"123", {L"123"}, false, L'_', L"123_1"},
      {L"name_", {L"name_"}, false, L'_', L"name_0"},
      {L"Layer_007", {L"Layer_007"}, false, L'_', L"Layer_7"},
      {L"Layer_2", {}, true, L'-', L"Layer_2-1"},
      {L"a_2147483647", {L"a_2147483647"}, false, L'_', L"a_2147483648"},
      {L"a_2147483648", {L"a_2147483648"}, false, L'_', L"a_2147483648_1"},
      {L"a_" + nines, {L"a_" + nines}, false, L'_', L"a_" + nines + L"_1"}};
  for (const auto& [name, taken, forceSuffix, separator, expected] : cases) {
    const auto isUnique = [&](const OdString& n) { return !taken.contains(n.str()); };
    EXPECT_EQ(ut::makeUniqueName(name, isUnique, forceSuffix, separator).str(), expected) << name;
  }
  EXPECT_EQ(ut::makeUniqueName(L"Layer", nullptr, true).str(), L"Layer");
}

}  // namespace
