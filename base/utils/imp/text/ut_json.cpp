#include "ut_json.h"

#include "core/ut_utf8.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <type_traits>

namespace ut {

namespace {

// A member's name, for std::map's transparent lookup among the UTF-8 keys. It is compared as it stands,
// wide, character against byte: member names are nearly always ASCII and short, so a lookup neither
// encodes the name nor calls memcmp. A character and a byte compare by value when either is ASCII, as
// UTF-8 keeps code point order and puts every non-ASCII byte above the ASCII ones; when both are not, the
// name is encoded and compared as bytes. Most steps down the tree are settled by the first character, so
// that one is compared in line. The name remembers the key it last found equal, so that the lookup's
// closing check need not compare that key again.
//
// The characters end at the name's size when it comes as an OdString, which may hold null characters,
// and at the first null character when it comes as a C string (`kTerminated`): the comparison finds that
// end where it reaches it, so a literal's length is never counted.
template <bool kTerminated>
class MemberName {
 public:
  MemberName(const wchar_t* chars, size_t size)
      : m_chars(chars), m_size(size), m_first(static_cast<uint32_t>(chars[0])) {}

  std::wstring_view view() const { return kTerminated ? m_chars : std::wstring_view(m_chars, m_size); }

  // `it` when it is at the name's key, else `end`. A name with a lone surrogate is no key's.
  template <class Iterator>
  Iterator match(Iterator it, Iterator end) const {
    if (it == end || (&it->first != m_equal && compare(it->first) != 0)) return end;
    return m_valid ? it : end;
  }

  // All that lower_bound asks.
  friend bool operator<(const std::string& key, const MemberName& name) { return name.compare(key) > 0; }

 private:
  // A key's bytes end in a null byte, as a name's characters do: the first of each is there even when
  // it is empty, and orders it first.
  int compare(const std::string& key) const {
    const auto byte = static_cast<unsigned char>(key.data()[0]);
    if (m_first == byte && byte < 0x80) return compareEqualFirst(key);
    if (m_first < 0x80 || byte < 0x80) return m_first < byte ? -1 : 1;
    return compareEncoded(key);
  }

  bool endsAt(size_t i) const { return kTerminated ? m_chars[i] == L'\0' : i == m_size; }

  // Out of line, as is the encoding, so that the first character's test is what the tree walk inlines.
  [[gnu::noinline]] int compareEqualFirst(const std::string& key) const {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(key.data());
    uint32_t seen = 0;
    // Past the first characters, which are equal, unless they are null ones and may be where both end.
    size_t i = m_first == 0 ? 0 : 1;
    if constexpr (kTerminated) {
      // The key's bytes end in a null byte too, which stops the scan at the key's end.
      for (; static_cast<uint32_t>(m_chars[i]) == bytes[i] && bytes[i] != 0; ++i) seen |= bytes[i];
    } else {
      const size_t common = std::min(m_size, key.size());
      for (; i < common && static_cast<uint32_t>(m_chars[i]) == bytes[i]; ++i) seen |= bytes[i];
    }
    const bool nameEnds = endsAt(i), keyEnds = i == key.size();
    const bool bothNonAscii =
        !nameEnds && !keyEnds && static_cast<uint32_t>(m_chars[i]) >= 0x80 && bytes[i] >= 0x80;
    if (seen >= 0x80 || bothNonAscii) return compareEncoded(key);
    if (!nameEnds && !keyEnds) return static_cast<uint32_t>(m_chars[i]) < bytes[i] ? -1 : 1;
    if (nameEnds != keyEnds) return nameEnds ? -1 : 1;
    m_equal = &key;
    return 0;
  }

  // Encoded afresh each time: few names need it, and a lookup needs it only a few times.
  [[gnu::noinline]] int compareEncoded(const std::string& key) const {
    std::string encoded;
    if (!internal::encodeUtf8(view(), encoded)) {
      m_valid = false;
      internal::encodeUtf8Lenient(view(), encoded.erase());
    }
    const int order = std::string_view(encoded).compare(key);
    if (order == 0) m_equal = &key;
    return order;
  }

