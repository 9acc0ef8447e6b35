#include "ut_config_storage.h"

#include "ut_config.h"
#include "ut_config_area.h"
#include "ut_config_names.h"
#include "ut_nocase.h"
#include "ut_registry_config.h"
#include "ut_registry_values.h"

#include <wx/filename.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace ut {

namespace {

// A group path of the tree ("Profiles/Default/") as an absolute wxWidgets path ("/Profiles/Default").
wxString absoluteGroup(const OdString& path) {
  wxString group(path.c_str());
  while (group.EndsWith(L"/")) group.RemoveLast();
  return group.StartsWith(L"/") ? group : L"/" + group;
}

OdString lastName(const OdString& path) {
  const wxString group = absoluteGroup(path);
  return OdString(group.AfterLast(L'/').wc_str());
}

// Whether the entry was loaded: the tree holds numbers and strings only. `text` is the caller's, so
// that reading one string after another reuses its buffer.
bool loadEntry(const wxConfigBase& config, const wxString& name, ConfigNodeBase& group, wxString& text) {
  const ConfigNodePtr entry = std::make_shared<ConfigNode>(OdString(name.ToStdWstring()));
  long number = 0;
  switch (config.GetEntryType(name)) {
    case wxConfigBase::Type_Integer:
      if (!config.Read(name, &number)) return false;
      (void)entry->setULong(static_cast<uint32_t>(number));
      break;
    case wxConfigBase::Type_String:
      if (!config.Read(name, &text)) return false;
      (void)entry->setString(text.wc_str());
      break;
    default:
      return false;
  }
  return group.addChild(entry);
}

// Reads the group the configuration object stands at into `group`, and everything below it; answers
// the number of entries read.
size_t loadGroup(wxConfigBase& config, ConfigNodeBase& group) {
  size_t loaded = 0;
  wxString name, text;
  long index = 0;
  for (bool more = config.GetFirstEntry(name, index); more; more = config.GetNextEntry(name, index)) {
    loaded += loadEntry(config, name, group, text);
  }
  for (const wxString& name : internal::configNames(config, true)) {
    const ConfigNodePtr child = std::make_shared<ConfigContainerNode>(OdString(name.ToStdWstring()));
    config.SetPath(name);
    loaded += loadGroup(config, *child);
    config.SetPath(L"..");
    group.addChild(child);
  }
  return loaded;
}

// Only groups keep a touched flag.
void clearTouchedBelow(ConfigNodeBase& node) {
  node.clearTouched();
  for (const ConfigNodePtr& child : node.children()) {
    if (child->isGroup()) clearTouchedBelow(*child);
  }
}

}  // namespace

// The values as this store last loaded or saved them, by node: a save writes a value only when its node
// is new, has moved, or holds another value than then, so that values other processes changed meanwhile
// are left to them. The weak pointer tells a node from a later one that happens to get its address.
struct internal::ConfigSnapshot {
  struct Value {
    ConfigValBase::Type type;
    unsigned long number;
    OdString text;
  };
  struct Saved {
    const ConfigNodeBase* entry;
    std::weak_ptr<ConfigNodeBase> node;
    const ConfigNodeBase* parent;
    Value value;
  };

  static Value valueOf(const ConfigNodeBase& node) {
    Value value{node.type(), 0, OdString()};
    (void)node.getULong(value.number);
    (void)node.getString(value.text);
    return value;
  }

  explicit ConfigSnapshot(size_t entries = 0) { m_saved.reserve(entries); }

  void add(const ConfigNodeBase& group) {
    for (const ConfigNodePtr& child : group.children()) {
      if (child->type() == ConfigValBase::eNoNode) continue;
      if (child->isGroup()) {
        add(*child);
      } else {
        m_saved.push_back({child.get(), child, &group, valueOf(*child)});
      }
    }
  }

  // Starts a walk of the tree in the order add() walked it.
  void rewind() { m_next = 0; }

  // Whether the store holds what `entry` holds; if not, `entry` is taken as written from now on.
  bool unchanged(const ConfigNodePtr& entry, const ConfigNodeBase& parent) {
    Saved* saved = find(entry.get());
    // A record of a node that died does not count for a new node at its address.
    if (saved && !saved->node.expired() && saved->parent == &parent && holds(saved->value, *entry)) {
      return true;
    }
    if (saved) {
      *saved = {entry.get(), entry, &parent, valueOf(*entry)};
    } else {
      m_saved.push_back({entry.get(), entry, &parent, valueOf(*entry)});
      if (!m_index.empty()) m_index[entry.get()] = m_saved.size() - 1;
    }
    return false;
  }

