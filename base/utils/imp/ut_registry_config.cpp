#include "ut_registry_config.h"

#include "registry_platform.h"
#include "ut_assert.h"
#include "ut_nocase.h"
#include "ut_registry_values.h"
#include "ut_utf16.h"

#include <wx/arrstr.h>

#include <climits>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace ut {

namespace {

using platform::RegistryKey;

}  // namespace

// Where a configuration path leads: a key below the root (names joined by "\\", empty for the root)
// and, for an entry, the value's name.
struct RegistryConfig::Location {
  std::wstring group;
  std::wstring name;
  bool valid = true;  // false for a group name holding "\\", which no key name may
};

struct RegistryConfig::Impl {
  // What is known of one key. Outside a transaction only the last key used is kept open, and nothing
  // read from it is kept: another process may change it at any moment. Inside one the store cannot
  // change under us (a reading transaction sees a snapshot, a writing one keeps other writers out), so
  // every key opened and everything read stays at hand until the transaction ends.
  struct KeyCache {
    std::unique_ptr<RegistryKey> key;
    std::optional<std::vector<platform::RegistryValue>> values;  // in the store's order
    std::unordered_map<std::wstring, size_t, internal::NoCaseHash, internal::NoCaseEqual>
        valueIndex;  // by name
    std::optional<std::vector<std::wstring>> subKeys;
  };

  ERootKey root = eCurrentUser;
  OdString rootPath;
  std::wstring currentGroup;  // the current path as a key path below the root
  std::vector<std::unique_ptr<platform::RegistryTransaction>> transactions;
  mutable std::unordered_map<std::wstring, KeyCache> cache;  // by group
  mutable std::optional<platform::RegistryValue> read;       // the value last read outside a transaction
  // The names an enumeration walks, fetched at its first step, with the group and kind they are of: an
  // enumeration of another group in between fetches them again.
  mutable std::vector<std::wstring> enumerated;
  mutable std::wstring enumeratedGroup;
  mutable bool enumeratedGroups = false;

  bool caching() const { return !transactions.empty(); }
  bool writing = false;  // a writing transaction is open
  void forget() const { cache.clear(); }

  std::wstring keyPath(const std::wstring& group) const {
    if (group.empty() || rootPath.isEmpty()) return group.empty() ? rootPath.str() : group;
    return rootPath.str() + L"\\" + group;
  }

  // Opens `group` (for writing, or creating it), from its parent's open key where that is at hand.
  std::unique_ptr<RegistryKey> open(const std::wstring& group, bool write, bool create) const {
    std::string error;
    const size_t last = group.rfind(L'\\');
    const auto parent = cache.find(last == std::wstring::npos ? std::wstring() : group.substr(0, last));
    if (!group.empty() && parent != cache.end() && (parent->second.key->writable() || !write)) {
      return parent->second.key->openSubKey(group.substr(last == std::wstring::npos ? 0 : last + 1), write,
                                            create, error);
    }
    return platform::openRegistryKey(root, keyPath(group), write, create, error);
  }

  // The key of `group`, created when `write` is asked for; null when it does not exist. Within a writing
  // transaction keys are opened for writing from the start, so that a save reads and writes through one
  // handle per key.
  KeyCache* entry(const std::wstring& group, bool write) const {
    const auto found = cache.find(group);
    if (found != cache.end() && (found->second.key->writable() || !write)) return &found->second;
    std::unique_ptr<RegistryKey> opened = open(group, write || writing, write);
    if (!caching()) forget();
    if (!opened) return nullptr;
    KeyCache& cached = cache[group];
    cached = KeyCache{std::move(opened), std::nullopt, {}, std::nullopt};
    return &cached;
  }

  RegistryKey* key(const std::wstring& group, bool write) const {
    KeyCache* cached = entry(group, write);
    return cached ? cached->key.get() : nullptr;
  }

  // The values of a key, read once per transaction.
  static const std::vector<platform::RegistryValue>& cachedValues(KeyCache& cached) {
    if (!cached.values) {
      cached.values = cached.key->values();
      for (size_t i = 0; i < cached.values->size(); ++i) {
        cached.valueIndex.emplace((*cached.values)[i].name, i);
      }
    }
    return *cached.values;
  }

  // The value at `at`, or null; valid until the next call.
  const platform::RegistryValue* value(const Location& at) const {
    KeyCache* cached = at.valid ? entry(at.group, false) : nullptr;
    if (!cached) return nullptr;
    if (!caching()) {
      read = cached->key->readValue(at.name);
      return read ? &*read : nullptr;
    }
    cachedValues(*cached);
    const auto found = cached->valueIndex.find(std::wstring_view(at.name));
    return found == cached->valueIndex.end() ? nullptr : &(*cached->values)[found->second];
  }

  std::vector<std::wstring> names(const std::wstring& group, bool groups) const {
    KeyCache* cached = entry(group, false);
    if (!cached) return {};
    if (!caching()) return groups ? cached->key->subKeyNames() : cached->key->valueNames();
    if (groups) {
      if (!cached->subKeys) cached->subKeys = cached->key->subKeyNames();
      return *cached->subKeys;
    }
    std::vector<std::wstring> result;
    for (const platform::RegistryValue& value : cachedValues(*cached)) result.push_back(value.name);
    return result;
  }

