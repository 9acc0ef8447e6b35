#include "ut_config_storage.h"

#include "config/ut_config_names.h"
#include "config/ut_config_storage_p.h"
#include "core/ut_assert_p.h"
#include "core/ut_wx.h"
#include "ut_registry_config.h"

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
  return internal::fromWx(group.AfterLast(L'/'));
}

// Reads the value `name` into `node`: a group's own value when the name is empty, else a new entry.
// Whether a value was loaded: the tree holds numbers and strings only. `text` is the caller's, so that
// reading one string after another reuses its buffer.
bool loadEntry(const wxConfigBase& config, const wxString& name, ConfigNodeBase& group, wxString& text) {
  const ConfigNodePtr entry =
      name.empty() ? nullptr : std::make_shared<ConfigNode>(OdString(name.ToStdWstring()));
  ConfigNodeBase& node = entry ? *entry : group;
  long number = 0;
  switch (config.GetEntryType(name)) {
    case wxConfigBase::Type_Integer:
      if (!config.Read(name, &number)) return false;
      (void)node.setULong(static_cast<uint32_t>(number));
      break;
    case wxConfigBase::Type_String:
      if (!config.Read(name, &text)) return false;
      (void)node.setString(text.wc_str());
      break;
    default:
      return false;
  }
  return !entry || group.addChild(entry);
}

// Reads the group the configuration object stands at into `group`, and everything below it; answers
// the number of values read.
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

// The node a replacement stands for: what the tree holds once the replacement has been saved. Of the
// live nodes only a replacement asks for a destructive write, which is cheaper to ask than a cast.
const ConfigNodePtr& plain(const ConfigNodePtr& node) {
  if (!node->isDestructiveWrite()) return node;
  const auto* replaced = dynamic_cast<const ConfigReplacedNode*>(node.get());
  return replaced ? replaced->wrapped() : node;
}

}  // namespace

// The values as this store last loaded or saved them, by node: a save writes a value only when its node
// is new, has moved, or holds another value than then, so that values other processes changed meanwhile
// are left to them. The weak pointer tells a node from a later one that happens to get its address. A
// group's own value is recorded under the group's node. Nodes are taken as plain() gives them: what a
// replacement stands for.
struct internal::ConfigSnapshot {
  struct Value {
    ConfigValBase::Type type;
    unsigned long number;
    OdString text;
  };
  struct Saved {
    const ConfigNodeBase* node;
    std::weak_ptr<ConfigNodeBase> alive;
    const ConfigNodeBase* parent;
    Value value;
  };

  static Value valueOf(const ConfigNodeBase& node) {
    Value value{node.type(), 0, OdString()};
    (void)node.getULong(value.number);
    (void)node.getString(value.text);
    return value;
  }

  explicit ConfigSnapshot(size_t values = 0) { m_saved.reserve(values); }

  // Records the values of a loaded tree, which holds no markers: that of `group`, whose parent is
  // `parent` (null for the root), and those below it.
  void add(const ConfigNodePtr& group, const ConfigNodeBase* parent) {
    if (group->type() > ConfigValBase::eNoValue) m_saved.push_back(saved(group, parent));
    for (const ConfigNodePtr& child : group->children()) {
      if (child->isGroup()) {
        add(child, group.get());
      } else {
        m_saved.push_back(saved(child, group.get()));
      }
    }
  }

  // Starts a walk of the tree in the order add() walked it.
  void rewind() { m_next = 0; }

  // Whether the store holds what `node` holds, as this store last loaded or saved it.
  bool unchanged(const ConfigNodePtr& node, ConfigValBase::Type type, const ConfigNodeBase* parent) {
    m_found = find(node.get());
    // A record of a node that died does not count for a new node at its address.
    return m_found && !m_found->alive.expired() && m_found->parent == parent &&
           holds(m_found->value, *node, type);
  }

  // After unchanged(): the store now holds what `node` holds.
  void record(const ConfigNodePtr& node, const ConfigNodeBase* parent) {
    if (m_found && m_found->node == node.get()) {
      *m_found = saved(node, parent);
    } else {
      m_saved.push_back(saved(node, parent));
      if (!m_index.empty()) m_index[m_saved.back().node] = m_saved.size() - 1;
    }
    m_found = nullptr;
  }

 private:
  static Saved saved(const ConfigNodePtr& node, const ConfigNodeBase* parent) {
    return {node.get(), node, parent, valueOf(*node)};
  }