 private:
  // A walk meets the entries in the order they were recorded unless the tree changed shape, so the
  // next record is tried first; the index by node is made only when a walk strays.
  Saved* find(const ConfigNodeBase* entry) {
    if (m_next < m_saved.size() && m_saved[m_next].entry == entry) return &m_saved[m_next++];
    if (m_index.empty()) {
      for (size_t i = 0; i < m_saved.size(); ++i) m_index[m_saved[i].entry] = i;
    }
    const auto found = m_index.find(entry);
    if (found == m_index.end()) return nullptr;
    m_next = found->second + 1;
    return &m_saved[found->second];
  }

  // Compares without copying the entry's value out, which most entries of a save would cost.
  bool holds(const Value& value, const ConfigNodeBase& entry) {
    if (value.type != entry.type()) return false;
    unsigned long number = 0;
    if (entry.getULong(number)) return number == value.number;
    return !entry.getString(m_text) || m_text == value.text;
  }

  std::vector<Saved> m_saved;
  size_t m_next = 0;
  std::unordered_map<const ConfigNodeBase*, size_t> m_index;
  OdString m_text;  // reused, so that comparing strings allocates nothing once it has grown
};

namespace {

// Writes the children of `group` at the configuration object's current path. `rewrite`: the store's
// copy of this group was deleted, so everything must be written; otherwise values that the store already
// holds are passed over. Every group is walked, touched or not: a caller holding a node can change it
// without touching the groups above it.
class TreeWriter {
 public:
  // `saved` learns every value written.
  TreeWriter(wxConfigBase& config, internal::ConfigSnapshot& saved) : m_config(config), m_saved(saved) {}

  bool writeChildren(const ConfigNodeBase& group, bool rewrite) {
    bool ok = true;
    for (const ConfigNodePtr& child : group.children()) ok = writeNode(child, group, rewrite) && ok;
    return ok;
  }

 private:
  bool writeNode(const ConfigNodePtr& node, const ConfigNodeBase& parent, bool rewrite) {
    if (node->isDestructiveWrite()) {
      if (node->isGroup()) {
        m_config.DeleteGroup(nameOf(*node));
      } else {
        m_config.DeleteEntry(nameOf(*node), false);
      }
      rewrite = true;
    }
    if (node->type() == ConfigValBase::eNoNode) return true;
    if (!node->isGroup()) return (m_saved.unchanged(node, parent) && !rewrite) || writeValue(*node);
    m_config.SetPath(nameOf(*node));
    const bool ok = writeChildren(*node, rewrite);
    m_config.SetPath(L"..");
    return ok;
  }

  // Made only where needed: most entries of a save are passed over.
  static wxString nameOf(const ConfigNodeBase& node) { return wxString(node.path().str()); }

  bool writeValue(const ConfigNodeBase& entry) {
    unsigned long number = 0;
    OdString text;
    if (entry.getULong(number)) return m_config.Write(nameOf(entry), static_cast<long>(number));
    if (entry.getString(text)) return m_config.Write(nameOf(entry), wxString(text.str()));
    return true;  // an entry without a value has nothing to store
  }

  wxConfigBase& m_config;
  internal::ConfigSnapshot& m_saved;
};

}  // namespace

ConfigStorageWx::ConfigStorageWx(const OdString& path, bool readOnly)
    : ConfigStorage(path), m_readOnly(readOnly) {}

ConfigStorageWx::~ConfigStorageWx() = default;

ConfigNodePtr ConfigStorageWx::load() {
  wxConfigBase* cfg = config();
  const wxString group = absoluteGroup(path());
  if (!cfg) return nullptr;
  beginLoad();
  if (group != L"/" && !cfg->HasGroup(group)) {
    endLoad();
    return nullptr;
  }
  cfg->SetPath(group);
  ConfigNodePtr root = ConfigNode::createNode(lastName(path()) + L"/");
  const size_t loaded = loadGroup(*cfg, *root);
  cfg->SetPath(L"/");
  endLoad();
  clearTouchedBelow(*root);
  m_saved = std::make_unique<internal::ConfigSnapshot>(loaded);
  m_saved->add(*root);
  return root;
}

