#include "ut_registry_config.h"

#include "config/ut_registry_p.h"
#include "core/ut_nocase.h"
#include "core/ut_utf16.h"
#include "platform/registry.h"
#include "ut_assert.h"

#include <wx/arrstr.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace ut {

namespace {

using platform::RegistryKey;

// A group's parent ("" for a top-level group) and last name.
std::pair<std::wstring_view, std::wstring_view> splitLastName(std::wstring_view group) {
  const size_t last = group.rfind(L'\\');
  if (last == std::wstring_view::npos) return {std::wstring_view(), group};
  return {group.substr(0, last), group.substr(last + 1)};
}

std::wstring_view viewOf(const wxString& text) { return {text.wc_str(), text.length()}; }

// A name of the current group: no "/" or "\\", and neither "." nor "..".
bool isPlainName(const wxString& key) {
  const std::wstring_view name = viewOf(key);
  const auto separator = [](wchar_t c) { return c == L'/' || c == L'\\'; };
  return !name.empty() && std::none_of(name.begin(), name.end(), separator) && name != L"." && name != L"..";
}

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
    // By name; made only when a lookup is not the value last found or the one after it.
    std::unordered_map<std::wstring, size_t, internal::NoCaseHash, internal::NoCaseEqual> valueIndex;
    size_t lastFound = 0;
    std::optional<std::vector<std::wstring>> subKeys;
    KeyCache* parent = nullptr;  // the parent group's cache, where it was at hand

