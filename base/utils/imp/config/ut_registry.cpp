#include "ut_registry.h"

#include "config/ut_registry_p.h"
#include "core/ut_utf16.h"
#include "platform/registry.h"
#include "ut_assert.h"

#include <climits>
#include <cstdint>
#include <optional>

namespace ut {

namespace {

using platform::RegistryKey;
using platform::RegistryValue;

// Opens a key for a static operation; a refusal with a reason is reported under `operation`.
std::unique_ptr<RegistryKey> openKey(const char* operation, ERootKey root, const OdString& path, bool write,
                                     bool create) {
  std::string error;
  auto key = platform::openRegistryKey(internal::platformRoot(root), path.view(), write, create, error);
  if (!key && !error.empty()) callAssert(operation, error.c_str(), __FILE__, __LINE__);
  return key;
}

OdString hexBytes(const std::string& data) {
  static const wchar_t kDigits[] = L"0123456789abcdef";
  std::wstring text;
  for (unsigned char byte : data) {
    if (!text.empty()) text += L' ';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return OdString(std::move(text));
}

// The text verifyData shows for a value: strings as they are, dwords in decimal, the rest in hex bytes.
OdString dataText(const RegistryValue& value) {
  if (internal::isStringValue(value)) return OdString(internal::stringFromValueBytes(value.data));
  if (const auto number = internal::dwordValue(value)) return OdString(std::to_wstring(*number));
  return hexBytes(value.data);
}

// A key and everything below it, read whole before anything is written: a copy into the key's own
// subtree then sees the tree as it was.
struct NamedSnapshot;

struct KeySnapshot {
  std::vector<RegistryValue> values;
  std::vector<NamedSnapshot> subKeys;
};

struct NamedSnapshot {
  std::wstring name;
  KeySnapshot tree;
};

KeySnapshot snapshot(RegistryKey& key) {
  KeySnapshot result;
  result.values = key.values();
  for (std::wstring& name : key.subKeyNames()) {
    std::string ignored;
    if (const auto sub = key.openSubKey(name, false, false, ignored)) {
      result.subKeys.push_back({std::move(name), snapshot(*sub)});
    }
  }
  return result;
}

// Writes `tree` into `key`; every failure is reported, and the rest is written all the same.
bool restore(RegistryKey& key, const KeySnapshot& tree) {
  std::string error;
  bool ok = true;
  for (const RegistryValue& value : tree.values)
    ok = key.writeValue(value.name, value.type, value.data, error) && ok;
  for (const NamedSnapshot& sub : tree.subKeys) {
    const auto child = key.openSubKey(sub.name, true, true, error);
    ok = child && restore(*child, sub.tree) && ok;
  }
  if (!error.empty()) callAssert("ut::Registry::copyKey", error.c_str(), __FILE__, __LINE__);
  return ok;
}

}  // namespace

struct Registry::Impl {
  bool writable;
  std::unique_ptr<RegistryKey> key;

  std::optional<RegistryValue> value(const OdString& name) const {
    return key ? key->readValue(name.view()) : std::nullopt;
  }