bool ConfigStorageWx::save(const ConfigNodePtr& root) {
  wxConfigBase* cfg = config();
  if (m_readOnly || !cfg || !root || !beginSave()) return false;
  // A tree this store did not load is written whole.
  if (!m_saved) m_saved = std::make_unique<internal::ConfigSnapshot>();
  const wxString group = absoluteGroup(path());
  const bool rewrite = root->isDestructiveWrite();
  if (rewrite && group != L"/") cfg->DeleteGroup(group);
  bool ok = true;
  if (root->type() != ConfigValBase::eNoNode) {
    cfg->SetPath(group);
    m_saved->rewind();
    ok = TreeWriter(*cfg, *m_saved).writeChildren(*root, rewrite);
    cfg->SetPath(L"/");
  }
  if (!endSave(ok)) {
    m_saved.reset();  // what it learnt did not reach the store
    return false;
  }
  clearTouchedBelow(*root);
  return true;
}

// --- The stores themselves ---

namespace {

// Which store the configuration lives in, for the whole process.
struct FileStorageSetting {
  std::mutex mutex;
  bool inUse = false;
  OdString fileName;
};

FileStorageSetting& fileStorageSetting() {
  static FileStorageSetting setting;
  return setting;
}

wxString companyName() { return Config::regCompany().c_str(); }
wxString productName() { return Config::regProduct().c_str(); }

// The registry from HKEY_CURRENT_USER down: the stores' paths are the configuration's own paths.
class RegistryStore : public internal::DirectStore {
 public:
  RegistryStore() : m_config(eCurrentUser, OdString()) { m_config.SetExpandEnvVars(false); }
  wxConfigBase& config() override { return m_config; }
  bool begin(bool write) override { return m_config.beginTransaction(write); }
  bool commit() override { return m_config.commitTransaction(); }
  void rollback() override { m_config.rollbackTransaction(); }
  void readAhead(const wxString& path) override { m_config.readAhead(path); }

 private:
  RegistryConfig m_config;
};

// The configuration file, read when the store is opened and replaced whole by commit().
class FileStore : public internal::DirectStore {
 public:
  FileStore() : m_fileName(ConfigFileStorage::fileName()) { rollback(); }
  wxConfigBase& config() override { return *m_config; }
  bool begin(bool) override { return true; }
  bool commit() override {
    wxFileName::Mkdir(wxFileName(m_fileName.c_str()).GetPath(), wxS_DIR_DEFAULT, wxPATH_MKDIR_FULL);
    return m_config->Flush();
  }
  // What was changed in memory goes: the file still holds the last complete change.
  void rollback() override {
    m_config = std::make_unique<TypesafeFileConfig>(productName(), companyName(), m_fileName.c_str());
    m_config->SetExpandEnvVars(false);
  }

 private:
  OdString m_fileName;
  std::unique_ptr<TypesafeFileConfig> m_config;
};

bool endTransaction(internal::DirectStore& store, bool success) {
  if (success) return store.commit();
  store.rollback();
  return false;
}

}  // namespace

std::unique_ptr<internal::DirectStore> internal::openDirectStore() {
  if (ConfigFileStorage::inUse()) return std::make_unique<FileStore>();
  return std::make_unique<RegistryStore>();
}

ConfigRegistryStorage::ConfigRegistryStorage(const OdString& path, bool readOnly)
    : ConfigStorageWx(path, readOnly), m_store(std::make_unique<RegistryStore>()) {}

ConfigRegistryStorage::~ConfigRegistryStorage() = default;

wxConfigBase* ConfigRegistryStorage::config() { return &m_store->config(); }

// A load walks every key and value of the tree: they are read ahead at once.
void ConfigRegistryStorage::beginLoad() {
  if (m_store->begin(false)) m_store->readAhead(absoluteGroup(path()));
}

void ConfigRegistryStorage::endLoad() { m_store->commit(); }

bool ConfigRegistryStorage::beginSave() { return m_store->begin(true); }

bool ConfigRegistryStorage::endSave(bool success) { return endTransaction(*m_store, success); }

// --- File ---

