#include "ut_text_file.h"
#include "ut_search_path.h"

#include "test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <langinfo.h>
#include <unistd.h>
#include <wx/file.h>
#include <wx/strconv.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using qxtest::od;
using qxtest::TempDir;
using qxtest::writeFile;

// --- Search paths --------------------------------------------------------------------------------------

// Splitting drops empty elements and corrects separators; a cleanup drops duplicates too, keeping the first
// spelling.
TEST(SearchPathTest, SplitAndCleanupDropEmptyElementsAndDuplicates) {
  OdArray<OdString> out{L"kept"};
  ut::splitSearchPath(out, L";;a\\b;c|d;");
  EXPECT_EQ(out, (OdArray<OdString>{L"kept", L"a/b", L"c d"}));
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"/Fonts;/fonts/", L"/Fonts"},
      {L"/A;/a\\;;/B", L"/A;/B"},
      {L";;;", L""},
      {L"/x;/y;/X;/z/", L"/x;/y;/z/"},
  };
  for (const auto& [path, cleaned] : cases) EXPECT_EQ(ut::cleanupSearchPath(path), cleaned) << path;
}

TEST(SearchPathTest, ExtendersDifferOnPurpose) {
  // Each row: prepend or add, path, folder, unlimited, maximum length, the answer, and the path after;
  // adding on the left, prepending on the right. A folder present after correction, in any case, is not
  // added again; the ';' a prepend adds is not counted, but a leading ';' counts once more.
  const std::tuple<bool, const wchar_t*, const wchar_t*, bool, int, bool, const wchar_t*> cases[] = {
      {false, L"/t", L"\\T", false, 100, true, L"/t"}, {true, L"", L"B", false, 100, true, L"B;"},
      {false, L"A;", L"B", false, 100, true, L"A;B"},  {true, L"A", L"B", false, 2, true, L"B;A"},
      {false, L"", L"B", false, 100, true, L"B"},      {true, L"A", L"B", false, 1, false, L"A"},
      {false, L"A", L"", false, 0, true, L"A"},        {true, L";A", L"B", false, 3, false, L";A"},
      {false, L"A", L"B", false, 3, true, L"A;B"},     {true, L";A", L"B", false, 4, true, L"B;A"},
      {false, L"A", L"B", false, 2, false, L"A"},      {true, L"A", L"B", true, 0, true, L"B;A"},
  };
  for (const auto& [prepend, before, folder, unlimited, maxLength, answer, result] : cases) {
    SCOPED_TRACE(testing::Message() << prepend << " " << testing::PrintToString(OdString(before)) << " + "
                                    << testing::PrintToString(OdString(folder)) << " max " << maxLength);
    OdString path = before;
    EXPECT_EQ(prepend ? ut::prependPathToSearchPath(path, folder, unlimited, maxLength)
                      : ut::addPathToSearchPath(path, folder, maxLength),
              answer);
    EXPECT_EQ(path, result);
  }
  // An unlimited prepend ignores the maximum length, up to 32767.
  OdString path(L'x', 32765);
  EXPECT_TRUE(ut::prependPathToSearchPath(path, L"B", true, 1));
  EXPECT_FALSE(ut::prependPathToSearchPath(path, L"C", true, 1));
}

// --- Reading text files --------------------------------------------------------------------------------

TEST(TextFileTest, DetectsEncodingsAndReadsLines) {
  using namespace std::string_literals;
  // Each row: a name, the encoding's code, and the bytes.
  const std::tuple<const char*, int, std::string> cases[] = {
      {"plain", 0, "caf\xC3\xA9\r\nline\n"},
      {"utf8", 11, "\357\273\277caf\xC3\xA9\r\nline"},  // byte order marks in octal, which stops at 3 digits
      {"utf16le", 22, "\377\376c\0a\0f\0\xE9\0\n\0l\0i\0n\0e\0"s},
      {"utf16be", 23, "\xFE\xFF\0c\0a\0f\0\xE9\0\r\0l\0i\0n\0e"s},
      {"utf32le", 32, "\xFF\xFE\0\0c\0\0\0a\0\0\0f\0\0\0\xE9\0\0\0\n\0\0\0l\0\0\0i\0\0\0n\0\0\0e\0\0\0"s},
      {"utf32be", 33, "\0\0\xFE\xFF\0\0\0c\0\0\0a\0\0\0f\0\0\0\xE9\0\0\0\n\0\0\0l\0\0\0i\0\0\0n\0\0\0e"s}};
  TempDir dir;
  for (const auto& [name, code, bytes] : cases) {
    SCOPED_TRACE(name);
    int read = -1;
    EXPECT_EQ(ut::readAllLinesFromFile(writeFile(dir.path() / name, bytes), &read),
              (OdArray<OdString>{L"caf\u00E9", L"line"}));
    EXPECT_EQ(read, code);
  }
}

TEST(TextFileTest, LineEndsFollowTheTextBuffer) {
  const std::pair<std::string, OdArray<OdString>> cases[] = {
      {"a\r\r\n", {L"a", L""}},          {"", {}},
      {"a\n\nb\n", {L"a", L"", L"b"}},   {"\n", {L""}},
      {"a\rb\r\nc", {L"a", L"b", L"c"}}, {std::string("a\0b", 3), {std::wstring(L"a\0b", 3)}},
  };
  TempDir dir;
  for (const auto& [bytes, expected] : cases) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    OdArray<OdString> lines;
    ASSERT_TRUE(ut::readTextFileContent(lines, writeFile(dir.path() / "lines.txt", bytes)));
    EXPECT_EQ(lines, expected);
  }
}