  // Step `index` of the enumeration of the groups (or entries) of `group`.
  bool next(const std::wstring& group, bool groups, wxString& name, long& index) const {
    if (index == 0 || enumeratedGroup != group || enumeratedGroups != groups) {
      enumerated = names(group, groups);
      enumeratedGroup = group;
      enumeratedGroups = groups;
    }
    if (index < 0 || static_cast<size_t>(index) >= enumerated.size()) return false;
    name = enumerated[index++];
    return true;
  }

  bool write(const Location& at, ERegType type, std::string_view data) {
    KeyCache* cached = at.valid ? entry(at.group, true) : nullptr;
    std::string error;
    if (!cached || !cached->key->writeValue(at.name, type, data, error)) return false;
    cached->values.reset();
    cached->valueIndex.clear();
    return true;
  }

  bool deleteKey(const std::wstring& group) {
    const size_t last = group.rfind(L'\\');
    const std::wstring parent = last == std::wstring::npos ? std::wstring() : group.substr(0, last);
    forget();
    std::string error;
    const auto k = platform::openRegistryKey(root, keyPath(parent), true, false, error);
    return k && k->deleteSubKey(group.substr(last == std::wstring::npos ? 0 : last + 1));
  }

  size_t count(const std::wstring& group, bool groups, bool recursive) const;

  static bool isEmpty(const RegistryKey& key) {
    return key.valueNames().empty() && key.subKeyNames().empty();
  }
};