  // A walk meets the values in the order they were recorded unless the tree changed shape, so the next
  // record is tried first; the index by node is made only when a walk strays.
  Saved* find(const ConfigNodeBase* node) {
    if (m_next < m_saved.size() && m_saved[m_next].node == node) return &m_saved[m_next++];
    if (m_index.empty()) {
      for (size_t i = 0; i < m_saved.size(); ++i) m_index[m_saved[i].node] = i;
    }
    const auto found = m_index.find(node);
    if (found == m_index.end()) return nullptr;
    m_next = found->second + 1;
    return &m_saved[found->second];
  }

  // Compares without copying the node's value out, which most values of a save would cost.
  bool holds(const Value& value, const ConfigNodeBase& node, ConfigValBase::Type type) {
    if (value.type != type) return false;
    unsigned long number = 0;
    if (node.getULong(number)) return number == value.number;
    return !node.getString(m_text) || m_text == value.text;
  }

  std::vector<Saved> m_saved;
  size_t m_next = 0;
  Saved* m_found = nullptr;
  std::unordered_map<const ConfigNodeBase*, size_t> m_index;
  OdString m_text;  // reused, so that comparing strings allocates nothing once it has grown
};

namespace {

// Writes a tree at the configuration object's current path. `rewrite`: the store's copy of a group was
// deleted, so everything in it must be written; otherwise values that the store already holds are
// passed over. Every group is walked, touched or not: a caller holding a node can change it without
// touching the groups above it. A node whose name the store cannot hold is reported and left out.
class TreeWriter {
 public:
  // `saved` learns every value written.
  TreeWriter(wxConfigBase& config, internal::ConfigSnapshot& saved) : m_config(config), m_saved(saved) {}

  // The group's own value, then its children; `group` as plain() gives it, `parent` null for the root.
  bool writeGroup(const ConfigNodePtr& group, const ConfigNodeBase* parent, bool rewrite) {
    bool ok = writeValue(group, std::wstring_view(), parent, rewrite);
    bool markers = false;
    for (const ConfigNodePtr& child : group->children()) {
      const bool destructive = child->isDestructiveWrite();
      markers = markers || destructive;
      ok = writeNode(destructive ? plain(child) : child, destructive, group.get(), rewrite) && ok;
    }
    if (markers) m_groupsWithMarkers.push_back(group);
    return ok;
  }

  // Once the save is done, the markers it carried out leave the tree.
  void settleMarkers() const {
    for (const ConfigNodePtr& group : m_groupsWithMarkers) {
      if (auto* container = dynamic_cast<ConfigContainerNode*>(group.get())) container->settleMarkers();
    }
  }

 private:
  // A name is checked before it reaches the store: most entries of a save are passed over unnamed. A
  // tombstone has no value to write, and a group marker no children.
  bool writeNode(const ConfigNodePtr& node, bool destructive, const ConfigNodeBase* parent, bool rewrite) {
    const bool isGroup = node->isGroup();
    if ((isGroup || destructive) && !storable(*node)) return false;
    if (destructive) {
      if (isGroup) {
        m_config.DeleteGroup(nameOf(*node));
      } else {
        m_config.DeleteEntry(nameOf(*node), false);
      }
      rewrite = true;
    }
    if (!isGroup) return writeValue(node, node->path().view(), parent, rewrite);
    if (node->type() == ConfigValBase::eNoNode) return true;
    m_config.SetPath(nameOf(*node));
    const bool ok = writeGroup(node, parent, rewrite);
    m_config.SetPath(L"..");
    return ok;
  }

  // Made only where needed: most nodes of a save are passed over.
  static wxString nameOf(const ConfigNodeBase& node) { return wxString(node.path().str()); }

  bool storable(const ConfigNodeBase& node) {
    const std::string problem = internal::configNameProblem(node.path().view(), !node.isGroup());
    if (problem.empty()) return true;
    const wxString where = m_config.GetPath() + L"/" + nameOf(node);
    return internal::report("ut::ConfigStorage::save",
                            "Left out \"" + std::string(where.utf8_str()) + "\": " + problem);
  }

