#include "ut_csv.h"

#include "test_support.h"
#include "ut_file.h"

#include <gtest/gtest.h>

namespace {

using Row = OdArray<OdString>;
using Table = OdArray<Row>;

class CsvTest : public testing::Test {
 protected:
  OdString file(const char* name) const { return (m_dir.path() / name).wstring().c_str(); }
  std::string contents(const char* name) const {
    std::string bytes;
    ut::readEntireFile(file(name), bytes);
    return bytes;
  }

  qxtest::TempDir m_dir;
};

TEST(ParseCSV, Table) {
  const struct {
    const wchar_t* line;
    wchar_t delimiter;
    Row expected;
  } cases[] = {
      {L"a,b,", L',', {L"a", L"b", L""}},
      {L"\"x,y\",z", L',', {L"x,y", L"z"}},
      {L"\"say \"\"hi\"\"\",b", L',', {L"say \"hi\"", L"b"}},
      {L"a,\"\",b", L',', {L"a", L"", L"b"}},
      {L"a,\"\"", L',', {L"a", L""}},
      {L"ab\"c,d\"e,f", L',', {L"abc,de", L"f"}},
      // A doubled quote before the delimiter is two toggles, even inside quotes.
      {L"\"a\"\",b\"", L',', {L"a,b"}},
      {L"", L',', {L""}},
      {L"a;\"b;c\";d,e", L';', {L"a", L"b;c", L"d,e"}},
  };
  for (const auto& c : cases) {
    Row fields;
    ut::parseCSV(fields, c.line, c.delimiter);
    EXPECT_EQ(fields, c.expected) << c.line;
  }
}

TEST_F(CsvTest, ReadsEveryLineInEachEncoding) {
  const std::wstring text = L"a,\"b,c\"\n\n\xFC;x,\r\n";
  std::string utf16("\xFF\xFE");
  for (wchar_t c : text) utf16.append({static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)});
  for (const std::string& bytes : {std::string("a,\"b,c\"\n\n\xC3\xBC;x,\r\n"),
                                   std::string("\xEF\xBB\xBF" "a,\"b,c\"\n\n\xC3\xBC;x,\r\n"), utf16}) {
    ASSERT_TRUE(ut::writeEntireFile(file("in.csv"), bytes));
    Table table{{L"old"}};
    ut::readCSV(table, file("in.csv"), L',');
    EXPECT_EQ(table, (Table{{L"old"}, {L"a", L"b,c"}, {L""}, {L"\xFC;x", L""}})) << bytes;
  }
  // A missing file is no news; one that cannot be decoded is reported.
  const qxtest::Reports reports;
  ASSERT_TRUE(ut::writeEntireFile(file("odd.csv"), std::string("\xFF\xFE"
                                                               "a\0b",
                                                               5)));
  Table table{{L"old"}};
  ut::readCSV(table, file("missing.csv"), L',');
  ut::readCSV(table, file("odd.csv"), L',');
  EXPECT_EQ(table, Table{{L"old"}});
  ASSERT_EQ(reports.lines().size(), 1u);
  EXPECT_EQ(reports.lines()[0], "ut::readCSV: Cannot read \"" + (m_dir.path() / "odd.csv").string() +
                                    "\" as text in any encoding");
}

TEST_F(CsvTest, WriterPolicies) {
  using W = ut::CsvWriter;
  const struct {
    W::EQuoting quoting;
    wchar_t quoteChar, escapeChar;
    Row row;
    const char* expected;
  } cases[] = {
      {W::QuoteMinimal, L'"', 0, {L"a", L"b,c", L"6\" pipe", L"x\ny", L"\xFC"}, "a,\"b,c\",\"6\"\" pipe\",\"x\ny\",\xC3\xBC\n"},
      {W::QuoteMinimal, L'\'', L'\\', {L"it's", L"\"", L"\r"}, "'it\\'s',\",'\r'\n"},
      {W::QuoteNone, L'"', L'\\', {L"b,c", L"\"q\"", L"\n"}, "b\\,c,\"q\",\\\n\n"},
      {W::QuoteAll, L'"', 0, {L"", L"a", L""}, "\"\",\"a\",\"\"\n"},
      {W::QuoteAll, L'"', 0, {}, ""},
  };
  for (const auto& c : cases) {
    {
      W writer(file("out.csv"));
      writer.setQuoting(c.quoting, c.quoteChar, c.escapeChar);
      writer.write(c.row);
      EXPECT_TRUE(writer.good());
    }
    EXPECT_EQ(contents("out.csv"), c.expected);
  }
}

TEST_F(CsvTest, UnwritableFieldsThrowAfterTheFieldsBeforeThem) {
  ut::CsvWriter writer(file("out.csv"));
  writer.setQuoting(ut::CsvWriter::QuoteNone, L'"', 0);
  try {
    writer.write({L"a", L"b,c", L"d"});
    FAIL() << "no exception";
  } catch (const ut::CsvError& e) {
    EXPECT_STREQ(e.what(), "No quoting and no escaping");
  }
  writer.setQuoting(ut::CsvWriter::QuoteMinimal, L'"', 0);
  EXPECT_THROW(writer.write({L"e", std::wstring(1, wchar_t(0xDC00))}), ut::CsvError);
  EXPECT_THROW(writer.write({std::wstring(1, wchar_t(-1))}), ut::CsvError);
  writer.close();
  EXPECT_EQ(contents("out.csv"), "ae");
}

TEST_F(CsvTest, LostRowsAreReported) {
  const qxtest::Reports reports;
  ut::CsvWriter full(L"/dev/full");
  ASSERT_TRUE(full.isOpen());
  full.write({L"a"});
  EXPECT_FALSE(full.good());
  ut::CsvWriter closed;
  closed.write({L"a"});
  closed.write({});
  ASSERT_EQ(reports.lines().size(), 2u);
  EXPECT_EQ(reports.lines()[0].rfind("ut::CsvWriter::write: ", 0), 0u);
}

TEST_F(CsvTest, RoundTripThroughTheReader) {
  const Table written{{L"plain", L"a,b", L"\"", L"\"\"", L"6\" x", L"", L"\"start", L"end\""},
                      {L""},
                      {L"\xFC\x4E2D\x1F600", L" spaced ", L";"}};
  {
    ut::CsvWriter writer(file("trip.csv"));
    for (const Row& row : written) writer.write(row);
  }
  Table table;
  ut::readCSV(table, file("trip.csv"), L',');
  EXPECT_EQ(table, written);
}

}  // namespace
