#include "ut_registry_config.h"

#include "registry_platform.h"
#include "ut_registry_values.h"
#include "ut_utf16.h"

#include <wx/arrstr.h>

#include <climits>
#include <cstdint>
#include <vector>

namespace ut {

namespace {

using platform::RegistryKey;

// Where a configuration path leads: a key below the root (names joined by "\", empty for the root)
// and, for an entry, the value's name.
struct Location {
  std::wstring group;
  std::wstring name;
};

// Resolves `key` against the current path as wxWidgets does ("/" absolute, ".." one group up). With
// `isEntry`, the last name is the value's.
Location locate(const wxString& current, const wxString& key, bool isEntry) {
  wxArrayString parts;
  wxSplitPath(parts, key.StartsWith(wxCONFIG_PATH_SEPARATOR) ? key : current + wxCONFIG_PATH_SEPARATOR + key);
  Location location;
  if (isEntry && !parts.empty()) {
    location.name = parts.Last().ToStdWstring();
    parts.RemoveAt(parts.size() - 1);
  }
  for (const wxString& part : parts) {
    if (!location.group.empty()) location.group += L'\\';
    location.group += part.ToStdWstring();
  }
  return location;
}

}  // namespace

struct RegistryConfig::Impl {
  ERootKey root;
  OdString rootPath;
  std::vector<std::unique_ptr<platform::RegistryTransaction>> transactions;

  // The key last used, kept open: a load or save works through one key many times in a row.
  mutable std::wstring cachedGroup;
  mutable std::unique_ptr<RegistryKey> cachedKey;
  // The names an enumeration walks, fetched at its first step, with the group and kind they are of: an
  // enumeration of another group in between fetches them again.
  mutable std::vector<std::wstring> enumerated;
  mutable std::wstring enumeratedGroup;
  mutable bool enumeratedGroups = false;

  // Step `index` of the enumeration of the groups (or entries) of `group`.
  bool next(const std::wstring& group, bool groups, wxString& name, long& index) const {
    if (index == 0 || enumeratedGroup != group || enumeratedGroups != groups) {
      RegistryKey* k = key(group, false);
      enumerated = !k ? std::vector<std::wstring>() : groups ? k->subKeyNames() : k->valueNames();
      enumeratedGroup = group;
      enumeratedGroups = groups;
    }
    if (index < 0 || static_cast<size_t>(index) >= enumerated.size()) return false;
    name = enumerated[index++];
    return true;
  }

  std::wstring keyPath(const std::wstring& group) const {
    return group.empty() ? rootPath.str() : rootPath.str() + L"\\" + group;
  }

  // The key of `group`, created when `write` is asked for; null when it does not exist.
  RegistryKey* key(const std::wstring& group, bool write) const {
    if (cachedKey && cachedGroup == group && (cachedKey->writable() || !write)) return cachedKey.get();
    std::string error;
    cachedKey = platform::openRegistryKey(root, keyPath(group), write, write, error);
    cachedGroup = group;
    return cachedKey.get();
  }

  void forgetKey() const { cachedKey.reset(); }

  std::optional<platform::RegistryValue> value(const Location& at) const {
    RegistryKey* k = key(at.group, false);
    return k ? k->readValue(at.name) : std::nullopt;
  }

  bool write(const Location& at, ERegType type, std::string_view data) {
    RegistryKey* k = key(at.group, true);
    std::string error;
    return k && k->writeValue(at.name, type, data, error);
  }

  bool deleteKey(const std::wstring& group) {
    const size_t last = group.rfind(L'\\');
    const std::wstring parent = last == std::wstring::npos ? std::wstring() : group.substr(0, last);
    forgetKey();
    std::string error;
    const auto k = platform::openRegistryKey(root, keyPath(parent), true, false, error);
    return k && k->deleteSubKey(group.substr(last == std::wstring::npos ? 0 : last + 1));
  }

