#include "ut_json.h"

#include "OdAnsiString.h"

#include "test_support.h"

#include <functional>

namespace {

const ut::JsonValue kDocument = ut::JsonValue::parse(R"({
  "object": {"inner": 1}, "array": [1, 2], "string": "Gr\u00fc\u00dfe", "bool": true, "int": -3,
  "uint": 18446744073709551615, "real": 3.0, "null": null, "gr\u00f6\u00dfe": 7, "big": 4294967297
})");
const ut::JsonObject& kObject = kDocument.get_ref<const ut::JsonObject&>();

std::string thrown(const std::function<void()>& read) try {
  read();
  return "nothing";
} catch (const ut::JsonParseError& e) {
  return e.what();
}

TEST(JsonTest, EachAccessorReadsItsOwnKindAndNoOther) {
  // Each member holds the kind it is named after.
  for (const char* member : {"object", "array", "string", "bool", "int", "uint", "real", "null"}) {
    SCOPED_TRACE(member);
    const OdString key = OdString(OdAnsiString(member));
    const std::string name = member;
    const bool integer = name == "int" || name == "uint";
    EXPECT_EQ(ut::tryGetObjectValue(kObject, key) != nullptr, name == "object");
    EXPECT_EQ(ut::tryGetArrayValue(kObject, key) != nullptr, name == "array");
    EXPECT_EQ(ut::tryGetStringValue(kObject, key).has_value(), name == "string");
    EXPECT_EQ(ut::tryGetBoolValue(kObject, key).has_value(), name == "bool");
    EXPECT_EQ(ut::tryGetIntValue(kObject, key).has_value(), integer);
    EXPECT_EQ(ut::tryGetInt64Value(kObject, key).has_value(), integer);
    EXPECT_EQ(ut::tryGetUInt64Value(kObject, key).has_value(), integer);
    EXPECT_EQ(ut::tryGetDoubleValue(kObject, key).has_value(), name == "real");
    EXPECT_EQ(ut::isType(ut::getValue(kObject, key, {}), ut::null_type), name == "null");
    EXPECT_EQ(thrown([&] { (void)ut::getBoolValue(kObject, key, {}); }) == "nothing", name == "bool");
    EXPECT_EQ(thrown([&] { (void)ut::getDoubleValue(kObject, key, {}); }) == "nothing", name == "real");
    EXPECT_EQ(thrown([&] { (void)ut::getInt64Value(kObject, key, {}); }) == "nothing", integer);
  }
}

TEST(JsonTest, ReadsValuesAndNarrowsIntegers) {
  EXPECT_EQ(ut::getStringValue(kObject, L"string", {}), L"Gr\u00fc\u00dfe");
  EXPECT_EQ(ut::getIntValue(kObject, L"gr\u00f6\u00dfe", {}), 7);
  EXPECT_EQ(ut::getInt64Value(kObject, L"big", {}), 4294967297);
  EXPECT_EQ(ut::getIntValue(kObject, L"big", {}), 1);
  EXPECT_EQ(ut::tryGetUInt64Value(kObject, L"int"), static_cast<uint64_t>(-3));
  EXPECT_EQ(ut::tryGetInt64Value(kObject, L"uint"), -1);
  EXPECT_EQ(ut::getDoubleValue(kObject, L"real", {}), 3.0);
  EXPECT_TRUE(ut::getBoolValue(kObject, L"bool", {}));
  EXPECT_EQ(ut::getArrayValue(kObject, L"array", {}).size(), 2u);
  EXPECT_EQ(ut::getObjectValue(kObject, L"object", {}).at("inner"), 1);
  EXPECT_EQ(ut::tryGetValue(kObject, L"array"), kObject.at("array"));
  EXPECT_FALSE(ut::tryGetValue(kObject, L"Array") || ut::tryGetValue(kObject, L"inner"));
  EXPECT_FALSE(ut::tryGetValue(kObject, std::wstring(L"int\xD800")));  // not Unicode, so never a key
  ut::JsonObject changed = kObject;
  ut::tryGetObjectValue(changed, L"object")->emplace("added", 2);
  ut::tryGetArrayValue(changed, L"array")->push_back(3);
  EXPECT_EQ(ut::JsonValue(changed)["object"].size() + ut::JsonValue(changed)["array"].size(), 5u);
}

