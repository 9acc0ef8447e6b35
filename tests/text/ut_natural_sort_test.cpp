#include "ut_natural_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cwctype>
#include <random>
#include <string>
#include <tuple>

namespace {

using Pieces = ut::LexiNumericalSorter::Pieces;

int sign(int v) { return (v > 0) - (v < 0); }

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// The comparison read literally, in the C locale, without the library's shortcuts.
int plainCompare(const wchar_t* a, const wchar_t* b, bool caseSensitive) {
  for (size_t i = 0; i < 1024; ++i) {
    size_t ja = i, jb = i;
    while (a[ja] == L'0') ++ja;
    while (b[jb] == L'0') ++jb;
    if (isDigit(a[ja]) && isDigit(b[jb])) {
      int decided = 0;
      size_t k = 0;
      for (; k < 1024 && isDigit(a[ja + k]) && isDigit(b[jb + k]); ++k) {
        if (!decided && a[ja + k] != b[jb + k]) decided = a[ja + k] < b[jb + k] ? -1 : 1;
      }
      if (k < 1024 && isDigit(a[ja + k]) != isDigit(b[jb + k])) return isDigit(a[ja + k]) ? 1 : -1;
      if (k < 1024 && decided) return decided;
    }
    const wint_t ca = caseSensitive ? a[i] : std::towlower(a[i]);
    const wint_t cb = caseSensitive ? b[i] : std::towlower(b[i]);
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == L'\0') return 0;
  }
  return 0;
}

// "t:A- i:12 d:inf": each piece with its kind.
std::wstring describe(const Pieces& pieces) {
  std::wstring out;
  for (const auto& piece : pieces) {
    if (const OdString* text = boost::get<OdString>(&piece)) out += L" t:" + text->str();
    if (const int* whole = boost::get<int>(&piece)) out += L" i:" + std::to_wstring(*whole);
    if (const double* real = boost::get<double>(&piece)) out += L" d:" + std::to_wstring(*real);
  }
  return out.empty() ? out : out.substr(1);
}

std::wstring randomName(std::mt19937& rng) {
  static const std::wstring kAlphabet = L"00019aAb-";
  std::wstring s;
  for (int n = std::uniform_int_distribution<int>(0, 12)(rng); n > 0; --n) {
    const wchar_t c = kAlphabet[std::uniform_int_distribution<size_t>(0, kAlphabet.size() - 1)(rng)];
    s.append(rng() % 40 == 0 ? 1100 : 1 + rng() % 3, c);  // now and then a run beyond the limits
  }
  return s;
}

// What the random strings below cannot hold: null pointers and digits outside ASCII, which are text
// (U+FF19 > U+FF11). The rest of the order the plain reading pins down.
TEST(StrCmpAlphanum, OrdersByTable) {
  const std::tuple<const wchar_t*, const wchar_t*, int> rows[] = {
      {nullptr, nullptr, 0}, {L"", L"a", -1},         {L"Layer9", L"Layer10", -1},
      {nullptr, L"", 1},     {L"a\u0669", L"a10", 1}, {L"a\uFF19", L"a\uFF11\uFF10", 1},
  };
  for (const auto& [a, b, expected] : rows) {
    SCOPED_TRACE(testing::Message() << (a ? a : L"(null)") << " vs " << (b ? b : L"(null)"));
    EXPECT_EQ(sign(ut::strCmpAlphanum(a, b)), expected);
    EXPECT_EQ(sign(ut::strCmpAlphanum(b, a)), -expected);
  }
}

TEST(StrCmpAlphanum, LooksAtTheFirst1024PositionsOnly) {
  const auto compare = [](const std::wstring& a, const std::wstring& b) {
    return sign(ut::strCmpAlphanum(a.c_str(), b.c_str()));
  };
  const std::wstring text(1024, L'k');
  EXPECT_EQ(compare(text + L"a", text + L"b"), 0);
  EXPECT_EQ(compare(text.substr(1) + L"a", text.substr(1) + L"b"), -1);
  // A number that starts before the limit is compared whole, even where it differs beyond it.
  EXPECT_EQ(
      compare(text.substr(24) + std::wstring(30, L'1'), text.substr(24) + std::wstring(29, L'1') + L"2"), -1);
  // Runs of 1,500 digits differing at digit 1,200: from position 477 on the walk reaches both ends.
  std::wstring ones(1500, L'1'), twos = ones;
  twos[1200] = L'2';
  EXPECT_EQ(compare(ones, twos), -1);
  // With 3,000 digits no position before 1,024 sees the ends, so the runs never decide.
  ones.resize(3000, L'1');
  twos.resize(3000, L'1');
  EXPECT_EQ(compare(ones, twos), 0);
}

TEST(StrCmpAlphanum, AgreesWithThePlainReadingOnRandomStrings) {
  std::mt19937 rng(7);
  for (int n = 0; n < 20000; ++n) {
    const std::wstring a = randomName(rng), b = rng() % 4 ? randomName(rng) : a + randomName(rng);
    const bool caseSensitive = n % 2;
    SCOPED_TRACE(testing::Message() << a.substr(0, 60) << " vs " << b.substr(0, 60) << " " << caseSensitive);
    ASSERT_EQ(sign(ut::strCmpAlphanum(a.c_str(), b.c_str(), caseSensitive)),
              plainCompare(a.c_str(), b.c_str(), caseSensitive));
  }
}

