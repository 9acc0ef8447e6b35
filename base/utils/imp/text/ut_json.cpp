#include "ut_json.h"

#include "core/ut_utf8.h"

#include <string>
#include <string_view>
#include <type_traits>

namespace ut {

namespace {

// The UTF-8 form of `key`; false for a key that is not Unicode (a lone surrogate), which matches
// nothing. An ASCII key, as nearly all are, is narrowed without the encoder, and a short one stays in the
// string's own buffer: a lookup costs no allocation.
bool utf8Key(const OdString& key, std::string& bytes) {
  const std::wstring_view wide = key.view();
  char ascii[16];
  size_t narrowed = 0;
  for (; narrowed < wide.size() && narrowed < sizeof ascii && static_cast<uint32_t>(wide[narrowed]) < 0x80;
       ++narrowed)
    ascii[narrowed] = static_cast<char>(wide[narrowed]);
  if (narrowed == wide.size()) {
    bytes.assign(ascii, narrowed);
    return true;
  }
  return internal::encodeUtf8(wide, bytes);
}

// The member `key` of `object`, or null. A std::string key, not a string_view, takes std::map's faster
// path.
template <class Object>
auto* findMember(Object& object, const OdString& key) {
  decltype(&object.begin()->second) found = nullptr;
  std::string bytes;
  if (!utf8Key(key, bytes)) return found;
  const auto it = object.find(bytes);
  return it == object.end() ? found : &it->second;
}

// The member `key` when it is of `kind`, else null.
template <Value_type kind, class Object>
auto* findOfKind(Object& object, const OdString& key) {
  auto* value = findMember(object, key);
  return value && isType(*value, kind) ? value : nullptr;
}

// The member `key` as a `Container` (an object or array, const or not) when it is of `kind`, else null.
template <Value_type kind, class Container, class Object>
Container* tryGetContainer(Object& object, const OdString& key) {
  auto* value = findOfKind<kind>(object, key);
  return value ? value->template get_ptr<Container*>() : nullptr;
}

template <Value_type kind>
const JsonValue& getOfKind(const JsonObject& object, const OdString& key, const Context& context) {
  const JsonValue& value = getValue(object, key, context);
  checkType(value, kind, context, key);
  return value;
}

template <class T>
std::optional<T> tryGetNumber(const JsonObject& object, const OdString& key) {
  constexpr Value_type kind = std::is_floating_point_v<T> ? real_type : int_type;
  if (const JsonValue* value = findOfKind<kind>(object, key)) return value->get<T>();
  return std::nullopt;
}

OdString fromUtf8(const std::string& bytes) {
  std::wstring wide;
  (void)internal::decodeUtf8(bytes, wide, true);
  return OdString(std::move(wide));
}

[[noreturn]] void fail(OdString message, const Context& context, const OdString& key) {
  if (!context.context.isEmpty()) message += OdString().format(L"\nContext:\t%ls ", context.context.c_str());
  if (!key.isEmpty()) message += OdString().format(L"\njson key:\t\"%ls\"", key.c_str());
  throw JsonParseError(message);
}

}  // namespace

Value_type valueType(const JsonValue& value) {
  using Kind = JsonValue::value_t;
  switch (value.type()) {
    case Kind::object:
      return obj_type;
    case Kind::array:
      return array_type;
    case Kind::string:
      return str_type;
    case Kind::boolean:
      return bool_type;
    case Kind::number_integer:
    case Kind::number_unsigned:
      return int_type;
    case Kind::number_float:
      return real_type;
    case Kind::null:
      return null_type;
    default:
      return static_cast<Value_type>(null_type + 1);
  }
}

bool isType(const JsonValue& value, Value_type kind) { return valueType(value) == kind; }

OdString toString(Value_type kind) {
  static const wchar_t* const kNames[] = {L"object", L"array", L"string", L"bool", L"int", L"real", L"null"};
  return kind >= obj_type && kind <= null_type ? kNames[kind] : L"unknown_type";
}

void checkType(const JsonValue& value, Value_type expected, const Context& context, const OdString& key) {
  const Value_type found = valueType(value);
  if (found == expected) return;
  fail(OdString().format(L"Error:\tExpected json type '%ls', found '%ls'", toString(expected).c_str(),
                         toString(found).c_str()),
       context, key);
}

const JsonValue& getValue(const JsonObject& object, const OdString& key, const Context& context) {
  if (const JsonValue* value = findMember(object, key)) return *value;
  fail(OdString().format(L"Unable to find json key '%ls'", key.c_str()), context, key);
}

const JsonObject& getObjectValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<obj_type>(object, key, context).get_ref<const JsonObject&>();
}

const JsonArray& getArrayValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<array_type>(object, key, context).get_ref<const JsonArray&>();
}

OdString getStringValue(const JsonObject& object, const OdString& key, const Context& context) {
  return fromUtf8(getOfKind<str_type>(object, key, context).get_ref<const std::string&>());
}

int getIntValue(const JsonObject& object, const OdString& key, const Context& context) {
  return static_cast<int>(getInt64Value(object, key, context));
}

int64_t getInt64Value(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<int_type>(object, key, context).get<int64_t>();
}

bool getBoolValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<bool_type>(object, key, context).get<bool>();
}

double getDoubleValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<real_type>(object, key, context).get<double>();
}

std::optional<JsonValue> tryGetValue(const JsonObject& object, const OdString& key) {
  if (const JsonValue* value = findMember(object, key)) return *value;
  return std::nullopt;
}

std::optional<bool> tryGetBoolValue(const JsonObject& object, const OdString& key) {
  if (const JsonValue* value = findOfKind<bool_type>(object, key)) return value->get<bool>();
  return std::nullopt;
}

std::optional<int> tryGetIntValue(const JsonObject& object, const OdString& key) {
  if (const std::optional<int64_t> value = tryGetNumber<int64_t>(object, key))
    return static_cast<int>(*value);
  return std::nullopt;
}

std::optional<int64_t> tryGetInt64Value(const JsonObject& object, const OdString& key) {
  return tryGetNumber<int64_t>(object, key);
}

std::optional<uint64_t> tryGetUInt64Value(const JsonObject& object, const OdString& key) {
  return tryGetNumber<uint64_t>(object, key);
}

std::optional<double> tryGetDoubleValue(const JsonObject& object, const OdString& key) {
  return tryGetNumber<double>(object, key);
}

std::optional<OdString> tryGetStringValue(const JsonObject& object, const OdString& key) {
  if (const JsonValue* value = findOfKind<str_type>(object, key))
    return fromUtf8(value->get_ref<const std::string&>());
  return std::nullopt;
}

const JsonObject* tryGetObjectValue(const JsonObject& object, const OdString& key) {
  return tryGetContainer<obj_type, const JsonObject>(object, key);
}

JsonObject* tryGetObjectValue(JsonObject& object, const OdString& key) {
  return tryGetContainer<obj_type, JsonObject>(object, key);
}

const JsonArray* tryGetArrayValue(const JsonObject& object, const OdString& key) {
  return tryGetContainer<array_type, const JsonArray>(object, key);
}

JsonArray* tryGetArrayValue(JsonObject& object, const OdString& key) {
  return tryGetContainer<array_type, JsonArray>(object, key);
}

}  // namespace ut
