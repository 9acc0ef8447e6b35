#include "ut_registry.h"

#include "registry_platform.h"
#include "ut_assert.h"
#include "ut_config_names.h"
#include "ut_regfile.h"
#include "ut_registry_values.h"
#include "ut_utf16.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

namespace ut {

namespace {

using platform::RegistryKey;
using platform::RegistryValue;

// Opens a key for a static operation; a refusal with a reason is reported under `operation`.
std::unique_ptr<RegistryKey> openKey(const char* operation, ERootKey root, const OdString& path, bool write,
                                     bool create) {
  std::string error;
  auto key = platform::openRegistryKey(root, path.view(), write, create, error);
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

KeySnapshot snapshot(ERootKey root, const std::wstring& path, bool recursive) {
  std::string ignored;
  KeySnapshot result;
  const auto key = platform::openRegistryKey(root, path, false, false, ignored);
  if (!key) return result;
  result.values = key->values();
  if (!recursive) return result;
  for (std::wstring& name : key->subKeyNames()) {
    KeySnapshot sub = snapshot(root, path + L"\\" + name, true);
    result.subKeys.push_back({std::move(name), std::move(sub)});
  }
  return result;
}

bool restore(ERootKey root, const std::wstring& path, const KeySnapshot& tree) {
  std::string error;
  const auto key = platform::openRegistryKey(root, path, true, true, error);
  bool ok = key != nullptr;
  for (const RegistryValue& value : tree.values)
    ok = key && key->writeValue(value.name, value.type, value.data, error) && ok;
  for (const NamedSnapshot& sub : tree.subKeys) ok = restore(root, path + L"\\" + sub.name, sub.tree) && ok;
  if (!error.empty()) callAssert("ut::Registry::copyKey", error.c_str(), __FILE__, __LINE__);
  return ok;
}

// --- Registration files ---

namespace regfile = internal::regfile;

constexpr const char* kExportKey = "ut::Registry::exportKey";
constexpr const char* kImportKey = "ut::Registry::importKey";

bool report(const char* operation, const std::string& message) {
  callAssert(operation, message.c_str(), __FILE__, __LINE__);
  return false;
}

std::string narrow(const OdString& text) { return std::string(wxString(text.c_str()).utf8_str()); }

void addKeyTree(regfile::Writer& writer, const std::wstring& fullPath, const RegistryKey& key, ERootKey root,
                const std::wstring& path) {
  writer.addKey(fullPath);
  for (const RegistryValue& value : key.values()) writer.addValue({value.name, value.type, value.data});
  for (const std::wstring& name : key.subKeyNames()) {
    std::string ignored;
    const std::wstring subPath = path.empty() ? name : path + L"\\" + name;
    if (const auto sub = platform::openRegistryKey(root, subPath, false, false, ignored)) {
      addKeyTree(writer, fullPath + L"\\" + name, *sub, root, subPath);
    }
  }
}

bool writeFile(const char* operation, const OdString& file, const std::string& bytes) {
  std::ofstream out(narrow(file), std::ios::binary | std::ios::trunc);
  if (!out) return report(operation, "Failed to create file " + narrow(file));
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return out || report(operation, "Failed to write to file " + narrow(file));
}

// --- Configuration groups ---

regfile::Value configValue(const wxConfigBase& config, const wxString& name) {
  const auto text = [&](const wxString& value) {
    return regfile::Value{name.ToStdWstring(), eRegString, internal::stringValueBytes(value.ToStdWstring())};
  };
  long number = 0;
  double real = 0;
  const wxConfigBase::EntryType type = config.GetEntryType(name);
  switch (type) {
    case wxConfigBase::Type_String:
      return text(config.Read(name, wxString()));
    case wxConfigBase::Type_Boolean:
    case wxConfigBase::Type_Integer:
      config.Read(name, &number);
      return {name.ToStdWstring(), eRegDword, internal::dwordBytes(static_cast<uint32_t>(number))};
    case wxConfigBase::Type_Float:
      config.Read(name, &real);
      return text(wxString::Format(L"%g", real));
    default:
      return text(wxString::Format(L"{{Unknown type: %d}}", static_cast<int>(type)));
  }
}

// The group the configuration object stands at: its entries, then each sub-group in the same way.
void addConfigGroup(regfile::Writer& writer, wxConfigBase& config, const std::wstring& key) {
  writer.addKey(key);
  for (const wxString& name : internal::configNames(config, false))
    writer.addValue(configValue(config, name));
  for (const wxString& name : internal::configNames(config, true)) {
    config.SetPath(name);
    addConfigGroup(writer, config, key + L"\\" + name.ToStdWstring());
    config.SetPath(L"..");
  }
}

// Applies the operations of a registration file, one transaction per hive it touches.
class Importer {
 public:
  explicit Importer(bool replaceKeys) : m_replaceKeys(replaceKeys) {}

  void apply(const regfile::Operation& operation) {
    switch (operation.kind) {
      case regfile::Operation::eSelectKey:
        select(operation.key);
        break;
      case regfile::Operation::eDeleteKey:
        if (const auto rooted = regfile::splitRoot(operation.key)) {
          begin(rooted->root);
          Registry::deleteKey(rooted->root, std::wstring(rooted->path));
        }
        m_key.reset();
        break;
      case regfile::Operation::eSetValue:
        setValue(operation.value);
        break;
      case regfile::Operation::eDeleteValue:
        if (m_key) m_key->deleteValue(operation.value.name);
        break;
    }
  }

  // Commits every hive's transaction; true when nothing failed, else reported.
  bool finish() {
    bool committed = true;
    for (auto& [root, transaction] : m_transactions) committed = transaction->commit() && committed;
    bool ok = committed || report(kImportKey, "Failed to commit the import");
    if (m_failedKeys > 0) {
      ok = report(kImportKey, "Failed to create " + std::to_string(m_failedKeys) + " registry keys");
    }
    if (m_failedValues > 0) {
      ok = report(kImportKey, "Failed to write " + std::to_string(m_failedValues) + " registry values");
    }
    return ok;
  }

 private:
  void begin(ERootKey root) {
    auto& transaction = m_transactions[root];
    if (!transaction) transaction = std::make_unique<platform::RegistryTransaction>(root);
  }

  void select(const std::wstring& fullPath) {
    m_key.reset();
    const auto rooted = regfile::splitRoot(fullPath);
    if (!rooted) {
      ++m_failedKeys;
      return;
    }
    begin(rooted->root);
    const std::wstring path(rooted->path);
    if (m_replaceKeys && !path.empty()) Registry::deleteKey(rooted->root, path);
    std::string error;
    m_key = platform::openRegistryKey(rooted->root, path, true, true, error);
    if (!m_key) ++m_failedKeys;
  }

  void setValue(const regfile::Value& value) {
    std::string error;
    if (m_key && !m_key->writeValue(value.name, value.type, value.data, error)) ++m_failedValues;
  }

  bool m_replaceKeys;
  std::map<ERootKey, std::unique_ptr<platform::RegistryTransaction>> m_transactions;
  std::unique_ptr<RegistryKey> m_key;
  int m_failedKeys = 0;
  int m_failedValues = 0;
};

std::optional<std::string> readFile(const OdString& file) {
  std::ifstream in(narrow(file), std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), {});
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
                       bool recursive) {
  if (!verifyKey(from, fromPath)) return false;
  const KeySnapshot tree = snapshot(from, fromPath.str(), recursive);
  platform::RegistryTransaction transaction(to);
  return transaction.active() && restore(to, toPath.str(), tree) && transaction.commit();
}

bool Registry::exportKey(const OdString& key, const OdString& file, bool exactTypes) {
  if (key.isEmpty() || file.isEmpty()) return report(kExportKey, "Bad arguments");
  const auto rooted = regfile::splitRoot(key.view());
  if (!rooted) return report(kExportKey, "Bad root");
  std::string ignored;
  const std::wstring path(rooted->path);
  const auto opened = platform::openRegistryKey(rooted->root, path, false, false, ignored);
  if (!opened) return report(kExportKey, "Failed to open registry key");
  regfile::Writer writer(exactTypes);
  const std::wstring rootName(regfile::rootName(rooted->root));
  addKeyTree(writer, path.empty() ? rootName : rootName + L"\\" + path, *opened, rooted->root, path);
  return writeFile(kExportKey, file, writer.bytes());
}

bool Registry::importKey(const OdString& file, bool replaceKeys) {
  if (file.isEmpty()) return report(kImportKey, "Bad arguments");
  const std::optional<std::string> bytes = readFile(file);
  if (!bytes) return report(kImportKey, "File not found");
  const regfile::ReadResult result = regfile::read(*bytes);
  if (!result.isRegistrationFile) return report(kImportKey, "Not a registration file: " + narrow(file));
  Importer importer(replaceKeys);
  for (const regfile::Operation& operation : result.operations) importer.apply(operation);
  bool ok = importer.finish();
  if (result.malformedCount > 0) {
    ok = report(kImportKey, "Skipped " + std::to_string(result.malformedCount) +
                                " malformed lines, the first at line " +
                                std::to_string(result.firstMalformedLine));
  }
  return ok;
}

bool exportGroup(wxConfigBase& config, const OdString& rootPath, const OdString& groupPath,
                 const OdString& file) {
  constexpr const char* kExportGroup = "ut::exportGroup";
  if (rootPath.isEmpty() || file.isEmpty()) return report(kExportGroup, "Bad arguments");
  OdString group = groupPath;
  if (group.isEmpty() || group.find(L'\\') >= 0 || group.trimRight(L'/').trimLeft(L'/').isEmpty()) {
    return report(kExportGroup, "Bad group path: " + narrow(groupPath));
  }
  const wxString absolute = L"/" + wxString(group.c_str());
  if (!config.HasGroup(absolute)) return report(kExportGroup, "Config group not found: " + narrow(groupPath));
  const wxString previousPath = config.GetPath();
  const bool expanding = config.IsExpandingEnvVars();
  config.SetPath(absolute);
  config.SetExpandEnvVars(false);  // the file carries values as stored, "$HOME" included
  regfile::Writer writer(false);
  group.replace(L'/', L'\\');
  addConfigGroup(writer, config, L"HKEY_CURRENT_USER\\" + rootPath.str() + L"\\" + group.str());
  config.SetExpandEnvVars(expanding);
  config.SetPath(previousPath);
  return writeFile(kExportGroup, file, writer.bytes());
}

}  // namespace ut
