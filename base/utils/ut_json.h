// JSON accessors: typed members read out of a parsed JSON object with one error discipline. The `get`
// family returns the member or throws ut::JsonParseError, whose message names the key, the kinds expected
// and found, and the caller's context; the `tryGet` family never throws and reports a missing member, or
// one of another kind, as absent. Kinds are strict: an integer is never read as a real, a real never as an
// integer, a number never as a bool, a string of digits never as a number.
//
//   const ut::JsonValue answer = ut::JsonValue::parse(R"({"id": 7, "name": "Plan", "scale": 2.5})");
//   const ut::JsonObject& token = answer.get_ref<const ut::JsonObject&>();
//   const ut::Context context{L"token file"};
//   ut::getIntValue(token, L"id", context);         // 7
//   ut::getStringValue(token, L"name", context);    // L"Plan"
//   ut::tryGetDoubleValue(token, L"scale");          // 2.5
//   ut::tryGetDoubleValue(token, L"id");             // std::nullopt: 7 is an integer
//   ut::getDoubleValue(token, L"id", context);      // throws JsonParseError:
//       // "Error:\tExpected json type 'real', found 'int'\nContext:\ttoken file \njson key:\t\"id\""
//
// Values are nlohmann::json; keys arrive as OdString, or as a wide literal, and are looked up as UTF-8,
// exactly and case-sensitively, among the object's own members (no paths, no search in nested objects);
// strings leave as OdString. The functions keep no state: any thread may call them on values no thread is
// changing.

#ifndef QX_UT_JSON_H
#define QX_UT_JSON_H

#include "OdError.h"
#include "OdString.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>