    void setValues(std::vector<platform::RegistryValue> read) {
      values = std::move(read);
      valueIndex.clear();
      lastFound = 0;
    }
    void forgetValues() {
      values.reset();
      valueIndex.clear();
    }
  };

  ERootKey root = eCurrentUser;
  OdString rootPath;
  std::wstring currentGroup;  // the current path as a key path below the root
  std::vector<std::unique_ptr<platform::RegistryTransaction>> transactions;
  // By group; names ignore case in the cache as in the store.
  mutable std::unordered_map<std::wstring, KeyCache, internal::NoCaseHash, internal::NoCaseEqual> cache;
  mutable std::optional<platform::RegistryValue> read;  // the value last read outside a transaction
  // Outside a transaction, the names an enumeration walks, fetched at its first step, with the group and
  // kind they are of: an enumeration of another group in between fetches them again.
  mutable std::vector<std::wstring> enumerated;
  mutable std::wstring enumeratedGroup;
  mutable bool enumeratedGroups = false;
  mutable std::wstring text;  // the string last read, in a buffer each read reuses

  // The cache of the current group, while it is at hand.
  mutable KeyCache* current = nullptr;

  bool caching() const { return !transactions.empty(); }
  bool writing = false;  // a writing transaction is open
  void forget() const {
    cache.clear();
    current = nullptr;
  }

  std::wstring keyPath(std::wstring_view group) const {
    if (group.empty() || rootPath.isEmpty()) return group.empty() ? rootPath.str() : std::wstring(group);
    return rootPath.str() + L"\\" + std::wstring(group);
  }

  // Opens `group` (for writing, or creating it), from its parent's open key where that is at hand. A
  // refusal with a reason (a name or depth over the limits) is reported.
  std::unique_ptr<RegistryKey> open(const std::wstring& group, const KeyCache* parent, bool write,
                                    bool create) const {
    std::string error;
    std::unique_ptr<RegistryKey> opened =
        parent && (parent->key->writable() || !write)
            ? parent->key->openSubKey(splitLastName(group).second, write, create, error)
            : platform::openRegistryKey(internal::platformRoot(root), keyPath(group), write, create, error);
    if (!error.empty()) callAssert("ut::RegistryConfig", error.c_str(), __FILE__, __LINE__);
    return opened;
  }

  // The cache of `group` if it is at hand; a walk down the tree asks for the current group's most often.
  KeyCache* atHand(std::wstring_view group) const {
    if (current && caching() && group == currentGroup) return current;
    const auto found = cache.find(group);
    return found == cache.end() ? nullptr : &found->second;
  }

  // The key of `group`, created when `write` is asked for; null when it does not exist. Within a writing
  // transaction keys are opened for writing from the start, so that a save reads and writes through one
  // handle per key.
  KeyCache* entry(const std::wstring& group, bool write) const {
    auto [slot, isNew] = cache.try_emplace(group);
    if (!isNew && (slot->second.key->writable() || !write)) return &slot->second;
    KeyCache* parent = group.empty() ? nullptr : atHand(splitLastName(group).first);
    std::unique_ptr<RegistryKey> opened = open(group, parent, write || writing, write);
    if (!opened) {
      if (isNew) cache.erase(slot);
      return nullptr;
    }
    if (!caching()) {
      forget();
      slot = cache.try_emplace(group).first;
      parent = nullptr;
    } else if (parent && write) {
      parent->subKeys.reset();  // the key may just have been made
    }
    slot->second = KeyCache{};
    slot->second.key = std::move(opened);
    slot->second.parent = parent;
    return &slot->second;
  }

  // Makes the current group's parent current, if its cache is at hand.
  bool toParent() {
    KeyCache* parent = caching() && current ? current->parent : nullptr;
    if (!parent) return false;
    currentGroup.resize(splitLastName(currentGroup).first.size());
    current = parent;
    return true;
  }

  // The cache of the current group, opened for writing with `write`.
  KeyCache* currentEntry(bool write) const {
    if (!current || !caching() || (write && !current->key->writable())) current = entry(currentGroup, write);
    return current;
  }

  RegistryKey* key(const std::wstring& group, bool write) const {
    KeyCache* cached = entry(group, write);
    return cached ? cached->key.get() : nullptr;
  }

  // The values of a key, read once per transaction.
  static const std::vector<platform::RegistryValue>& cachedValues(KeyCache& cached) {
    if (!cached.values) cached.setValues(cached.key->values());
    return *cached.values;
  }

  // A value of a cached key. Reading a group's entries one after the other, as a walk over them does,
  // asks for the value last found or the one after it, spelt as the enumeration gave it: those are
  // tried before the index by name, which ignores case.
  static const platform::RegistryValue* cachedValue(KeyCache& cached, std::wstring_view name) {
    const std::vector<platform::RegistryValue>& values = cachedValues(cached);
    for (const size_t i : {cached.lastFound, cached.lastFound + 1}) {
      if (i < values.size() && values[i].name == name) {
        cached.lastFound = i;
        return &values[i];
      }
    }
    if (cached.valueIndex.empty()) {
      for (size_t i = 0; i < values.size(); ++i) cached.valueIndex.emplace(values[i].name, i);
    }
    const auto found = cached.valueIndex.find(name);
    if (found == cached.valueIndex.end()) return nullptr;
    cached.lastFound = found->second;
    return &values[found->second];
  }

  // The value `name` of the key of `cached` (null for none), or null; valid until the next call.
  const platform::RegistryValue* value(KeyCache* cached, std::wstring_view name) const {
    if (!cached) return nullptr;
    if (caching()) return cachedValue(*cached, name);
    read = cached->key->readValue(name);
    return read ? &*read : nullptr;
  }

  // The sub-keys of a key, read once per transaction.
  static const std::vector<std::wstring>& cachedSubKeys(KeyCache& cached) {
    if (!cached.subKeys) cached.subKeys = cached.key->subKeyNames();
    return *cached.subKeys;
  }

  std::vector<std::wstring> names(const std::wstring& group, bool groups) const {
    KeyCache* cached = entry(group, false);
    if (!cached) return {};
    if (!caching()) return groups ? cached->key->subKeyNames() : cached->key->valueNames();
    if (groups) return cachedSubKeys(*cached);
    std::vector<std::wstring> result;
    for (const platform::RegistryValue& value : cachedValues(*cached)) result.push_back(value.name);
    return result;
  }

  // Step `index` of the enumeration of the current group's groups (or entries).
  bool next(bool groups, wxString& name, long& index) const {
    const std::wstring* found = caching() ? cachedName(groups, index) : fetchedName(groups, index);
    if (!found) return false;
    name.assign(found->data(), found->size());  // keeps the buffer of the name before
    ++index;
    return true;
  }

  const std::wstring* cachedName(bool groups, long index) const {
    KeyCache* cached = currentEntry(false);
    if (!cached || index < 0) return nullptr;
    const auto i = static_cast<size_t>(index);
    if (groups) {
      const std::vector<std::wstring>& subKeys = cachedSubKeys(*cached);
      return i < subKeys.size() ? &subKeys[i] : nullptr;
    }
    const std::vector<platform::RegistryValue>& values = cachedValues(*cached);
    return i < values.size() ? &values[i].name : nullptr;
  }

  const std::wstring* fetchedName(bool groups, long index) const {
    if (index == 0 || enumeratedGroup != currentGroup || enumeratedGroups != groups) {
      enumerated = names(currentGroup, groups);
      enumeratedGroup = currentGroup;
      enumeratedGroups = groups;
    }
    return index >= 0 && static_cast<size_t>(index) < enumerated.size() ? &enumerated[index] : nullptr;
  }

  bool write(KeyCache* cached, std::wstring_view name, ERegType type, std::string_view data) {
    std::string error;
    if (!cached || !cached->key->writeValue(name, type, data, error)) return false;
    cached->forgetValues();
    return true;
  }

  bool deleteKey(const std::wstring& group) {
    const auto [parent, name] = splitLastName(group);
    forget();
    std::string error;
    const auto k =
        platform::openRegistryKey(internal::platformRoot(root), keyPath(parent), true, false, error);
    return k && k->deleteSubKey(name);
  }

  size_t count(const std::wstring& group, bool groups, bool recursive) const;
  bool readAhead(const std::wstring& group);

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

