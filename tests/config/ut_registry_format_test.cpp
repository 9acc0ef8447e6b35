#include "config/ut_registry_p.h"
#include "core/ut_utf16.h"

#include <gtest/gtest.h>

namespace {

using namespace ut::internal;
using namespace ut::internal::regfile;

const std::string kUtf8Header = "Windows Registry Editor Version 5.00\n";

std::string bytes(std::initializer_list<int> values) { return std::string(values.begin(), values.end()); }

// One operation as "kind line key/name type data-in-hex", for compact expectations.
std::string describe(const Operation& op) {
  static const char* const kinds[] = {"key", "-key", "set", "-value"};
  std::string text = std::string(kinds[op.kind]) + " " + std::to_string(op.line) + " ";
  if (op.kind == Operation::eSelectKey || op.kind == Operation::eDeleteKey)
    return text + std::string(op.key.begin(), op.key.end());
  text += "'" + std::string(op.value.name.begin(), op.value.name.end()) + "'";
  if (op.kind == Operation::eDeleteValue) return text;
  text += " " + std::to_string(op.value.type) + " ";
  for (unsigned char c : op.value.data) {
    text += "0123456789abcdef"[c >> 4];
    text += "0123456789abcdef"[c & 15];
  }
  return text;
}

// Every operation, then "malformed COUNT from LINE" if any line was.
std::vector<std::string> describeAll(const ReadResult& result) {
  std::vector<std::string> all;
  for (const Operation& op : result.operations) all.push_back(describe(op));
  if (result.malformedCount || result.firstMalformedLine) {
    all.push_back("malformed " + std::to_string(result.malformedCount) + " from " +
                  std::to_string(result.firstMalformedLine));
  }
  return all;
}

TEST(RegFileEscape, ReplacesInOrderAndRoundTrips) {
  EXPECT_EQ(escapeText(L"a\\b\"c\nd"), L"a\\\\b\\\"c\r\nd");
  EXPECT_EQ(unescapeText(L"a\\\\b\\\"c\r\nd"), L"a\\b\"c\nd");
  for (const wchar_t* text : {L"C:\\dir\\\"x\"\nnext", L"\\\"", L"\\\\\"\r\n\r", L"\"\\", L""}) {
    EXPECT_EQ(unescapeText(escapeText(text)), text);
    EXPECT_EQ(ut::unescape(ut::escape(text)), text);
  }
}

TEST(Utf16, SurrogatesOddBytesAndTerminators) {
  EXPECT_EQ(toUtf16le(L"A\U0001F600"), bytes({'A', 0, 0x3D, 0xD8, 0x00, 0xDE}));
  EXPECT_EQ(fromUtf16le(bytes({'A', 0, 0x3D, 0xD8, 0x00, 0xDE, 'x'})), L"A\U0001F600");
  EXPECT_EQ(fromUtf16le(bytes({0x00, 0xDC, 0x00, 0xD8})), std::wstring({wchar_t(0xDC00), wchar_t(0xD800)}));
  EXPECT_EQ(stringValueBytes(L"ab"), bytes({'a', 0, 'b', 0, 0, 0}));
  EXPECT_EQ(stringFromValueBytes(bytes({'a', 0, 0, 0, 'b', 0})), L"a");
  const std::vector<std::wstring> list{L"one", L"two"};
  EXPECT_EQ(multiStringFromValueBytes(multiStringValueBytes(list)), list);
  EXPECT_EQ(multiStringValueBytes({}), bytes({0, 0}));
}

TEST(RegFileWriter, WritesTheEditorsFormat) {
  Writer writer(false);
  writer.addKey(L"HKEY_CURRENT_USER\\Software\\Korvani");
  writer.addValue({L"", ut::eRegString, stringValueBytes(L"say \"hi\"\nC:\\")});
  writer.addValue({L"Count", ut::eRegDword, bytes({1, 0, 0, 0})});
  writer.addValue({L"Bin", ut::eRegBinary, bytes({0, 0xAB})});
  writer.addValue({L"Empty", ut::eRegBinary, ""});
  writer.addValue({L"Path", ut::eRegExpandString, stringValueBytes(L"%TEMP%")});
  writer.addValue({L"Big", ut::eRegQword, std::string(8, '\0')});
  writer.addKey(L"HKEY_CURRENT_USER\\Software\\Korvani\\Sub");
  EXPECT_EQ(writer.text(),
            L"Windows Registry Editor Version 5.00\r\n\r\n"
            L"[HKEY_CURRENT_USER\\Software\\Korvani]\r\n"
            L"@=\"say \\\"hi\\\"\r\nC:\\\\\"\r\n"
            L"\"Count\"=dword:00000001\r\n"
            L"\"Bin\"=hex:00,ab\r\n"
            L"\"Empty\"=hex:\r\n"
            L"\"Path\"=\"%TEMP%\"\r\n"
            L"\"Big\"=\"[[Unknown type: 11]]\"\r\n\r\n"
            L"[HKEY_CURRENT_USER\\Software\\Korvani\\Sub]\r\n\r\n");
  EXPECT_EQ(writer.bytes(), "\xFF\xFE" + toUtf16le(writer.text()));
}

// Exact types give hex forms that name the type; long data wraps where a line reaches 77 characters.
TEST(RegFileWriter, ExactTypesGiveHexFormsAndLongDataWraps) {
  const std::pair<Value, const wchar_t*> rows[] = {
      {{L"e", ut::eRegExpandString, stringValueBytes(L"%A%")}, L"\"e\"=hex(2):25,00,41,00,25,00,00,00"},
      {{L"m", ut::eRegMultiString, bytes({'a', 0, 0, 0, 0, 0})}, L"\"m\"=hex(7):61,00,00,00,00,00"},
      {{L"q", ut::eRegQword, bytes({1, 0, 0, 0, 0, 0, 0, 0})}, L"\"q\"=hex(b):01,00,00,00,00,00,00,00"},
      {{L"n", ut::eRegNone, ""}, L"\"n\"=hex(0):"},
      {{L"s", ut::eRegString, bytes({'a', 0})}, L"\"s\"=hex(1):61,00"},
      {{L"d", ut::eRegDword, bytes({1, 2})}, L"\"d\"=hex(4):01,02"},
      {{L"x", 0x123, "\xff"}, L"\"x\"=hex(123):ff"},
      {{L"Data", ut::eRegBinary,
        std::string("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17\20\21\22\23\24\25\26\27\30\31\32\33\34\35",
                    30)},
       L"\"Data\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
       L"  16,17,18,19,1a,1b,1c,1d"}};
  for (const auto& [value, line] : rows) {
    Writer writer(true);
    writer.addValue(value);
    EXPECT_TRUE(writer.text().ends_with(line + std::wstring(L"\r\n\r\n"))) << line;
  }
}

TEST(RegFileReader, ReadsBackEveryTypeWrittenWithExactTypes) {
  const std::vector<Value> values{
      {L"", ut::eRegString, stringValueBytes(L"multi\nline \"text\" \\ \r\n end ")},
      {L"name \"with\" = and\nbreak", ut::eRegDword, bytes({0xEF, 0xBE, 0xAD, 0xDE})},
      {L"bin", ut::eRegBinary, std::string(100, '\x7f')},
      {L"expand", ut::eRegExpandString, stringValueBytes(L"%PATH%")},
      {L"multi", ut::eRegMultiString, multiStringValueBytes({L"a", L"b"})},
      {L"qword", ut::eRegQword, std::string(8, '\x01')},
      {L"none", ut::eRegNone, ""},
      {L"odd string", ut::eRegString, "x"}};
  Writer writer(true);
  writer.addKey(L"HKEY_LOCAL_MACHINE\\A");
  for (const Value& value : values) writer.addValue(value);
  const ReadResult result = read(writer.bytes());
  ASSERT_TRUE(result.isRegistrationFile);
  EXPECT_EQ(result.malformedCount, 0);
  ASSERT_EQ(result.operations.size(), values.size() + 1);
  EXPECT_EQ(result.operations[0].key, L"HKEY_LOCAL_MACHINE\\A");
  for (size_t i = 0; i < values.size(); ++i) EXPECT_EQ(result.operations[i + 1].value, values[i]);
}

TEST(RegFileReader, StatementsTable) {
  const std::pair<std::string, std::vector<std::string>> rows[] = {
      {"; note\n\n[HKEY_USERS\\A]\r\n  @ = \"v\"  \n", {"key 4 HKEY_USERS\\A", "set 5 '' 1 76000000"}},
      {"[-HKEY_CLASSES_ROOT\\A]\n[hkey_current_config\\B]\n\"v\"=-\n",
       {"-key 2 HKEY_CLASSES_ROOT\\A", "key 3 hkey_current_config\\B", "-value 4 'v'"}},
      {"[HKEY_USERS]\n\"a\\\"=b\"=HEX(B):FF , 0,\\\n  \t1,\\\n  2\n\"d\"=dword:A\n\"m\"=\"1\n2\"\n",
       {"key 2 HKEY_USERS", "set 3 'a\"=b' 11 ff000102", "set 6 'd' 4 0a000000",
        "set 7 'm' 1 31000a0032000000"}},
      {"\"early\"=\"v\"\n[HKEY_USERS]\ngarbage\n\"x\"=hex:1,,2\n\"x\"=hex:123\n\"x\"=dword:123456789\n"
       "\"x\"=\"a\" junk\n\"x\"\n@=dword:\n",
       {"key 3 HKEY_USERS", "malformed 8 from 2"}},
      {"[HKEY_USERS\\A]\n[NOROOT\\A]\n@=\"lost\"\n[-HKEY_USERS\\A]\n@=\"lost\"\n[HKEY_USERS\\B\n",
       {"key 2 HKEY_USERS\\A", "-key 5 HKEY_USERS\\A", "malformed 4 from 3"}},
      {"[HKEY_USERS]\n\"ok\"=\"1\"\n\"open\"=\"never closed\n\"x\"=\"2\"\n",
       {"key 2 HKEY_USERS", "set 3 'ok' 1 31000000", "malformed 1 from 4"}}};
  for (const auto& [body, described] : rows) {
    SCOPED_TRACE(body);
    const ReadResult result = read(kUtf8Header + body);
    EXPECT_TRUE(result.isRegistrationFile);
    EXPECT_EQ(describeAll(result), described);
  }
}

TEST(RegFileReader, AcceptsEachEncodingAndHeaderAndNothingElse) {
  const std::wstring crlfText =
      L"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_USERS\\\u00e9]\r\n@=\"\u00e9\"\r\n";
  const std::string utf8 = "REGEDIT4\n[HKEY_USERS\\\xc3\xa9]\n@=\"\xc3\xa9\"";
  for (const std::string& file : {"\xFF\xFE" + toUtf16le(crlfText), utf8, "\xEF\xBB\xBF" + utf8}) {
    const ReadResult result = read(file);
    EXPECT_TRUE(result.isRegistrationFile);
    EXPECT_EQ(result.malformedCount, 0);
    ASSERT_EQ(result.operations.size(), 2u);
    EXPECT_EQ(result.operations[0].key, L"HKEY_USERS\\\u00e9");
    EXPECT_EQ(result.operations[1].value.data, stringValueBytes(L"\u00e9"));
  }
  // Nothing else is a registration file.
  for (const std::string& file : {std::string(), std::string("\xFF\xFE"), bytes({0x89, 'P', 'N', 'G', 0, 1}),
                                  "\n" + kUtf8Header + "[HKEY_USERS]\n", toUtf16le(L"REGEDIT4\r\n"),
                                  std::string("Windows Registry Editor Version 4.00\n[HKEY_USERS]\n")}) {
    const ReadResult result = read(file);
    EXPECT_FALSE(result.isRegistrationFile);
    EXPECT_TRUE(result.operations.empty());
  }
}

TEST(RegFileRoots, SplitsTheRootName) {
  const auto rooted = splitRoot(L"hkey_local_machine\\Software\\X");
  ASSERT_TRUE(rooted);
  EXPECT_EQ(rooted->root, ut::eLocalMachine);
  EXPECT_EQ(rooted->path, L"Software\\X");
  EXPECT_EQ(splitRoot(L"HKEY_CURRENT_USER")->path, L"");
  EXPECT_EQ(rootName(ut::eCurrentConfig), L"HKEY_CURRENT_CONFIG");
  EXPECT_EQ(rootName(static_cast<ut::ERootKey>(5)), L"");
  for (const wchar_t* key : {L"HKCU\\Software", L"HKEY_CURRENT_USERS", L"", L"\\HKEY_USERS"})
    EXPECT_FALSE(splitRoot(key));
}

}  // namespace
