#include "OdAnsiString.h"
#include "OdArray.h"
#include "OdError.h"
#include "OdString.h"
#include "OdUnicode.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <locale.h>
#include <wctype.h>

namespace {

TEST(OdString, NullIsEmptyAndSlicesStayInRange) {
  EXPECT_TRUE(OdString(static_cast<const wchar_t*>(nullptr)).isEmpty());
  const OdString s(L"a.b.c");
  EXPECT_EQ(s.find(L'.', 2), 3);
  EXPECT_EQ(s.find(L"x"), -1);
  EXPECT_EQ(s.findOneOf(L"cb"), 2);
  EXPECT_EQ(s.mid(2, 1), L"b");
  EXPECT_EQ(s.left(99), s);
  EXPECT_EQ(s.mid(99), L"");
  EXPECT_EQ(s.right(-1), L"");
}

TEST(OdString, Editing) {
  OdString s(L"  a-b-c  ");
  EXPECT_EQ(s.trimLeft().trimRight(), L"a-b-c");
  EXPECT_EQ(s.replace(L"-", L"--"), 2);
  EXPECT_EQ(s, L"a--b--c");
  EXPECT_EQ(s.remove(L'-'), 4);
  EXPECT_EQ(s.insert(1, L"XY"), 5);
  EXPECT_EQ(s.deleteChars(0, 2), 3);
  EXPECT_EQ(s, L"Ybc");
  EXPECT_EQ(s.makeUpper(), L"YBC");
  EXPECT_EQ(OdString(L"xxaxx").trimLeft(L'x').trimRight(L'x'), L"a");
  EXPECT_EQ(OdString(L"AbC").iCompare(L"aBc"), 0);
  EXPECT_LT(OdString(L"a").compare(L"b"), 0);
  wchar_t* p = s.getBuffer(10);
  p[3] = L'c';
  p[4] = 0;
  s.releaseBuffer();
  EXPECT_EQ(s, L"YBCc");
  EXPECT_EQ(s.format(L"%ls_%d", L"Layer", 7), L"Layer_7");
  EXPECT_EQ(s.format(L"%ls", std::wstring(5000, L'x').c_str()).getLength(), 5000);  // past any first guess
}

TEST(OdString, NarrowConversions) {
  EXPECT_EQ(OdString(OdAnsiString("a\xC3\xA9")), L"a\u00E9");
  EXPECT_EQ(OdString(OdAnsiString("a\xFF")), L"a\uFFFD");
  EXPECT_STREQ(OdError(L"\u00E9rror").what(), "\xC3\xA9rror");
  EXPECT_EQ(OdError(L"x").description(), L"x");
}

TEST(OdArray, AppendInsertRemoveAndBadIndexesThrow) {
  OdArray<OdString> a;
  EXPECT_EQ(a.append(L"a"), 0u);
  a.insertAt(0, L"b").insertAt(2, L"c");
  EXPECT_EQ(a, (OdArray<OdString>{L"b", L"a", L"c"}));
  EXPECT_TRUE(a.contains(L"c"));
  EXPECT_FALSE(a.contains(L"b", 1));
  OdArray<OdString>::size_type at = 0;
  EXPECT_TRUE(a.find(L"c", at));
  EXPECT_EQ(at, 2u);
  a.removeAt(0);
  EXPECT_EQ(a.first(), L"a");
  EXPECT_EQ(a.last(), L"c");
  EXPECT_EQ(a.length(), 2u);
  EXPECT_THROW(a[2], OdError);
  EXPECT_THROW(a.removeAt(5), OdError);
  EXPECT_THROW(a.insertAt(3, L"y"), OdError);
  EXPECT_THROW(OdArray<OdString>().last(), OdError);
}

// The case tables give what the C library's Unicode locale gives, for every character.
TEST(OdUnicode, CaseMappingsAgreeWithTheCLibrary) {
  const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(nullptr));
  ASSERT_TRUE(unicode);
  for (wchar_t c = 0; c < 0x110000; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    ASSERT_EQ(od_unicode::toUpper(c), static_cast<wchar_t>(towupper_l(c, unicode)))
        << std::hex << static_cast<unsigned>(c);
    ASSERT_EQ(od_unicode::toLower(c), static_cast<wchar_t>(towlower_l(c, unicode)))
        << std::hex << static_cast<unsigned>(c);
  }
  freelocale(unicode);
}

}  // namespace
