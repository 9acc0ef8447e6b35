// Registration files: exporting keys and configuration groups to them, importing them.

#include "ut_registry.h"

#include "config/ut_config_names.h"
#include "config/ut_registry_p.h"
#include "core/ut_assert_p.h"
#include "core/ut_number_text.h"
#include "core/ut_utf16.h"
#include "core/ut_wx.h"
#include "platform/registry.h"
#include "ut_file.h"

#include <map>
#include <optional>

namespace ut {

namespace {

using platform::RegistryKey;
using platform::RegistryValue;

namespace regfile = internal::regfile;

constexpr const char* kExportKey = "ut::Registry::exportKey";
constexpr const char* kImportKey = "ut::Registry::importKey";

using internal::report;

std::string narrow(const OdString& text) { return std::string(internal::toWx(text).utf8_str()); }

void addKeyTree(regfile::Writer& writer, const std::wstring& fullPath, RegistryKey& key) {
  writer.addKey(fullPath);
  for (const RegistryValue& value : key.values()) writer.addValue({value.name, value.type, value.data});
  for (const std::wstring& name : key.subKeyNames()) {
    std::string ignored;
    if (const auto sub = key.openSubKey(name, false, false, ignored))
      addKeyTree(writer, fullPath + L"\\" + name, *sub);
  }
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
      return text(internal::gText(real));
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
      report(kImportKey, m_firstFailure);
    }
    if (m_failedValues > 0) {
      ok = report(kImportKey, "Failed to write " + std::to_string(m_failedValues) + " registry values");
    }
    return ok;
  }

 private:
  void begin(ERootKey root) {
    auto& transaction = m_transactions[root];
    if (!transaction)
      transaction = std::make_unique<platform::RegistryTransaction>(internal::platformRoot(root));
  }

  void select(const std::wstring& fullPath) {
    m_key.reset();
    const auto rooted = regfile::splitRoot(fullPath);
    if (!rooted) return failKey(fullPath, "no such root key");
    begin(rooted->root);
    const std::wstring path(rooted->path);
    if (m_replaceKeys && !path.empty()) Registry::deleteKey(rooted->root, path);
    std::string error;
    m_key = platform::openRegistryKey(internal::platformRoot(rooted->root), path, true, true, error);
    if (!m_key) failKey(fullPath, error.empty() ? "the registry hive cannot be written" : error);
  }

  // Counts a key that cannot be created; the first is named in the report.
  void failKey(const std::wstring& fullPath, const std::string& why) {
    if (m_failedKeys++ == 0) {
      m_firstFailure =
          "Cannot create registry key " + std::string(wxString(fullPath).utf8_str()) + ": " + why;
    }
  }

  void setValue(const regfile::Value& value) {
    std::string error;
    if (m_key && !m_key->writeValue(value.name, value.type, value.data, error)) ++m_failedValues;
  }

  bool m_replaceKeys;
  std::map<ERootKey, std::unique_ptr<platform::RegistryTransaction>> m_transactions;
  std::unique_ptr<RegistryKey> m_key;
  int m_failedKeys = 0;
  std::string m_firstFailure;
  int m_failedValues = 0;
};

}  // namespace

bool regfile::writeFile(const char* operation, const OdString& file, const std::string& bytes) {
  const bool existed = accessFile(file, eAccessExists);
  File out;
  if (!out.open(file, File::eWrite)) {
    return report(operation, (existed ? "Failed to open file " : "Failed to create file ") + narrow(file));
  }
  return (out.write(bytes) && out.close()) || report(operation, "Failed to write to file " + narrow(file));
}

bool Registry::exportKey(const OdString& key, const OdString& file, bool exactTypes) {
  if (key.isEmpty() || file.isEmpty()) return report(kExportKey, "Bad arguments");
  const auto rooted = regfile::splitRoot(key.view());
  if (!rooted) return report(kExportKey, "Bad root");
  std::string ignored;
  const std::wstring path(rooted->path);
  const auto opened =
      platform::openRegistryKey(internal::platformRoot(rooted->root), path, false, false, ignored);
  if (!opened) return report(kExportKey, "Failed to open registry key");
  regfile::Writer writer(exactTypes);
  const std::wstring rootName(regfile::rootName(rooted->root));
  addKeyTree(writer, path.empty() ? rootName : rootName + L"\\" + path, *opened);
  return regfile::writeFile(kExportKey, file, writer.bytes());
}

bool Registry::importKey(const OdString& file, bool replaceKeys) {
  if (file.isEmpty()) return report(kImportKey, "Bad arguments");
  std::string bytes;
  if (!readEntireFile(file, bytes)) return report(kImportKey, "File not found");
  const regfile::ReadResult result = regfile::read(bytes);
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
  const wxString absolute = L"/" + internal::toWx(group);
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
  return regfile::writeFile(kExportGroup, file, writer.bytes());
}

}  // namespace ut