namespace {

// A number's text: "dword:" and eight lower-case hexadecimal digits.
bool isNumberText(std::wstring_view text) {
  return text.size() == 14 && text.starts_with(L"dword:") &&
         std::all_of(text.begin() + 6, text.end(),
                     [](wchar_t c) { return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f'); });
}

// A string that starts like a number ("dword:" after any number of backslashes) is stored with one
// backslash more, so that it never reads as one.
bool startsLikeNumber(std::wstring_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(L'\\'), text.size()));
  return text.starts_with(L"dword:");
}

}  // namespace

TypesafeFileConfig::TypesafeFileConfig(const wxString& appName, const wxString& vendorName,
                                       const wxString& fileName)
    // The name is taken as it is: completing a relative one would need wxWidgets' application object.
    : wxFileConfig(appName, vendorName, fileName, wxEmptyString,
                   wxCONFIG_USE_LOCAL_FILE | wxCONFIG_USE_RELATIVE_PATH) {
  DisableAutoSave();
}

wxConfigBase::EntryType TypesafeFileConfig::GetEntryType(const wxString& name) const {
  wxString text;
  if (!wxFileConfig::DoReadString(name, &text)) return Type_Unknown;
  return isNumberText(text.ToStdWstring()) ? Type_Integer : Type_String;
}

bool TypesafeFileConfig::DoReadString(const wxString& key, wxString* value) const {
  wxString text;
  if (!wxFileConfig::DoReadString(key, &text)) return false;
  const std::wstring stored = text.ToStdWstring();
  if (isNumberText(stored)) return false;
  *value = startsLikeNumber(stored) ? text.Mid(1) : text;
  return true;
}

bool TypesafeFileConfig::DoReadLong(const wxString& key, long* value) const {
  wxString text;
  if (!wxFileConfig::DoReadString(key, &text) || !isNumberText(text.ToStdWstring())) {
    return false;
  }
  unsigned long number = 0;
  if (!text.Mid(6).ToULong(&number, 16)) return false;
  *value = static_cast<int32_t>(number);
  return true;
}

bool TypesafeFileConfig::DoWriteString(const wxString& key, const wxString& value) {
  return wxFileConfig::DoWriteString(key, startsLikeNumber(value.ToStdWstring()) ? L"\\" + value : value);
}

bool TypesafeFileConfig::DoWriteLong(const wxString& key, long value) {
  if (!internal::fitsDword(value)) return false;
  return wxFileConfig::DoWriteString(key, wxString::Format(L"dword:%08x", static_cast<unsigned>(value)));
}

ConfigFileStorage::ConfigFileStorage(const OdString& path, bool readOnly)
    : ConfigStorageWx(path, readOnly), m_store(std::make_unique<FileStore>()) {}

ConfigFileStorage::~ConfigFileStorage() = default;

wxConfigBase* ConfigFileStorage::config() { return &m_store->config(); }

bool ConfigFileStorage::endSave(bool success) { return endTransaction(*m_store, success); }

void ConfigFileStorage::use(bool inUse, const OdString& fileName) {
  FileStorageSetting& setting = fileStorageSetting();
  std::lock_guard lock(setting.mutex);
  setting.inUse = inUse;
  setting.fileName = fileName;
}

bool ConfigFileStorage::inUse() {
  FileStorageSetting& setting = fileStorageSetting();
  std::lock_guard lock(setting.mutex);
  return setting.inUse;
}

OdString ConfigFileStorage::fileName() {
  FileStorageSetting& setting = fileStorageSetting();
  std::lock_guard lock(setting.mutex);
  return setting.fileName.isEmpty() ? Config::getConfigFileName() : setting.fileName;
}

// --- Managers ---

std::shared_ptr<ConfigStorageWx> ConfigManagerBase::createStorage(const OdString& path, bool readOnly) {
  if (ConfigFileStorage::inUse()) return std::make_shared<ConfigFileStorage>(path, readOnly);
  return std::make_shared<ConfigRegistryStorage>(path, readOnly);
}

ConfigNodePtr ConfigManagerBase::importNode(const OdString& path) {
  return createStorage(path, true)->load();
}

bool ConfigManagerBase::exportNode(const ConfigNodePtr& node, const OdString& path) {
  return createStorage(path, false)->save(node);
}

}  // namespace ut
