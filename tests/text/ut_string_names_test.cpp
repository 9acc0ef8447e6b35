#include "OdDbSymUtil.h"
#include "ut_string.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

namespace {

std::wstring repeated(wchar_t c, size_t n) { return std::wstring(n, c); }

struct SymbolNameCase {
  std::wstring name;
  bool allowVerticalBar;
  bool extendedNames;
  bool valid;
};

TEST(SymbolNameTest, ValidatesExtendedAndOlderRules) {
  const SymbolNameCase cases[] = {
      {L"Walls 2nd floor", false, true, true},
      {L"", false, true, false},
      {L" Walls", false, true, false},
      {L"a\tb", false, true, false},
      {L"a|b", false, true, false},
      {L"Xref|Walls", true, true, true},
      {repeated(L'a', 255), false, true, true},
      {repeated(L'a', 256), false, true, false},
      {L"Walls-2$_x", false, false, true},
      {L"Walls 2", false, false, false},
      {L"W\u00e4nde", false, false, false},
      {L"Xref|Walls", true, false, true},
      {repeated(L'a', 31), false, false, true},
      {repeated(L'a', 32), false, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "name \"" << c.name << "\" extended " << c.extendedNames);
    EXPECT_EQ(OdDbSymUtil::validateSymbolName(c.name, c.allowVerticalBar, c.extendedNames), c.valid);
  }
  for (wchar_t forbidden : std::wstring(L"<>/\\\":;?*,=`")) {
    SCOPED_TRACE(testing::Message() << "forbidden " << std::wstring(1, forbidden));
    EXPECT_FALSE(OdDbSymUtil::validateSymbolName(std::wstring(L"a") + forbidden + L"b", true));
  }
}

struct RepairCase {
  std::wstring source;
  wchar_t replacement;
  bool allowVerticalBar;
  bool extendedNames;
  std::wstring expected;
};

TEST(SymbolNameTest, RepairReplacesCutsAndFixesEnds) {
  const RepairCase cases[] = {
      {L"a<b>c", L'_', false, true, L"a_b_c"},
      {L" Walls ", L'-', false, true, L"-Walls-"},
      {L"  a", L'_', false, true, L"_ a"},
      {L"", L'_', false, true, L"_"},
      {L"a|b", L'_', true, true, L"a|b"},
      {L"a|b\n", L'_', false, true, L"a_b_"},
      {repeated(L'a', 300), L'_', false, true, repeated(L'a', 255)},
      {repeated(L'a', 254) + L" b", L'_', false, true, repeated(L'a', 254) + L"_"},
      {L"W\u00e4nde 2", L'_', false, false, L"W_nde_2"},
      {repeated(L'b', 40), L'_', false, false, repeated(L'b', 31)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "source \"" << c.source << "\"");
    const OdString repaired =
        OdDbSymUtil::repairSymbolName(c.source, c.replacement, c.allowVerticalBar, c.extendedNames);
    EXPECT_EQ(repaired.str(), c.expected);
    EXPECT_TRUE(OdDbSymUtil::validateSymbolName(repaired, c.allowVerticalBar, c.extendedNames));
  }
}

struct ValidNameCase {
  std::wstring name;
  bool extendedNames;
  bool valid;
};

TEST(ValidNameTest, DecodesEscapesBeforeValidating) {
  const std::wstring escape = L"\\U+0041";
  const ValidNameCase cases[] = {
      {L"a\\U+003Fb", true, false},
      {L"\\u+0041bc", false, true},
      {L"a\\U+0000", true, false},
      {L"a\\U+12", true, false},
      {L"\\M+14142", false, true},
      {L"x\\M+1C3A9", true, true},
      {L"\\M+1FFFF", true, false},
      // Escapes count only within the first 256 characters.
      {repeated(L'a', 249) + escape, true, true},
      {repeated(L'a', 250) + escape, true, false},
  };
  setenv("LC_ALL", "C.UTF-8", 1);  // the ANSI code page of "\M+" is the locale's
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "name \"" << c.name << "\"");
    EXPECT_EQ(ut::isValidName(c.name.c_str(), false, c.extendedNames), c.valid);
  }
  EXPECT_FALSE(ut::isValidName(nullptr));
}

struct MakeValidCase {
  std::wstring name;
  bool keepLeadingAsterisk;
  bool extendedNames;
  std::wstring expected;
};

TEST(ValidNameTest, MakeValidRepairsTheDecodedName) {
  const MakeValidCase cases[] = {
      {L"a<b>", false, true, L"a_b_"},
      {L"a\\U+0042", false, true, L"a\\U+0042"},
      {L"a\\U+003F\\U+0042", false, true, L"a_B"},
      {L"\\M+1FFFF", false, true, L"_M+1FFFF"},
      {L"*Model_Space", true, true, L"*Model_Space"},
      {L"*Model_Space", false, true, L"_Model_Space"},
      {L"a|b", false, true, L"a_b"},
      {L"W\u00e4nde 2", false, false, L"W_nde_2"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "name \"" << c.name << "\"");
    EXPECT_EQ(ut::makeValidName(c.name, L'_', c.keepLeadingAsterisk, c.extendedNames).str(), c.expected);
  }
}

struct UniqueCase {
  std::wstring name;
  std::set<std::wstring> taken;
  bool forceSuffix;
  wchar_t separator;
  std::wstring expected;
};

TEST(UniqueNameTest, NumbersFromTheTrailingNumber) {
  const std::wstring nines = repeated(L'9', 30);
  const UniqueCase cases[] = {
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
      {L"a_" + nines, {L"a_" + nines}, false, L'_', L"a_" + nines + L"_1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "name \"" << c.name << "\"");
    const auto isUnique = [&](const OdString& n) { return !c.taken.contains(n.str()); };
    EXPECT_EQ(ut::makeUniqueName(c.name, isUnique, c.forceSuffix, c.separator).str(), c.expected);
  }
  EXPECT_EQ(ut::makeUniqueName(L"Layer", nullptr, true).str(), L"Layer");
}

}  // namespace
