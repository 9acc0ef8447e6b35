#include "ut_csv.h"

#include "test_support.h"
#include "ut_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

namespace {

using Row = OdArray<OdString>;
using Table = OdArray<Row>;

class CsvTest : public testing::Test {
 protected:
  OdString file(const char* name) const { return (m_dir.path() / name).wstring().c_str(); }
  std::string contents(const char* name) const { return qxtest::fileBytes(m_dir.path() / name); }

  qxtest::TempDir m_dir;
};

TEST(ParseCSV, Table) {
  // Each row: a line, the delimiter, and the fields. A doubled quote before the delimiter is two toggles,
  // even inside quotes.
  const std::tuple<const wchar_t*, wchar_t, Row> cases[] = {
      {L"a,b,", L',', {L"a", L"b", L""}},     {L"\"say \"\"hi\"\"\",b", L',', {L"say \"hi\"", L"b"}},
      {L"\"x,y\",z", L',', {L"x,y", L"z"}},   {L"ab\"c,d\"e,f", L',', {L"abc,de", L"f"}},
      {L"a,\"\",b", L',', {L"a", L"", L"b"}}, {L"a;\"b;c\";d,e", L';', {L"a", L"b;c", L"d,e"}},
      {L"a,\"\"", L',', {L"a", L""}},         {L"", L',', {L""}},
      {L"\"a\"\",b\"", L',', {L"a,b"}},
  };
  for (const auto& [line, delimiter, expected] : cases) {
    Row fields;
    ut::parseCSV(fields, line, delimiter);
    EXPECT_EQ(fields, expected) << line;
  }
}

TEST_F(CsvTest, ReadsEveryLineInEachEncoding) {
  const std::wstring text = L"a,\"b,c\"\n\n\xFC;x,\r\n";
  std::string utf16("\xFF\xFE");
  for (wchar_t c : text) utf16.append({static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)});
  const std::string utf8 = "a,\"b,c\"\n\n\xC3\xBC;x,\r\n";
  for (const std::string& bytes : {utf8, "\357\273\277" + utf8, utf16}) {
    ASSERT_TRUE(ut::writeEntireFile(file("in.csv"), bytes));
    Table table{{L"old"}};
    ut::readCSV(table, file("in.csv"), L',');
    EXPECT_EQ(table, (Table{{L"old"}, {L"a", L"b,c"}, {L""}, {L"\xFC;x", L""}})) << bytes;
  }
  // A missing file is no news; one that cannot be decoded is reported.
  const qxtest::Reports reports;
  ASSERT_TRUE(ut::writeEntireFile(file("odd.csv"), std::string("\377\376a\0b", 5)));
  Table table{{L"old"}};
  ut::readCSV(table, file("missing.csv"), L',');
  ut::readCSV(table, file("odd.csv"), L',');
  EXPECT_EQ(table, Table{{L"old"}});
  EXPECT_EQ(reports.lines(),
            std::vector<std::string>{"ut::readCSV: Cannot read \"" + (m_dir.path() / "odd.csv").string() +
                                     "\" as text in any encoding"});
}

TEST_F(CsvTest, WriterPolicies) {
  using W = ut::CsvWriter;
  // Each row: quoting, quote, escape, the row, and what is written.
  const std::tuple<W::EQuoting, wchar_t, wchar_t, Row, const char*> cases[] = {
      {W::QuoteMinimal,
       L'"',
       0,
       {L"a", L"b,c", L"6\" pipe", L"x\ny", L"\xFC"},
       "a,\"b,c\",\"6\"\" pipe\",\"x\ny\",\xC3\xBC\n"},
      {W::QuoteMinimal, L'\'', L'\\', {L"it's", L"\"", L"\r"}, "'it\\'s',\",'\r'\n"},
      {W::QuoteNone, L'"', L'\\', {L"b,c", L"\"q\"", L"\n"}, "b\\,c,\"q\",\\\n\n"},
      {W::QuoteAll, L'"', 0, {L"", L"a", L""}, "\"\",\"a\",\"\"\n"},
      {W::QuoteAll, L'"', 0, {}, ""}};
  for (const auto& [quoting, quote, escape, row, expected] : cases) {
    {
      W writer(file("out.csv"));
      writer.setQuoting(quoting, quote, escape);
      writer.write(row);
      EXPECT_TRUE(writer.good());
    }
    EXPECT_EQ(contents("out.csv"), expected);
  }
}

// Fields that cannot be written throw after the fields before them; rows that cannot be written at all are
// reported.
TEST_F(CsvTest, UnwritableFieldsThrowAndLostRowsAreReported) {
  ut::CsvWriter writer(file("out.csv"));
  writer.setQuoting(ut::CsvWriter::QuoteNone, L'"', 0);
  const auto unquotable = [&] { writer.write({L"a", L"b,c", L"d"}); };
  EXPECT_THAT(unquotable, testing::ThrowsMessage<ut::CsvError>(testing::StrEq("No quoting and no escaping")));
  writer.setQuoting(ut::CsvWriter::QuoteMinimal, L'"', 0);
  EXPECT_THROW(writer.write({L"e", std::wstring(1, wchar_t(0xDC00))}), ut::CsvError);
  EXPECT_THROW(writer.write({std::wstring(1, wchar_t(-1))}), ut::CsvError);
  writer.close();
  EXPECT_EQ(contents("out.csv"), "ae");
  // Rows lost to a full disk or a closed writer are reported.
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