  const wchar_t* m_chars;
  size_t m_size;
  uint32_t m_first;
  mutable const std::string* m_equal = nullptr;
  mutable bool m_valid = true;
};

MemberName<false> memberName(const OdString& key) { return {key.c_str(), key.str().size()}; }
MemberName<true> memberName(const wchar_t* key) { return {key ? key : L"", 0}; }

// The member `key` of `object`, or null.
template <class Object, class Key>
auto* findMember(Object& object, const Key& key) {
  const auto name = memberName(key);
  const auto it = name.match(object.lower_bound(name), object.end());
  return it == object.end() ? nullptr : &it->second;
}

// The member `key` when it is of `kind`, else null.
template <Value_type kind, class Object, class Key>
auto* findOfKind(Object& object, const Key& key) {
  auto* value = findMember(object, key);
  return value && valueType(*value) == kind ? value : nullptr;
}

// The member `key` as a `Container` (an object or array, const or not) when it is of `kind`, else null.
template <Value_type kind, class Container, class Object, class Key>
Container* tryGetContainer(Object& object, const Key& key) {
  auto* value = findOfKind<kind>(object, key);
  return value ? value->template get_ptr<Container*>() : nullptr;
}

template <class T, class Key>
std::optional<T> tryGetNumber(const JsonObject& object, const Key& key) {
  constexpr Value_type kind = std::is_floating_point_v<T> ? real_type : int_type;
  if (const JsonValue* value = findOfKind<kind>(object, key)) return value->get<T>();
  return std::nullopt;
}

// Values are mostly ASCII, which is widened in one pass; the decoder's general path costs more.
OdString fromUtf8(const std::string& bytes) {
  std::wstring wide(bytes.size(), L'\0');
  const auto* const in = reinterpret_cast<const unsigned char*>(bytes.data());
  wchar_t* const out = wide.data();
  unsigned char seen = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    seen |= in[i];
    out[i] = in[i];
  }
  if (seen >= 0x80) (void)internal::decodeUtf8(bytes, wide.erase(), true);
  return OdString(std::move(wide));
}

[[noreturn]] void fail(OdString message, const Context& context, std::wstring_view key) {
  if (!context.context.isEmpty()) message += OdString().format(L"\nContext:\t%ls ", context.context.c_str());
  if (!key.empty()) message += OdString().format(L"\njson key:\t\"%ls\"", OdString(key).c_str());
  throw JsonParseError(message);
}

[[noreturn]] void failMissing(const Context& context, std::wstring_view key) {
  fail(OdString().format(L"Unable to find json key '%ls'", OdString(key).c_str()), context, key);
}

[[noreturn]] void failKind(Value_type expected, Value_type found, const Context& context,
                           std::wstring_view key) {
  fail(OdString().format(L"Error:\tExpected json type '%ls', found '%ls'", toString(expected).c_str(),
                         toString(found).c_str()),
       context, key);
}

// The lookup and the kind check in line, the messages out of line: this is the path every read takes.
template <Value_type kind, class Key>
const JsonValue& getOfKind(const JsonObject& object, const Key& key, const Context& context) {
  const JsonValue* value = findMember(object, key);
  if (!value) failMissing(context, memberName(key).view());
  if (const Value_type found = valueType(*value); found != kind)
    failKind(kind, found, context, memberName(key).view());
  return *value;
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
  if (const Value_type found = valueType(value); found != expected)
    failKind(expected, found, context, key.view());
}

// Each accessor in two overloads, which differ only in how the key comes: as an OdString, or as a C string
// (a literal), which is read in place.
const JsonValue& getValue(const JsonObject& object, const OdString& key, const Context& context) {
  if (const JsonValue* value = findMember(object, key)) return *value;
  failMissing(context, memberName(key).view());
}

const JsonValue& getValue(const JsonObject& object, const wchar_t* key, const Context& context) {
  if (const JsonValue* value = findMember(object, key)) return *value;
  failMissing(context, memberName(key).view());
}

const JsonObject& getObjectValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<obj_type>(object, key, context).get_ref<const JsonObject&>();
}

const JsonObject& getObjectValue(const JsonObject& object, const wchar_t* key, const Context& context) {
  return getOfKind<obj_type>(object, key, context).get_ref<const JsonObject&>();
}

const JsonArray& getArrayValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<array_type>(object, key, context).get_ref<const JsonArray&>();
}

const JsonArray& getArrayValue(const JsonObject& object, const wchar_t* key, const Context& context) {
  return getOfKind<array_type>(object, key, context).get_ref<const JsonArray&>();
}

OdString getStringValue(const JsonObject& object, const OdString& key, const Context& context) {
  return fromUtf8(getOfKind<str_type>(object, key, context).get_ref<const std::string&>());
}

OdString getStringValue(const JsonObject& object, const wchar_t* key, const Context& context) {
  return fromUtf8(getOfKind<str_type>(object, key, context).get_ref<const std::string&>());
}

int getIntValue(const JsonObject& object, const OdString& key, const Context& context) {
  return static_cast<int>(getInt64Value(object, key, context));
}

int getIntValue(const JsonObject& object, const wchar_t* key, const Context& context) {
  return static_cast<int>(getInt64Value(object, key, context));
}

int64_t getInt64Value(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<int_type>(object, key, context).get<int64_t>();
}