TEST(TextFileTest, FallsBackToTheUsersLocaleAndRestoresIt) {
  qxtest::ScopedEnv language("LC_ALL", "ja_JP.SJIS");
  const locale_t japanese = newlocale(LC_ALL_MASK, "ja_JP.SJIS", locale_t(nullptr));
  if (!japanese) GTEST_SKIP() << "ja_JP.SJIS not installed";
  freelocale(japanese);
  TempDir dir;
  const OdString path = writeFile(dir.path() / "sjis.txt", "\x93\xfa\x96\x7b\n");  // "Japan" in Shift-JIS
  {
    ut::TextFile file(path);
    ASSERT_TRUE(file.open());
    EXPECT_FALSE(file.savedLocale().isEmpty());
    EXPECT_EQ(file.getFirstLine(), L"\u65E5\u672C");
    file.restoreLocale();
    EXPECT_TRUE(file.savedLocale().isEmpty());
  }
  EXPECT_EQ(uselocale(locale_t(nullptr)), LC_GLOBAL_LOCALE);
  OdArray<OdString> lines;
  EXPECT_TRUE(ut::readTextFileContent(lines, path));
  EXPECT_EQ(uselocale(locale_t(nullptr)), LC_GLOBAL_LOCALE);
  // A thread with a locale of its own, mixed of two, gets that very locale back.
  const locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", locale_t(nullptr));
  if (!german) GTEST_SKIP() << "de_DE.UTF-8 not installed";
  const locale_t mixed = newlocale(LC_CTYPE_MASK, "C.UTF-8", german);
  uselocale(mixed);
  EXPECT_TRUE(ut::readTextFileContent(lines, path));
  EXPECT_EQ(uselocale(locale_t(nullptr)), mixed);
  EXPECT_STREQ(nl_langinfo(RADIXCHAR), ",");
  uselocale(LC_GLOBAL_LOCALE);
  freelocale(mixed);
}

TEST(TextFileTest, UnreadableFilesAreResultsNotCrashes) {
  TempDir dir;
  // A missing file, a directory, and UTF-16 with an odd byte count.
  std::vector<OdString> cases = {od(dir.path() / "missing.txt"), od(dir.path()),
                                 writeFile(dir.path() / "odd.txt", "\377\376a")};
  if (geteuid() != 0) {  // root reads every file
    cases.push_back(writeFile(dir.path() / "secret.txt", "x\n"));
    std::filesystem::permissions(cases.back().c_str(), std::filesystem::perms::none);
  }
  for (const OdString& path : cases) {
    SCOPED_TRACE(testing::PrintToString(path));
    OdArray<OdString> lines{L"kept"};
    EXPECT_FALSE(ut::readTextFileContent(lines, path));
    EXPECT_EQ(lines.size(), 1u);
    ut::TextFile file(path);
    EXPECT_FALSE(file.open());
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(uselocale(locale_t(nullptr)), LC_GLOBAL_LOCALE);
  }
  // Where all lines must be read, a file that cannot be opened is an exception naming it.
  EXPECT_THAT([] { ut::readAllLinesFromFile(L"/nonexistent/a.txt"); },
              testing::ThrowsMessage<ut::TextFileError>(
                  testing::StrEq("Unable to open input file '/nonexistent/a.txt'")));
}

TEST(TextFileTest, IteratesFromFirstToLastLineThroughTheGivenConverter) {
  TempDir dir;
  ut::TextFile file(writeFile(dir.path() / "latin1.txt", "caf\xE9\n2\n3"));
  const wxCSConv latin1(wxFONTENCODING_ISO8859_1);
  ASSERT_TRUE(file.open(&latin1));
  EXPECT_EQ(file.encoding(), ut::TextFile::eBomNone);
  EXPECT_TRUE(file.savedLocale().isEmpty());
  std::vector<std::wstring> seen;
  for (OdString line = file.getFirstLine(); !file.eof(); line = file.getNextLine())
    seen.push_back(line.str());
  EXPECT_EQ(seen, (std::vector<std::wstring>{L"caf\u00E9", L"2", L"3"}));
  EXPECT_TRUE(file.close());
  EXPECT_FALSE(file.close());
}

// --- UTF-8 validation ----------------------------------------------------------------------------------

TEST(Utf8ValidationTest, AcceptsOnlyWellFormedSequences) {
  const auto valid = [](std::string bytes) {
    return ut::isValidUTF8Encoding(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
  };
  for (const char* bytes :
       {"", "plain ASCII text that is longer than thirty-two bytes",
        "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"})
    EXPECT_TRUE(valid(bytes)) << testing::PrintToString(bytes);
  // Overlong forms of '/' and of two, three and four bytes; the surrogates' ends; beyond U+10FFFF; bytes
  // that never lead; a lone continuation; sequences cut off at the end and in the middle.
  for (const char* bytes :
       {"\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\x80", "abc\xE2\x82", "\xE2\x82xyzw"})
    EXPECT_FALSE(valid(bytes)) << testing::PrintToString(bytes);
  EXPECT_FALSE(valid(std::string(40, 'a') + "\xC3"));  // cut off after a long ASCII run
}

TEST(Utf8ValidationTest, FileFormSeesSequencesAcrossItsChunks) {
  TempDir dir;
  // The euro sign straddles the one-mebibyte chunks the file is read in.
  std::string bytes(1024 * 1024 - 1, 'a');
  bytes += "\xE2\x82\xAC";
  wxFile file;
  ASSERT_TRUE(file.Open(writeFile(dir.path() / "big.txt", bytes).c_str()));
  EXPECT_TRUE(ut::isValidUTF8Encoding(file));
  ASSERT_TRUE(file.Open(writeFile(dir.path() / "cut.txt", bytes.substr(0, bytes.size() - 1)).c_str()));
  EXPECT_FALSE(ut::isValidUTF8Encoding(file));
}

}  // namespace