bool RegistryConfig::Impl::readAhead(const std::wstring& group) {
  KeyCache* top = caching() ? entry(group, false) : nullptr;
  if (!top) return false;
  KeyCache* const above = top->parent;
  platform::RegistryTree tree = top->key->tree();
  std::vector<std::wstring> groups(tree.nodes.size());
  std::vector<KeyCache*> made(tree.nodes.size());
  cache.reserve(cache.size() + tree.nodes.size());
  for (size_t i = 0; i < tree.nodes.size(); ++i) {
    platform::RegistryTree::Node& node = tree.nodes[i];
    if (i == 0) {
      groups[i] = group;
    } else {
      const std::wstring& parent = groups[node.parent];
      groups[i] = parent.empty() ? node.name : parent + L'\\' + node.name;
      made[node.parent]->subKeys->push_back(node.name);
    }
    KeyCache& slot = cache[groups[i]];
    slot = KeyCache{};
    slot.key = std::move(node.key);
    slot.setValues(std::move(node.values));
    slot.subKeys.emplace();
    slot.parent = i == 0 ? above : made[node.parent];
    made[i] = &slot;
  }
  return true;
}

RegistryConfig::RegistryConfig(const wxString& appName, const wxString& vendorName)
    : RegistryConfig(eCurrentUser, OdString(L"Software\\") +
                                       (vendorName.empty() ? L"" : vendorName + L"\\").wc_str() +
                                       appName.wc_str()) {}

RegistryConfig::RegistryConfig(ERootKey root, const OdString& rootPath) : m_impl(std::make_unique<Impl>()) {
  m_impl->root = root;
  m_impl->rootPath = rootPath;
}

RegistryConfig::~RegistryConfig() = default;

ERootKey RegistryConfig::root() const { return m_impl->root; }

const OdString& RegistryConfig::rootPath() const { return m_impl->rootPath; }