int64_t getInt64Value(const JsonObject& object, const wchar_t* key, const Context& context) {
  return getOfKind<int_type>(object, key, context).get<int64_t>();
}

bool getBoolValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<bool_type>(object, key, context).get<bool>();
}

bool getBoolValue(const JsonObject& object, const wchar_t* key, const Context& context) {
  return getOfKind<bool_type>(object, key, context).get<bool>();
}

double getDoubleValue(const JsonObject& object, const OdString& key, const Context& context) {
  return getOfKind<real_type>(object, key, context).get<double>();
}

double getDoubleValue(const JsonObject& object, const wchar_t* key, const Context& context) {
  return getOfKind<real_type>(object, key, context).get<double>();
}

std::optional<JsonValue> tryGetValue(const JsonObject& object, const OdString& key) {
  if (const JsonValue* value = findMember(object, key)) return *value;
  return std::nullopt;
}

std::optional<JsonValue> tryGetValue(const JsonObject& object, const wchar_t* key) {
  if (const JsonValue* value = findMember(object, key)) return *value;
  return std::nullopt;
}

std::optional<bool> tryGetBoolValue(const JsonObject& object, const OdString& key) {
  if (const JsonValue* value = findOfKind<bool_type>(object, key)) return value->get<bool>();
  return std::nullopt;
}

std::optional<bool> tryGetBoolValue(const JsonObject& object, const wchar_t* key) {
  if (const JsonValue* value = findOfKind<bool_type>(object, key)) return value->get<bool>();
  return std::nullopt;
}

std::optional<int> tryGetIntValue(const JsonObject& object, const OdString& key) {
  if (const std::optional<int64_t> value = tryGetNumber<int64_t>(object, key))
    return static_cast<int>(*value);
  return std::nullopt;
}

std::optional<int> tryGetIntValue(const JsonObject& object, const wchar_t* key) {
  if (const std::optional<int64_t> value = tryGetNumber<int64_t>(object, key))
    return static_cast<int>(*value);
  return std::nullopt;
}

std::optional<int64_t> tryGetInt64Value(const JsonObject& object, const OdString& key) {
  return tryGetNumber<int64_t>(object, key);
}

std::optional<int64_t> tryGetInt64Value(const JsonObject& object, const wchar_t* key) {
  return tryGetNumber<int64_t>(object, key);
}

std::optional<uint64_t> tryGetUInt64Value(const JsonObject& object, const OdString& key) {
  return tryGetNumber<uint64_t>(object, key);
}

std::optional<uint64_t> tryGetUInt64Value(const JsonObject& object, const wchar_t* key) {
  return tryGetNumber<uint64_t>(object, key);
}

std::optional<double> tryGetDoubleValue(const JsonObject& object, const OdString& key) {
  return tryGetNumber<double>(object, key);
}

std::optional<double> tryGetDoubleValue(const JsonObject& object, const wchar_t* key) {
  return tryGetNumber<double>(object, key);
}

std::optional<OdString> tryGetStringValue(const JsonObject& object, const OdString& key) {
  if (const JsonValue* value = findOfKind<str_type>(object, key))
    return fromUtf8(value->get_ref<const std::string&>());
  return std::nullopt;
}

std::optional<OdString> tryGetStringValue(const JsonObject& object, const wchar_t* key) {
  if (const JsonValue* value = findOfKind<str_type>(object, key))
    return fromUtf8(value->get_ref<const std::string&>());
  return std::nullopt;
}

const JsonObject* tryGetObjectValue(const JsonObject& object, const OdString& key) {
  return tryGetContainer<obj_type, const JsonObject>(object, key);
}

const JsonObject* tryGetObjectValue(const JsonObject& object, const wchar_t* key) {
  return tryGetContainer<obj_type, const JsonObject>(object, key);
}

JsonObject* tryGetObjectValue(JsonObject& object, const OdString& key) {
  return tryGetContainer<obj_type, JsonObject>(object, key);
}

JsonObject* tryGetObjectValue(JsonObject& object, const wchar_t* key) {
  return tryGetContainer<obj_type, JsonObject>(object, key);
}

const JsonArray* tryGetArrayValue(const JsonObject& object, const OdString& key) {
  return tryGetContainer<array_type, const JsonArray>(object, key);
}

const JsonArray* tryGetArrayValue(const JsonObject& object, const wchar_t* key) {
  return tryGetContainer<array_type, const JsonArray>(object, key);
}

JsonArray* tryGetArrayValue(JsonObject& object, const OdString& key) {
  return tryGetContainer<array_type, JsonArray>(object, key);
}

JsonArray* tryGetArrayValue(JsonObject& object, const wchar_t* key) {
  return tryGetContainer<array_type, JsonArray>(object, key);
}

}  // namespace ut
