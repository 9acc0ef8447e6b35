#include "ut_string_parser.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>

namespace {

using Attributes = std::map<OdString, OdString>;

struct Row {
  const wchar_t* input;
  Attributes attributes;
  const wchar_t* message;
  bool result;
};

void expectParse(const Row& row) {
  SCOPED_TRACE(testing::Message() << '"' << row.input << '"');
  ut::CStringParser parser;
  EXPECT_EQ(parser.parse(row.input), row.result);
  EXPECT_TRUE(parser.attributes() == row.attributes);
  EXPECT_EQ(parser.message().str(), row.message);
  for (const auto& [name, value] : row.attributes) EXPECT_EQ(parser.attribute(name).str(), value.str());
}

TEST(CStringParser, SplitsAttributesFromTheMessage) {
  const Row rows[] = {
      {L"priority={0}  message  ", {{L"priority", L"0"}}, L"message  ", true},
      {L"priority={1} entity={hf56} message", {{L"priority", L"1"}, {L"entity", L"hf56"}}, L"message", true},
      {L"   new message \n ", {}, L"new message \n ", true},
      {L"  attrib1={value1}  ", {{L"attrib1", L"value1"}}, L"", true},
      {L"  attrib1={value1  ", {}, L"attrib1={value1  ", false},
      {L"  attrib1={value1 message ", {}, L"attrib1={value1 message ", false},
      {L"  attrib1={value1} attrib2={value2 message ",
       {{L"attrib1", L"value1"}},
       L"attrib2={value2 message ",
       false},
      {L"priority ={0}  message  ", {}, L"priority ={0}  message  ", true},
      {L"priority= {0}  message  ", {}, L"priority= {0}  message  ", true},
      {L"priority={1} x = 5  y= 3    z =8", {{L"priority", L"1"}}, L"x = 5  y= 3    z =8", true},
  };
  for (const Row& row : rows) expectParse(row);
}

TEST(CStringParser, HandlesEmptyRepeatedAndOddPairs) {
  const Row rows[] = {
      {L"", {}, L"", true},
      {L" \t\n", {}, L"", true},
      {L"={x} ={}", {{L"", L"x"}}, L"", true},
      {L"a={2} a={3} A={4}", {{L"a", L"2"}, {L"A", L"4"}}, L"", true},
      {L"a={x = {y}\n z}", {{L"a", L"x = {y"}}, L"z}", true},
      {L"a={}b={c} text", {{L"a", L""}, {L"b", L"c"}}, L"text", true},
      {L"a=", {}, L"a=", true},
      {L"a={", {}, L"a={", false},
      {L"word a={1}", {}, L"word a={1}", true},
  };
  for (const Row& row : rows) expectParse(row);
}

TEST(CStringParser, LooksUpExactNamesOnly) {
  ut::CStringParser parser;
  ASSERT_TRUE(parser.parse(L"Level={3} text"));
  EXPECT_EQ(parser.attribute(L"Level").str(), L"3");
  EXPECT_TRUE(parser.attribute(L"level").isEmpty());
  EXPECT_TRUE(parser.attribute(L"").isEmpty());
}

TEST(CStringParser, ReplacesContentAndCopiesAsAValue) {
  ut::CStringParser parser;
  ASSERT_TRUE(parser.parse(L"a={1} b={2} first"));
  ut::CStringParser copy = parser;
  EXPECT_FALSE(parser.parse(L"c={3"));
  EXPECT_TRUE(parser.attributes().empty());
  EXPECT_EQ(parser.message().str(), L"c={3");

  EXPECT_EQ(copy.attributes().size(), 2u);
  EXPECT_EQ(copy.message().str(), L"first");
  const ut::CStringParser moved = std::move(copy);
  EXPECT_EQ(moved.attribute(L"b").str(), L"2");
  parser = moved;
  EXPECT_EQ(parser.message().str(), L"first");
}

}  // namespace