bool RegistryConfig::beginTransaction(bool write) {
  m_impl->transactions.push_back(
      std::make_unique<platform::RegistryTransaction>(internal::platformRoot(m_impl->root), write));
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

bool RegistryConfig::readAhead(const wxString& path) {
  const Location location = at(path, false);
  return location.valid && m_impl->readAhead(location.group);
}

void RegistryConfig::rollbackTransaction() {
  if (!m_impl->transactions.empty()) m_impl->transactions.pop_back();
  m_impl->forget();
  m_impl->writing = m_impl->writing && m_impl->caching();
}

// Resolves `key` against the current path as wxWidgets does ("/" absolute, ".." one group up). With
// `isEntry`, the last name is the value's; an entry with no name ("", "Sub/") is the key's default value.
RegistryConfig::Location RegistryConfig::at(const wxString& key, bool isEntry) const {
  const std::wstring& currentGroup = m_impl->currentGroup;
  // Most keys are a plain name in the current group, or ".." out of it: no need to split anything.
  const bool plain = isPlainName(key);
  if (plain && isEntry) return {currentGroup, key.ToStdWstring(), true};
  if (isEntry && (key.empty() || key.Last() == wxCONFIG_PATH_SEPARATOR)) return at(key, false);
  if (plain)
    return {currentGroup.empty() ? key.ToStdWstring() : currentGroup + L'\\' + key.ToStdWstring(), {}, true};
  if (key == L".." && !isEntry) return {std::wstring(splitLastName(currentGroup).first), {}, true};
  wxArrayString parts;
  wxSplitPath(parts,
              key.StartsWith(wxCONFIG_PATH_SEPARATOR) ? key : GetPath() + wxCONFIG_PATH_SEPARATOR + key);
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

const platform::RegistryValue* RegistryConfig::valueAt(const wxString& key) const {
  if (isPlainName(key)) return m_impl->value(m_impl->currentEntry(false), viewOf(key));
  const Location location = at(key, true);
  return location.valid ? m_impl->value(m_impl->entry(location.group, false), location.name) : nullptr;
}

bool RegistryConfig::writeAt(const wxString& key, ERegType type, std::string_view data) {
  if (isPlainName(key)) return m_impl->write(m_impl->currentEntry(true), viewOf(key), type, data);
  const Location location = at(key, true);
  return location.valid && m_impl->write(m_impl->entry(location.group, true), location.name, type, data);
}

void RegistryConfig::SetPath(const wxString& path) {
  if (path == L".." && m_impl->toParent()) return;
  Location location = at(path, false);
  if (!location.valid) return;
  // As wxWidgets promises, a path that does not exist is created (where the hive may be written). The
  // key is opened from the current one, before the path changes.
  Impl::KeyCache* entry = m_impl->entry(location.group, false);
  if (!entry) entry = m_impl->entry(location.group, true);
  m_impl->currentGroup = std::move(location.group);
  m_impl->current = entry;
}

// Made when asked for: a walk changes the path far more often than it asks for it.
const wxString& RegistryConfig::GetPath() const {
  std::wstring path = L"/" + m_impl->currentGroup;
  std::replace(path.begin(), path.end(), L'\\', L'/');
  m_path = path;
  return m_path;
}

bool RegistryConfig::GetFirstGroup(wxString& name, long& index) const {
  index = 0;
  return GetNextGroup(name, index);
}

bool RegistryConfig::GetNextGroup(wxString& name, long& index) const {
  return m_impl->next(true, name, index);
}

bool RegistryConfig::GetFirstEntry(wxString& name, long& index) const {
  index = 0;
  return GetNextEntry(name, index);
}

bool RegistryConfig::GetNextEntry(wxString& name, long& index) const {
  return m_impl->next(false, name, index);
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

bool RegistryConfig::HasEntry(const wxString& name) const { return valueAt(name) != nullptr; }

wxConfigBase::EntryType RegistryConfig::GetEntryType(const wxString& name) const {
  const auto found = valueAt(name);
  if (!found) return Type_Unknown;
  if (internal::isStringValue(*found)) return Type_String;
  return found->type == eRegDword ? Type_Integer : Type_Unknown;
}

bool RegistryConfig::Flush(bool) { return true; }

bool RegistryConfig::RenameEntry(const wxString& oldName, const wxString& newName) {
  const platform::RegistryValue* found = valueAt(oldName);
  if (!found) return false;
  const platform::RegistryValue value = *found;
  if (valueAt(newName)) return false;
  platform::RegistryTransaction transaction(internal::platformRoot(m_impl->root));
  if (!writeAt(newName, static_cast<ERegType>(value.type), value.data)) return false;
  const Location from = at(oldName, true);
  RegistryKey* source = m_impl->key(from.group, true);
  return source && source->deleteValue(from.name) && transaction.commit();
}

bool RegistryConfig::RenameGroup(const wxString& oldName, const wxString& newName) {
  const Location source = at(oldName, false), target = at(newName, false);
  if (!source.valid || !target.valid) return false;
  const std::wstring from = m_impl->keyPath(source.group);
  const std::wstring to = m_impl->keyPath(target.group);
  if (!Registry::verifyKey(m_impl->root, from) || Registry::verifyKey(m_impl->root, to)) return false;
  platform::RegistryTransaction transaction(internal::platformRoot(m_impl->root));
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
  const auto found = valueAt(key);
  if (!found || !internal::isStringValue(*found)) return false;
  internal::assignStringFromValueBytes(found->data, m_impl->text);
  value->assign(m_impl->text.data(), m_impl->text.size());  // into the buffer `value` has
  return true;
}

bool RegistryConfig::DoReadLong(const wxString& key, long* value) const {
  const auto found = valueAt(key);
  const std::optional<long> number = found ? internal::dwordValue(*found) : std::nullopt;
  if (number) *value = *number;
  return number.has_value();
}

bool RegistryConfig::DoReadBinary(const wxString& key, wxMemoryBuffer* value) const {
  const auto found = valueAt(key);
  if (!found) return false;
  value->SetDataLen(0);
  value->AppendData(found->data.data(), found->data.size());
  return true;
}

bool RegistryConfig::DoWriteString(const wxString& key, const wxString& value) {
  return writeAt(key, eRegString, internal::stringValueBytes(value.ToStdWstring()));
}

bool RegistryConfig::DoWriteLong(const wxString& key, long value) {
  return internal::fitsDword(value) &&
         writeAt(key, eRegDword, internal::dwordBytes(static_cast<uint32_t>(value)));
}

bool RegistryConfig::DoWriteBinary(const wxString& key, const wxMemoryBuffer& value) {
  return writeAt(key, eRegBinary,
                 std::string_view(static_cast<const char*>(value.GetData()), value.GetDataLen()));
}

}  // namespace ut