TEST(JsonTest, FindsEachKeyByItsExactCharactersOnly) {
  // Keys that tie on their first character, empty ones, and non-ASCII ones whose code points are also
  // UTF-8 bytes: "\u00c3" is the lead byte of "\u00e9".
  ut::JsonObject object = ut::JsonValue::parse(R"({"": 0, "\u0000": 1, "a": 2, "ab": 3, "a\u00e9": 4,
      "\u00e9": 5, "\u00c3": 6, "\u00ff": 7, "\u20ac": 8, "\ud83d\ude00": 9, "\ufffd": 10, "z": 11})");
  object.emplace("\xED\xA0\x80", 12);  // a surrogate's bytes, which no Unicode name has
  const std::wstring keys[] = {
      L"",       std::wstring(1, L'\0'), L"a",      L"ab", L"a\u00e9", L"\u00e9", L"\u00c3", L"\u00ff",
      L"\u20ac", L"\U0001F600",          L"\ufffd", L"z"};
  for (int value = 0; value < std::ssize(keys); ++value) {
    EXPECT_EQ(ut::tryGetIntValue(object, keys[value]), value);
    // As a C string, a name ends at its first null character.
    EXPECT_EQ(ut::tryGetIntValue(object, keys[value].c_str()), value == 1 ? 0 : value);
  }
  EXPECT_EQ(ut::tryGetIntValue(object, static_cast<const wchar_t*>(nullptr)), 0);
  for (const wchar_t* absent : {L"\u00c3\u00a9", L"a\u00c3", L"b", L"abc", L"\xD800", L"a\u00e9\xDFFF"})
    EXPECT_FALSE(ut::tryGetIntValue(object, absent)) << testing::PrintToString(std::wstring(absent));
}

TEST(JsonTest, MessagesNameTheKeyTheKindsAndTheContext) {
  const ut::Context tokenFile{L"token file"};
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { (void)ut::getStringValue(kObject, L"id", tokenFile); },
       "Unable to find json key 'id'\nContext:\ttoken file \njson key:\t\"id\""},
      {[&] { (void)ut::getIntValue(kObject, L"real", tokenFile); },
       "Error:\tExpected json type 'int', found 'real'\nContext:\ttoken file \njson key:\t\"real\""},
      {[&] { (void)ut::getDoubleValue(kObject, L"int", {}); },
       "Error:\tExpected json type 'real', found 'int'\njson key:\t\"int\""},
      {[&] { (void)ut::getObjectValue(kObject, L"", {}); }, "Unable to find json key ''"},
      {[&] { ut::checkType(ut::JsonValue::array(), ut::str_type, {}, L""); },
       "Error:\tExpected json type 'string', found 'array'"},
      {[&] { ut::checkType(ut::JsonValue::binary({1}), ut::null_type, tokenFile, L""); },
       "Error:\tExpected json type 'null', found 'unknown_type'\nContext:\ttoken file "},
  };
  for (const auto& [read, message] : cases) EXPECT_EQ(thrown(read), message);
  const wchar_t* const names[] = {L"object", L"array", L"string", L"bool", L"int", L"real", L"null"};
  for (int kind = -1; kind <= 7; ++kind)
    EXPECT_EQ(ut::toString(ut::Value_type(kind)), kind >= 0 && kind < 7 ? names[kind] : L"unknown_type");
  EXPECT_THROW((void)ut::getValue(kObject, L"id", {}), OdError);
}

}  // namespace
