// Arbitrary bytes parsed as JSON and every member of every object read through every accessor: the
// non-throwing accessors agree with the throwing ones (present exactly when the other does not throw,
// with the same value), and a missing key throws from the one and is absent from the other. Names near
// each key, its bytes read as characters among them, are found exactly when the map holds their UTF-8,
// whether given as an OdString or as a C string.

#include "OdAnsiString.h"
#include "OdUnicode.h"
#include "ut_json.h"

#include <cstdlib>
#include <functional>
#include <optional>

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

template <class T>
void agree(const std::optional<T>& tried, const std::function<T()>& get) {
  try {
    const T got = get();
    require(tried && (*tried == got || got != got));  // NaN is never equal to itself
  } catch (const ut::JsonParseError&) {
    require(!tried);
  }
}

void readMember(ut::JsonObject& object, const OdString& key) {
  const ut::Context context{L"fuzz"};
  agree<bool>(ut::tryGetBoolValue(object, key), [&] { return ut::getBoolValue(object, key, context); });
  agree<int>(ut::tryGetIntValue(object, key), [&] { return ut::getIntValue(object, key, context); });
  agree<int64_t>(ut::tryGetInt64Value(object, key), [&] { return ut::getInt64Value(object, key, context); });
  agree<double>(ut::tryGetDoubleValue(object, key), [&] { return ut::getDoubleValue(object, key, context); });
  agree<OdString>(ut::tryGetStringValue(object, key),
                  [&] { return ut::getStringValue(object, key, context); });
  const ut::JsonObject& constant = object;
  require((ut::tryGetObjectValue(object, key) != nullptr) ==
          (ut::tryGetObjectValue(constant, key) != nullptr));
  require((ut::tryGetArrayValue(object, key) != nullptr) == (ut::tryGetArrayValue(constant, key) != nullptr));
  const std::optional<ut::JsonValue> value = ut::tryGetValue(object, key);
  require(ut::tryGetUInt64Value(object, key).has_value() == (value && ut::isType(*value, ut::int_type)));
  if (value) require(!ut::toString(ut::valueType(*value)).isEmpty());
}

void findsExactly(const ut::JsonObject& object, const std::wstring& name) {
  std::string bytes;
  const bool unicode = od_unicode::encodeUtf8(name, bytes);
  const auto it = unicode ? object.find(bytes) : object.end();
  const std::optional<ut::JsonValue> found = ut::tryGetValue(object, name);
  require(found.has_value() == (it != object.end()));
  if (found) require(*found == it->second);
  // Given as a C string, the same name is found alike.
  if (name.find(L'\0') == std::wstring::npos) require(ut::tryGetValue(object, name.c_str()) == found);
}

void findsNear(const ut::JsonObject& object, const std::string& key) {
  const std::wstring name = OdString(OdAnsiString(key)).str();
  findsExactly(object, name);
  if (!name.empty()) findsExactly(object, name.substr(0, name.size() - 1));
  findsExactly(object, name + L"\u00e9");
  const auto* const bytes = reinterpret_cast<const unsigned char*>(key.data());
  findsExactly(object, std::wstring(bytes, bytes + key.size()));
}

void readAll(ut::JsonValue& value, int depth) {
  if (depth > 64) return;
  if (value.is_array())
    for (ut::JsonValue& element : value) readAll(element, depth + 1);
  if (!value.is_object()) return;
  ut::JsonObject& object = value.get_ref<ut::JsonObject&>();
  readMember(object, L"surely not a key");
  for (auto& [key, member] : object) {
    readMember(object, OdString(OdAnsiString(key)));
    findsNear(object, key);
    readAll(member, depth + 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ut::JsonValue value = ut::JsonValue::parse(data, data + size, nullptr, false);
  readAll(value, 0);
  return 0;
}