  bool write(const OdString& name, ERegType type, std::string_view data) {
    if (!key) return false;
    std::string error;
    if (key->writeValue(name.view(), type, data, error)) return true;
    if (!error.empty()) callAssert("ut::Registry::write", error.c_str(), __FILE__, __LINE__);
    return false;
  }
};

Registry::Registry(bool writable) : m_impl(std::make_unique<Impl>(Impl{writable, nullptr})) {}

Registry::~Registry() = default;

bool Registry::create(ERootKey root, const OdString& path) {
  m_impl->key = openKey("ut::Registry::create", root, path, true, true);
  return m_impl->key != nullptr;
}

bool Registry::open(ERootKey root, const OdString& path, EAccessMode mode) {
  m_impl->key = openKey("ut::Registry::open", root, path, mode == eReadWrite, false);
  return m_impl->key != nullptr;
}

bool Registry::open(ERootKey root, const OdString& path) {
  return open(root, path, m_impl->writable ? eReadWrite : eRead);
}

bool Registry::close() {
  m_impl->key.reset();
  return true;
}

bool Registry::read(const OdString& name, long& value) const {
  const auto found = m_impl->value(name);
  const auto number = found ? internal::dwordValue(*found) : std::nullopt;
  if (number) value = *number;
  return number.has_value();
}

bool Registry::read(const OdString& name, OdString& value) const {
  const auto found = m_impl->value(name);
  if (!found || !internal::isStringValue(*found)) return false;
  value = OdString(internal::stringFromValueBytes(found->data));
  return true;
}

bool Registry::read(const OdString& name, wxMemoryBuffer& value) const {
  const auto found = m_impl->value(name);
  if (!found) return false;
  value.SetDataLen(0);
  value.AppendData(found->data.data(), found->data.size());
  return true;
}

bool Registry::write(const OdString& name, long value) {
  return internal::fitsDword(value) &&
         m_impl->write(name, eRegDword, internal::dwordBytes(static_cast<uint32_t>(value)));
}

bool Registry::write(const OdString& name, const OdString& value) {
  return m_impl->write(name, eRegString, internal::stringValueBytes(value.view()));
}

bool Registry::write(const OdString& name, const wxMemoryBuffer& value) {
  return m_impl->write(name, eRegBinary,
                       std::string_view(static_cast<const char*>(value.GetData()), value.GetDataLen()));
}

bool Registry::deleteValue(const OdString& name) {
  return m_impl->key && m_impl->key->deleteValue(name.view());
}

ERegType Registry::valueType(const OdString& name) const {
  const auto found = m_impl->value(name);
  return found ? static_cast<ERegType>(found->type) : eRegNone;
}

bool Registry::verifyKey(const OdString& name) const {
  return m_impl->key && m_impl->key->hasSubKey(name.view());
}

bool Registry::verifyValue(const OdString& name) const { return m_impl->value(name).has_value(); }

bool Registry::verifyData(const OdString& name, bool allowEmpty, OdString* text) const {
  const auto found = m_impl->value(name);
  if (!found) return false;
  const OdString shown = dataText(*found);
  if (text) *text = shown;
  return allowEmpty || !shown.isEmpty();
}

bool Registry::verifyValue(ERootKey root, const OdString& key, const OdString& value) {
  const auto opened = openKey("ut::Registry::verifyValue", root, key, false, false);
  return opened && opened->readValue(value.view()).has_value();
}

bool Registry::createKey(ERootKey root, const OdString& path, RegKey** key) {
  if (!openKey("ut::Registry::createKey", root, path, true, true)) return false;
  if (key) *key = new RegKey(root, path);
  return true;
}

bool Registry::verifyKey(ERootKey root, const OdString& path) {
  return openKey("ut::Registry::verifyKey", root, path, false, false) != nullptr;
}

bool Registry::listKeys(ERootKey root, const OdString& path, OdArray<OdString>& names) {
  const auto key = openKey("ut::Registry::listKeys", root, path, false, false);
  if (!key) return false;
  for (std::wstring& name : key->subKeyNames()) names.append(OdString(std::move(name)));
  return true;
}

bool Registry::listValues(ERootKey root, const OdString& path, OdArray<OdString>& names) {
  const auto key = openKey("ut::Registry::listValues", root, path, false, false);
  if (!key) return false;
  for (std::wstring& name : key->valueNames()) names.append(OdString(std::move(name)));
  return true;
}

bool Registry::deleteKey(ERootKey root, const OdString& path) {
  const int last = path.reverseFind(L'\\');
  const OdString parent = last < 0 ? OdString() : path.left(last);
  const OdString name = path.mid(last + 1);
  if (name.isEmpty()) return false;
  const auto key = openKey("ut::Registry::deleteKey", root, parent, true, false);
  return key && key->deleteSubKey(name.view());
}

bool Registry::copyKey(ERootKey from, ERootKey to, const OdString& fromPath, const OdString& toPath,
                       bool replace) {
  const auto source = openKey("ut::Registry::copyKey", from, fromPath, false, false);
  if (!source) return false;
  const KeySnapshot tree = snapshot(*source);
  platform::RegistryTransaction transaction(internal::platformRoot(to));
  if (replace && !toPath.isEmpty()) deleteKey(to, toPath);
  const auto target = openKey("ut::Registry::copyKey", to, toPath, true, true);
  return transaction.active() && target && restore(*target, tree) && transaction.commit();
}

}  // namespace ut