  // Writes the value of `node` under `name` (empty for a group's own value).
  bool writeValue(const ConfigNodePtr& node, std::wstring_view name, const ConfigNodeBase* parent,
                  bool rewrite) {
    const ConfigValBase::Type type = node->type();
    if (type <= ConfigValBase::eNoValue) return true;  // nothing to store
    if (m_saved.unchanged(node, type, parent) && !rewrite) return true;
    if (!name.empty() && !storable(*node)) return false;
    unsigned long number = 0;
    OdString text;
    const wxString key = name.empty() ? wxString() : wxString(name.data(), name.size());
    const bool written = node->getULong(number)
                             ? m_config.Write(key, static_cast<long>(number))
                             : node->getString(text) && m_config.Write(key, wxString(text.str()));
    if (written) m_saved.record(node, parent);
    return written;
  }

  wxConfigBase& m_config;
  internal::ConfigSnapshot& m_saved;
  std::vector<ConfigNodePtr> m_groupsWithMarkers;
};

}  // namespace

ConfigStorageWx::ConfigStorageWx(const OdString& path, bool readOnly,
                                 std::unique_ptr<internal::DirectStore> store)
    : ConfigStorage(path), m_readOnly(readOnly), m_store(std::move(store)) {}

ConfigStorageWx::~ConfigStorageWx() = default;

wxConfigBase* ConfigStorageWx::config() { return &m_store->config(); }

// A load walks every key and value of the tree, in one reading transaction: they are read ahead at once.
ConfigNodePtr ConfigStorageWx::load() {
  const wxString group = absoluteGroup(path());
  if (!m_store->begin(false)) return nullptr;
  wxConfigBase& cfg = m_store->config();
  if (group != L"/" && !cfg.HasGroup(group)) {
    m_store->commit();
    return nullptr;
  }
  m_store->readAhead(group);
  cfg.SetPath(group);
  ConfigNodePtr root = ConfigNode::createNode(lastName(path()) + L"/");
  const size_t loaded = loadGroup(cfg, *root);
  cfg.SetPath(L"/");
  m_store->commit();
  clearTouchedBelow(*root);
  m_saved = std::make_unique<internal::ConfigSnapshot>(loaded);
  m_saved->add(root, nullptr);
  return root;
}

// What was written is kept even where a part failed: one bad group costs only itself.
bool ConfigStorageWx::save(const ConfigNodePtr& root) {
  if (m_readOnly || !root || !m_store->begin(true)) return false;
  wxConfigBase& cfg = m_store->config();
  // A tree this store did not load is written whole.
  if (!m_saved) m_saved = std::make_unique<internal::ConfigSnapshot>();
  const wxString group = absoluteGroup(path());
  const bool rewrite = root->isDestructiveWrite();
  if (rewrite && group != L"/") cfg.DeleteGroup(group);
  bool ok = true;
  TreeWriter writer(cfg, *m_saved);
  if (root->type() != ConfigValBase::eNoNode) {
    cfg.SetPath(group);
    m_saved->rewind();
    ok = writer.writeGroup(plain(root), nullptr, rewrite);
    cfg.SetPath(L"/");
  }
  if (!m_store->commit()) {
    m_saved.reset();  // what it learnt did not reach the store
    return false;
  }
  clearTouchedBelow(*root);
  if (ok) writer.settleMarkers();  // where a part failed, its markers stay to be carried out again
  return ok;
}

// --- The stores themselves ---

namespace {

// The registry from HKEY_CURRENT_USER down: the stores' paths are the configuration's own paths.
class RegistryDirectStore : public internal::DirectStore {
 public:
  RegistryDirectStore() : m_config(eCurrentUser, OdString()) { m_config.SetExpandEnvVars(false); }
  wxConfigBase& config() override { return m_config; }
  bool begin(bool write) override { return m_config.beginTransaction(write); }
  bool commit() override { return m_config.commitTransaction(); }
  void rollback() override { m_config.rollbackTransaction(); }
  void readAhead(const wxString& path) override { m_config.readAhead(path); }

 private:
  RegistryConfig m_config;
};

}  // namespace

std::unique_ptr<internal::DirectStore> internal::openRegistryStore() {
  return std::make_unique<RegistryDirectStore>();
}

std::unique_ptr<internal::DirectStore> internal::openDirectStore() {
  return ConfigFileStorage::inUse() ? openFileStore() : openRegistryStore();
}

ConfigRegistryStorage::ConfigRegistryStorage(const OdString& path, bool readOnly)
    : ConfigStorageWx(path, readOnly, internal::openRegistryStore()) {}

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