namespace ut {

using JsonValue = nlohmann::json;
// A std::map from UTF-8 key to value: ordered, keys unique.
using JsonObject = JsonValue::object_t;
using JsonArray = JsonValue::array_t;

// The kinds of JSON values, numbered as json_spirit numbers them. Signed and unsigned integers are both
// int_type. A binary or discarded nlohmann value, which no JSON text parses into, is of none of them.
enum Value_type : int { obj_type = 0, array_type, str_type, bool_type, int_type, real_type, null_type };

// Where an object came from (a file, a server's answer), for the messages of the throwing accessors.
// An empty text adds nothing to them.
struct Context {
  OdString context;
};

// What the throwing accessors throw: a missing member or one of another kind.
class JsonParseError : public OdError {
 public:
  explicit JsonParseError(const OdString& message) : OdError(message) {}
};

// The kind of `value`.
[[nodiscard]] Value_type valueType(const JsonValue& value);
// Whether `value` is of `kind`.
[[nodiscard]] bool isType(const JsonValue& value, Value_type kind);
// The name of `kind`: "object", "array", "string", "bool", "int", "real", "null"; "unknown_type" else.
[[nodiscard]] OdString toString(Value_type kind);
// Returns when `value` is of `expected`; otherwise throws JsonParseError naming both kinds, `context`
// and `key`.
void checkType(const JsonValue& value, Value_type expected, const Context& context, const OdString& key);

// The member `key` of `object`, which must be of the kind the name says; each throws JsonParseError when
// the member is missing or of another kind. getIntValue narrows the 64-bit integer to int.
[[nodiscard]] const JsonValue& getValue(const JsonObject& object, const OdString& key,
                                        const Context& context);
[[nodiscard]] const JsonObject& getObjectValue(const JsonObject& object, const OdString& key,
                                               const Context& context);
[[nodiscard]] const JsonArray& getArrayValue(const JsonObject& object, const OdString& key,
                                             const Context& context);
[[nodiscard]] OdString getStringValue(const JsonObject& object, const OdString& key, const Context& context);
[[nodiscard]] int getIntValue(const JsonObject& object, const OdString& key, const Context& context);
[[nodiscard]] int64_t getInt64Value(const JsonObject& object, const OdString& key, const Context& context);
[[nodiscard]] bool getBoolValue(const JsonObject& object, const OdString& key, const Context& context);
[[nodiscard]] double getDoubleValue(const JsonObject& object, const OdString& key, const Context& context);

// The member `key` of `object` when it is there and of the kind the name says; nothing (or null)
// otherwise. tryGetValue takes any kind and copies the member; tryGetUInt64Value reads a negative
// integer as its two's complement.
[[nodiscard]] std::optional<JsonValue> tryGetValue(const JsonObject& object, const OdString& key);
[[nodiscard]] std::optional<bool> tryGetBoolValue(const JsonObject& object, const OdString& key);
[[nodiscard]] std::optional<int> tryGetIntValue(const JsonObject& object, const OdString& key);
[[nodiscard]] std::optional<int64_t> tryGetInt64Value(const JsonObject& object, const OdString& key);
[[nodiscard]] std::optional<uint64_t> tryGetUInt64Value(const JsonObject& object, const OdString& key);
[[nodiscard]] std::optional<double> tryGetDoubleValue(const JsonObject& object, const OdString& key);
[[nodiscard]] std::optional<OdString> tryGetStringValue(const JsonObject& object, const OdString& key);
[[nodiscard]] const JsonObject* tryGetObjectValue(const JsonObject& object, const OdString& key);
[[nodiscard]] JsonObject* tryGetObjectValue(JsonObject& object, const OdString& key);
[[nodiscard]] const JsonArray* tryGetArrayValue(const JsonObject& object, const OdString& key);
[[nodiscard]] JsonArray* tryGetArrayValue(JsonObject& object, const OdString& key);

// Each accessor again, for a key given as a C wide string, as a literal gives it: the characters are
// looked up as they stand, with no OdString made for the call. A null pointer is the empty key.
[[nodiscard]] const JsonValue& getValue(const JsonObject& object, const wchar_t* key, const Context& context);
[[nodiscard]] const JsonObject& getObjectValue(const JsonObject& object, const wchar_t* key,
                                               const Context& context);
[[nodiscard]] const JsonArray& getArrayValue(const JsonObject& object, const wchar_t* key,
                                             const Context& context);
[[nodiscard]] OdString getStringValue(const JsonObject& object, const wchar_t* key, const Context& context);
[[nodiscard]] int getIntValue(const JsonObject& object, const wchar_t* key, const Context& context);
[[nodiscard]] int64_t getInt64Value(const JsonObject& object, const wchar_t* key, const Context& context);
[[nodiscard]] bool getBoolValue(const JsonObject& object, const wchar_t* key, const Context& context);
[[nodiscard]] double getDoubleValue(const JsonObject& object, const wchar_t* key, const Context& context);
[[nodiscard]] std::optional<JsonValue> tryGetValue(const JsonObject& object, const wchar_t* key);
[[nodiscard]] std::optional<bool> tryGetBoolValue(const JsonObject& object, const wchar_t* key);
[[nodiscard]] std::optional<int> tryGetIntValue(const JsonObject& object, const wchar_t* key);
[[nodiscard]] std::optional<int64_t> tryGetInt64Value(const JsonObject& object, const wchar_t* key);
[[nodiscard]] std::optional<uint64_t> tryGetUInt64Value(const JsonObject& object, const wchar_t* key);
[[nodiscard]] std::optional<double> tryGetDoubleValue(const JsonObject& object, const wchar_t* key);
[[nodiscard]] std::optional<OdString> tryGetStringValue(const JsonObject& object, const wchar_t* key);
[[nodiscard]] const JsonObject* tryGetObjectValue(const JsonObject& object, const wchar_t* key);
[[nodiscard]] JsonObject* tryGetObjectValue(JsonObject& object, const wchar_t* key);
[[nodiscard]] const JsonArray* tryGetArrayValue(const JsonObject& object, const wchar_t* key);
[[nodiscard]] JsonArray* tryGetArrayValue(JsonObject& object, const wchar_t* key);

}  // namespace ut

#endif
