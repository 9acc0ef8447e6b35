#include "ut_string_parser.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

namespace {

using Attributes = std::map<OdString, OdString>;

TEST(CStringParser, SplitsAttributesFromTheMessage) {
  // Each row: the input, its attributes, its message, and what parse() answers.
  const std::tuple<const wchar_t*, Attributes, const wchar_t*, bool> rows[] = {
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
      // Empty, repeated and odd pairs.
      {L"", {}, L"", true},
      {L" \t\n", {}, L"", true},
      {L"={x} ={}", {{L"", L"x"}}, L"", true},
      {L"a={2} a={3} A={4}", {{L"a", L"2"}, {L"A", L"4"}}, L"", true},
      {L"a={x = {y}\n z}", {{L"a", L"x = {y"}}, L"z}", true},
      {L"a={}b={c} text", {{L"a", L""}, {L"b", L"c"}}, L"text", true},
      {L"a=", {}, L"a=", true},
      {L"a={", {}, L"a={", false},
      {L"word a={1}", {}, L"word a={1}", true}};
  for (const auto& [input, attributes, message, result] : rows) {
    SCOPED_TRACE(testing::Message() << '"' << input << '"');
    ut::CStringParser parser;
    EXPECT_EQ(parser.parse(input), result);
    EXPECT_TRUE(parser.attributes() == attributes);
    EXPECT_EQ(parser.message().str(), message);
    for (const auto& [name, value] : attributes) EXPECT_EQ(parser.attribute(name).str(), value.str());
  }
}

TEST(CStringParser, LooksUpExactNamesAndParsingReplacesTheContent) {
  ut::CStringParser parser;
  ASSERT_TRUE(parser.parse(L"a={1} b={2} first"));
  EXPECT_TRUE(parser.attribute(L"B").isEmpty());
  EXPECT_TRUE(parser.attribute(L"").isEmpty());
  EXPECT_FALSE(parser.parse(L"c={3"));
  EXPECT_TRUE(parser.attributes().empty());
  EXPECT_EQ(parser.message().str(), L"c={3");
}

}  // namespace