  size_t count(const std::wstring& group, bool groups, bool recursive) const;
};

size_t RegistryConfig::Impl::count(const std::wstring& group, bool groups, bool recursive) const {
  std::string error;
  const auto k = platform::openRegistryKey(root, keyPath(group), false, false, error);
  if (!k) return 0;
  const std::vector<std::wstring> subKeys = k->subKeyNames();
  size_t n = groups ? subKeys.size() : k->valueNames().size();
  if (recursive) {
    for (const std::wstring& sub : subKeys)
      n += count(group.empty() ? sub : group + L"\\" + sub, groups, true);
  }
  return n;
}

RegistryConfig::RegistryConfig(const wxString& appName, const wxString& vendorName)
    : RegistryConfig(eCurrentUser, OdString(L"Software\\") +
                                       (vendorName.empty() ? L"" : vendorName + L"\\").wc_str() +
                                       appName.wc_str()) {}

RegistryConfig::RegistryConfig(ERootKey root, const OdString& rootPath)
    : m_impl(std::make_unique<Impl>()), m_path(wxCONFIG_PATH_SEPARATOR) {
  m_impl->root = root;
  m_impl->rootPath = rootPath;
}

RegistryConfig::~RegistryConfig() = default;

ERootKey RegistryConfig::root() const { return m_impl->root; }

const OdString& RegistryConfig::rootPath() const { return m_impl->rootPath; }

bool RegistryConfig::beginTransaction() {
  m_impl->transactions.push_back(std::make_unique<platform::RegistryTransaction>(m_impl->root));
  return m_impl->transactions.back()->active();
}

bool RegistryConfig::commitTransaction() {
  if (m_impl->transactions.empty()) return false;
  const bool committed = m_impl->transactions.back()->commit();
  m_impl->transactions.pop_back();
  return committed;
}

void RegistryConfig::rollbackTransaction() {
  if (!m_impl->transactions.empty()) m_impl->transactions.pop_back();
  m_impl->forgetKey();
}

void RegistryConfig::SetPath(const wxString& path) {
  const Location location = locate(m_path, path, false);
  wxString group(location.group);
  group.Replace(L"\\", L"/");
  m_path = L"/" + group;
  // As wxWidgets promises, a path that does not exist is created (where the hive may be written).
  if (!m_impl->key(location.group, false)) m_impl->key(location.group, true);
}

bool RegistryConfig::GetFirstGroup(wxString& name, long& index) const {
  index = 0;
  return GetNextGroup(name, index);
}

bool RegistryConfig::GetNextGroup(wxString& name, long& index) const {
  return m_impl->next(locate(m_path, wxEmptyString, false).group, true, name, index);
}

bool RegistryConfig::GetFirstEntry(wxString& name, long& index) const {
  index = 0;
  return GetNextEntry(name, index);
}

bool RegistryConfig::GetNextEntry(wxString& name, long& index) const {
  return m_impl->next(locate(m_path, wxEmptyString, false).group, false, name, index);
}

size_t RegistryConfig::GetNumberOfEntries(bool recursive) const {
  return m_impl->count(locate(m_path, wxEmptyString, false).group, false, recursive);
}

size_t RegistryConfig::GetNumberOfGroups(bool recursive) const {
  return m_impl->count(locate(m_path, wxEmptyString, false).group, true, recursive);
}

bool RegistryConfig::HasGroup(const wxString& name) const {
  std::string error;
  return platform::openRegistryKey(m_impl->root, m_impl->keyPath(locate(m_path, name, false).group), false,
                                   false, error) != nullptr;
}

bool RegistryConfig::HasEntry(const wxString& name) const {
  return m_impl->value(locate(m_path, name, true)).has_value();
}

wxConfigBase::EntryType RegistryConfig::GetEntryType(const wxString& name) const {
  const auto found = m_impl->value(locate(m_path, name, true));
  if (!found) return Type_Unknown;
  if (internal::isStringValue(*found)) return Type_String;
  return found->type == eRegDword ? Type_Integer : Type_Unknown;
}

bool RegistryConfig::Flush(bool) { return true; }

bool RegistryConfig::RenameEntry(const wxString& oldName, const wxString& newName) {
  const Location from = locate(m_path, oldName, true), to = locate(m_path, newName, true);
  const auto value = m_impl->value(from);
  if (!value || m_impl->value(to)) return false;
  platform::RegistryTransaction transaction(m_impl->root);
  if (!m_impl->write(to, static_cast<ERegType>(value->type), value->data)) return false;
  RegistryKey* source = m_impl->key(from.group, true);
  return source && source->deleteValue(from.name) && transaction.commit();
}

bool RegistryConfig::RenameGroup(const wxString& oldName, const wxString& newName) {
  const std::wstring from = m_impl->keyPath(locate(m_path, oldName, false).group);
  const std::wstring to = m_impl->keyPath(locate(m_path, newName, false).group);
  if (!Registry::verifyKey(m_impl->root, from) || Registry::verifyKey(m_impl->root, to)) return false;
  platform::RegistryTransaction transaction(m_impl->root);
  m_impl->forgetKey();
  return Registry::copyKey(m_impl->root, m_impl->root, from, to, true) &&
         Registry::deleteKey(m_impl->root, from) && transaction.commit();
}

bool RegistryConfig::DeleteEntry(const wxString& name, bool deleteGroupIfEmpty) {
  const Location at = locate(m_path, name, true);
  RegistryKey* k = m_impl->key(at.group, true);
  if (!k || !k->deleteValue(at.name)) return false;
  if (deleteGroupIfEmpty && !at.group.empty() && k->valueNames().empty() && k->subKeyNames().empty()) {
    m_impl->deleteKey(at.group);
  }
  return true;
}

bool RegistryConfig::DeleteGroup(const wxString& name) {
  const Location at = locate(m_path, name, false);
  return !at.group.empty() && m_impl->deleteKey(at.group);
}

bool RegistryConfig::DeleteAll() {
  m_impl->forgetKey();
  return Registry::deleteKey(m_impl->root, m_impl->rootPath);
}

bool RegistryConfig::DoReadString(const wxString& key, wxString* value) const {
  const auto found = m_impl->value(locate(m_path, key, true));
  if (!found || !internal::isStringValue(*found)) return false;
  *value = internal::stringFromValueBytes(found->data);
  return true;
}

bool RegistryConfig::DoReadLong(const wxString& key, long* value) const {
  const auto found = m_impl->value(locate(m_path, key, true));
  const auto number = found ? internal::dwordValue(*found) : std::nullopt;
  if (number) *value = *number;
  return number.has_value();
}

bool RegistryConfig::DoReadBinary(const wxString& key, wxMemoryBuffer* value) const {
  const auto found = m_impl->value(locate(m_path, key, true));
  if (!found) return false;
  value->SetDataLen(0);
  value->AppendData(found->data.data(), found->data.size());
  return true;
}

bool RegistryConfig::DoWriteString(const wxString& key, const wxString& value) {
  return m_impl->write(locate(m_path, key, true), eRegString,
                       internal::stringValueBytes(value.ToStdWstring()));
}

bool RegistryConfig::DoWriteLong(const wxString& key, long value) {
  return internal::fitsDword(value) && m_impl->write(locate(m_path, key, true), eRegDword,
                                                     internal::dwordBytes(static_cast<uint32_t>(value)));
}

bool RegistryConfig::DoWriteBinary(const wxString& key, const wxMemoryBuffer& value) {
  return m_impl->write(locate(m_path, key, true), eRegBinary,
                       std::string_view(static_cast<const char*>(value.GetData()), value.GetDataLen()));
}

}  // namespace ut