TEST(StrCmpAlphanum, FollowsTheCurrentLocale) {
  const std::string previous = std::setlocale(LC_ALL, nullptr);
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  EXPECT_EQ(ut::strCmpAlphanum(L"\u00C9cole 2", L"\u00E9cole 2", false), 0);
  EXPECT_NE(ut::strCmpAlphanum(L"\u00C9cole 2", L"\u00E9cole 2", true), 0);
  EXPECT_GT(ut::strCmpAlphanum(L"a1", L"B1"), 0);  // code-point order
  ASSERT_NE(std::setlocale(LC_ALL, "en_US.UTF-8"), nullptr);
  EXPECT_LT(ut::strCmpAlphanum(L"a1", L"B1"), 0);  // dictionary order
  std::setlocale(LC_ALL, previous.c_str());
}

TEST(LexiNumericalSorter, SortsByTable) {
  const std::wstring huge(400, L'9');
  const std::vector<std::pair<OdArray<OdString>, OdArray<OdString>>> rows = {
      {{L"B2", L"a10", L"A10", L"a9", L"a9x", L"x007", L"x7"},
       {L"a9", L"a9x", L"A10", L"a10", L"B2", L"x007", L"x7"}},
      {{L"Layer10", L"Layer9", L"Layer", L"10", L"layer1"},
       {L"10", L"Layer", L"layer1", L"Layer9", L"Layer10"}},
      {{L"v1.10", L"v1.9", L"v1.9.1"}, {L"v1.9", L"v1.9.1", L"v1.10"}},
      {{L"n" + huge + L"8", L"n" + huge, L"n2147483648", L"n2147483647"},
       {L"n2147483647", L"n2147483648", L"n" + huge, L"n" + huge + L"8"}}};
  for (const auto& [input, expected] : rows) {
    SCOPED_TRACE(testing::Message() << input[0].c_str());
    OdArray<OdString> names = input;
    ut::LexiNumericalSorter().sort(names);
    EXPECT_EQ(names, expected);
  }
}

TEST(LexiNumericalSorter, HandsTheCutPiecesToTheHookAndComparesWhatItLeaves) {
  std::wstring seen;
  const ut::LexiNumericalSorter::Hook record = [&seen](Pieces& pieces) { seen = describe(pieces); };
  const ut::LexiNumericalSorter sorter(&record);
  (void)sorter.isLess(L"A-12-b007.5x99999999999", L"A-12-b007.5x99999999999");
  EXPECT_EQ(seen, L"t:A- i:12 t:-b i:7 t:. i:5 t:x d:99999999999.000000");
  (void)sorter.isLess(std::wstring(400, L'1'), std::wstring(400, L'1'));
  EXPECT_EQ(seen, L"d:inf");
  EXPECT_TRUE(std::isnan(ut::LexiNumericalSorter::getAsDouble(OdString(L"7"))));
  // What the hook leaves is what is compared.
  const ut::LexiNumericalSorter::Hook dropText = [](Pieces& p) {
    std::erase_if(p, [](const auto& piece) { return boost::get<OdString>(&piece) != nullptr; });
  };
  EXPECT_TRUE(ut::LexiNumericalSorter().isLess(L"a3", L"b2"));
  EXPECT_TRUE(ut::LexiNumericalSorter(&dropText).isLess(L"b2", L"a3"));
}

// Sorting generated names, then checking every pair in the result, proves that isLess is irreflexive,
// asymmetric and transitive on them, and that sort() gives its ascending order.
TEST(LexiNumericalSorter, IsAStrictTotalOrderOnGeneratedNames) {
  const ut::LexiNumericalSorter::Hook bToNaN = [](Pieces& p) {
    std::replace(p.begin(), p.end(), Pieces::value_type(OdString(L"b")), Pieces::value_type(std::nan("")));
  };
  for (const auto* hook : {static_cast<const ut::LexiNumericalSorter::Hook*>(nullptr), &bToNaN}) {
    SCOPED_TRACE(hook ? "NaN hook" : "no hook");
    const ut::LexiNumericalSorter sorter(hook);
    std::mt19937 rng(11);
    OdArray<OdString> names;
    for (int n = 0; n < 300; ++n) names.append(randomName(rng).substr(0, 500));
    for (wchar_t digit : {L'9', L'8'}) names.append(std::wstring(400, digit));
    std::shuffle(names.begin(), names.end(), rng);
    sorter.sort(names);
    for (unsigned i = 0; i < names.size(); ++i) {
      ASSERT_FALSE(sorter.isLess(names[i], names[i])) << i;
      for (unsigned j = i + 1; j < names.size(); ++j) {
        if (names[i] == names[j]) continue;
        ASSERT_TRUE(sorter.isLess(names[i], names[j])) << i << " " << j;
        ASSERT_FALSE(sorter.isLess(names[j], names[i])) << i << " " << j;
      }
    }
  }
}

}  // namespace