size_t RegistryConfig::Impl::count(const std::wstring& group, bool groups, bool recursive) const {
  const std::vector<std::wstring> subKeys = names(group, true);
  size_t n = groups ? subKeys.size() : names(group, false).size();
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
    : m_impl(std::make_unique<Impl>()), m_path(L"/") {
  m_impl->root = root;
  m_impl->rootPath = rootPath;
}

RegistryConfig::~RegistryConfig() = default;

ERootKey RegistryConfig::root() const { return m_impl->root; }

const OdString& RegistryConfig::rootPath() const { return m_impl->rootPath; }

bool RegistryConfig::beginTransaction(bool write) {
  m_impl->transactions.push_back(std::make_unique<platform::RegistryTransaction>(m_impl->root, write));
  if (!m_impl->transactions.back()->active()) {
    m_impl->transactions.pop_back();
    return false;
  }
  if (m_impl->transactions.size() == 1) m_impl->writing = write;
  return true;
}

bool RegistryConfig::commitTransaction() {
  if (m_impl->transactions.empty()) return false;
  const bool committed = m_impl->transactions.back()->commit();
  m_impl->transactions.pop_back();
  if (!m_impl->caching() || !committed) m_impl->forget();
  m_impl->writing = m_impl->writing && m_impl->caching();
  return committed;
}

void RegistryConfig::rollbackTransaction() {
  if (!m_impl->transactions.empty()) m_impl->transactions.pop_back();
  m_impl->forget();
  m_impl->writing = m_impl->writing && m_impl->caching();
}

// Resolves `key` against the current path as wxWidgets does ("/" absolute, ".." one group up). With
// `isEntry`, the last name is the value's.
RegistryConfig::Location RegistryConfig::at(const wxString& key, bool isEntry) const {
  const std::wstring& currentGroup = m_impl->currentGroup;
  // Most keys are a plain name in the current group, or ".." out of it: no need to split anything.
  const bool plain = !key.empty() && key.find(L'/') == wxString::npos && key.find(L'\\') == wxString::npos &&
                     key != L"." && key != L"..";
  if (plain && isEntry) return {currentGroup, key.ToStdWstring(), true};
  if (plain)
    return {currentGroup.empty() ? key.ToStdWstring() : currentGroup + L'\\' + key.ToStdWstring(), {}, true};
  if (key == L".." && !isEntry) {
    const size_t last = currentGroup.rfind(L'\\');
    return {last == std::wstring::npos ? std::wstring() : currentGroup.substr(0, last), {}, true};
  }
  wxArrayString parts;
  wxSplitPath(parts, key.StartsWith(wxCONFIG_PATH_SEPARATOR) ? key : m_path + wxCONFIG_PATH_SEPARATOR + key);
  Location location;
  if (isEntry && !parts.empty()) {
    location.name = parts.Last().ToStdWstring();
    parts.RemoveAt(parts.size() - 1);
  }
  for (const wxString& part : parts) {
    if (part.find(L'\\') != wxString::npos) {
      const wxString message = L"A key name cannot hold \"\\\": " + part;
      callAssert("ut::RegistryConfig", message.utf8_str(), __FILE__, __LINE__);
      location.valid = false;
    }
    if (!location.group.empty()) location.group += L'\\';
    location.group += part.ToStdWstring();
  }
  return location;
}

void RegistryConfig::SetPath(const wxString& path) {
  const Location location = at(path, false);
  if (!location.valid) return;
  m_impl->currentGroup = location.group;
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
  return m_impl->next(m_impl->currentGroup, true, name, index);
}

bool RegistryConfig::GetFirstEntry(wxString& name, long& index) const {
  index = 0;
  return GetNextEntry(name, index);
}

bool RegistryConfig::GetNextEntry(wxString& name, long& index) const {
  return m_impl->next(m_impl->currentGroup, false, name, index);
}

size_t RegistryConfig::GetNumberOfEntries(bool recursive) const {
  return m_impl->count(m_impl->currentGroup, false, recursive);
}

size_t RegistryConfig::GetNumberOfGroups(bool recursive) const {
  return m_impl->count(m_impl->currentGroup, true, recursive);
}

bool RegistryConfig::HasGroup(const wxString& name) const {
  const Location group = at(name, false);
  return group.valid && m_impl->key(group.group, false) != nullptr;
}

bool RegistryConfig::HasEntry(const wxString& name) const { return m_impl->value(at(name, true)) != nullptr; }

wxConfigBase::EntryType RegistryConfig::GetEntryType(const wxString& name) const {
  const auto found = m_impl->value(at(name, true));
  if (!found) return Type_Unknown;
  if (internal::isStringValue(*found)) return Type_String;
  return found->type == eRegDword ? Type_Integer : Type_Unknown;
}

bool RegistryConfig::Flush(bool) { return true; }

bool RegistryConfig::RenameEntry(const wxString& oldName, const wxString& newName) {
  const Location from = at(oldName, true), to = at(newName, true);
  const platform::RegistryValue* found = m_impl->value(from);
  if (!found) return false;
  const platform::RegistryValue value = *found;
  if (m_impl->value(to)) return false;
  platform::RegistryTransaction transaction(m_impl->root);
  if (!m_impl->write(to, static_cast<ERegType>(value.type), value.data)) return false;
  RegistryKey* source = m_impl->key(from.group, true);
  return source && source->deleteValue(from.name) && transaction.commit();
}

bool RegistryConfig::RenameGroup(const wxString& oldName, const wxString& newName) {
  const Location source = at(oldName, false), target = at(newName, false);
  if (!source.valid || !target.valid) return false;
  const std::wstring from = m_impl->keyPath(source.group);
  const std::wstring to = m_impl->keyPath(target.group);
  if (!Registry::verifyKey(m_impl->root, from) || Registry::verifyKey(m_impl->root, to)) return false;
  platform::RegistryTransaction transaction(m_impl->root);
  m_impl->forget();
  return Registry::copyKey(m_impl->root, m_impl->root, from, to, true) &&
         Registry::deleteKey(m_impl->root, from) && transaction.commit();
}

bool RegistryConfig::DeleteEntry(const wxString& name, bool deleteGroupIfEmpty) {
  const Location entry = at(name, true);
  RegistryKey* k = entry.valid ? m_impl->key(entry.group, true) : nullptr;
  if (!k || !k->deleteValue(entry.name)) return false;
  const bool emptied = Impl::isEmpty(*k);
  m_impl->forget();
  if (deleteGroupIfEmpty && !entry.group.empty() && emptied) m_impl->deleteKey(entry.group);
  return true;
}

bool RegistryConfig::DeleteGroup(const wxString& name) {
  const Location group = at(name, false);
  return group.valid && !group.group.empty() && m_impl->deleteKey(group.group);
}

bool RegistryConfig::DeleteAll() {
  m_impl->forget();
  return Registry::deleteKey(m_impl->root, m_impl->rootPath);
}

bool RegistryConfig::DoReadString(const wxString& key, wxString* value) const {
  const auto found = m_impl->value(at(key, true));
  if (!found || !internal::isStringValue(*found)) return false;
  *value = internal::stringFromValueBytes(found->data);
  return true;
}

bool RegistryConfig::DoReadLong(const wxString& key, long* value) const {
  const auto found = m_impl->value(at(key, true));
  const std::optional<long> number = found ? internal::dwordValue(*found) : std::nullopt;
  if (number) *value = *number;
  return number.has_value();
}

bool RegistryConfig::DoReadBinary(const wxString& key, wxMemoryBuffer* value) const {
  const auto found = m_impl->value(at(key, true));
  if (!found) return false;
  value->SetDataLen(0);
  value->AppendData(found->data.data(), found->data.size());
  return true;
}

bool RegistryConfig::DoWriteString(const wxString& key, const wxString& value) {
  return m_impl->write(at(key, true), eRegString, internal::stringValueBytes(value.ToStdWstring()));
}

bool RegistryConfig::DoWriteLong(const wxString& key, long value) {
  return internal::fitsDword(value) &&
         m_impl->write(at(key, true), eRegDword, internal::dwordBytes(static_cast<uint32_t>(value)));
}

bool RegistryConfig::DoWriteBinary(const wxString& key, const wxMemoryBuffer& value) {
  return m_impl->write(at(key, true), eRegBinary,
                       std::string_view(static_cast<const char*>(value.GetData()), value.GetDataLen()));
}

}  // namespace ut
