#include "ut_config_storage.h"

#include "ut_registry_values.h"

namespace ut {

namespace {

ConfigNodePtr live(ConfigNodePtr node) {
  return node && node->type() != ConfigValBase::eNoNode ? node : nullptr;
}

OdString withoutTrailingSlashes(OdString path) {
  path.trimRight(L'/');
  return path;
}

// The group of `path` and the last name in it: "a/b/c" gives "a/b" and "c", "a/b/" gives "a" and "b".
std::pair<OdString, OdString> splitLast(const OdString& path) {
  const OdString trimmed = withoutTrailingSlashes(path);
  const int slash = trimmed.reverseFind(L'/');
  return {slash < 0 ? OdString() : trimmed.left(slash), trimmed.mid(slash + 1)};
}

ConfigNodePtr find(const ConfigNodePtr& root, const OdString& path) {
  const OdString trimmed = withoutTrailingSlashes(path);
  if (!root || trimmed.isEmpty()) return root;
  return live(root->childAt(trimmed));
}

ConfigNodePtr findGroup(const ConfigNodePtr& root, const OdString& path) {
  ConfigNodePtr node = find(root, path);
  return node && node->isGroup() ? node : nullptr;
}

ConfigNodePtr findEntry(const ConfigNodePtr& root, const OdString& path) {
  ConfigNodePtr node = find(root, path);
  return node && !node->isGroup() ? node : nullptr;
}

// The child `name` of `group` as a live node of the kind asked for, made (in place of a marker or a
// node of the other kind) when missing.
ConfigNodePtr child(const ConfigNodePtr& group, const OdString& name, bool isGroup) {
  ConfigNodePtr node = live(group->childAt(name));
  if (node && node->isGroup() == isGroup) return node;
  if (!group->addChild(ConfigNode::createNode(isGroup ? name + L"/" : name))) return nullptr;
  return group->childAt(name);
}

ConfigNodePtr makeGroup(ConfigNodePtr group, const OdString& path) {
  for (int start = 0; group && start < path.getLength();) {
    const int slash = path.find(L'/', start);
    const int end = slash < 0 ? path.getLength() : slash;
    if (end > start) group = child(group, path.mid(start, end - start), true);
    start = end + 1;
  }
  return group;
}

template <class Names>
bool listChildren(const ConfigNodePtr& group, bool groups, Names add) {
  if (!group) return false;
  for (const ConfigNodePtr& node : group->children()) {
    if (live(node) && node->isGroup() == groups) add(node->path());
  }
  return true;
}

}  // namespace

struct ConfigBase::Impl {
  std::shared_ptr<ConfigStorageWx> storage;
  ConfigNodePtr root;

  ConfigNodePtr entryForWriting(const OdString& path) {
    if (!root) root = ConfigNode::createNode(splitLast(storage->path()).second + L"/");
    const auto [groupPath, name] = splitLast(path);
    const ConfigNodePtr group = makeGroup(root, groupPath);
    return group && !name.isEmpty() ? child(group, name, false) : nullptr;
  }

  bool remove(const OdString& path, bool isGroup) {
    const ConfigNodePtr node = isGroup ? findGroup(root, path) : findEntry(root, path);
    const ConfigNodePtr parent = node ? findGroup(root, splitLast(path).first) : nullptr;
    return parent && node != root && parent->removeChild(node);
  }
};

ConfigBase::ConfigBase(const OdString& rootPath)
    : ConfigManagerBase(rootPath), m_impl(std::make_unique<Impl>()) {
  m_impl->storage = createStorage(rootPath, false);
  m_impl->root = m_impl->storage->load();
}

ConfigBase::~ConfigBase() = default;

bool ConfigBase::isInited() const { return m_impl->root != nullptr; }

bool ConfigBase::hasGroup(const OdString& path) const { return findGroup(m_impl->root, path) != nullptr; }

bool ConfigBase::hasEntry(const OdString& path) const { return findEntry(m_impl->root, path) != nullptr; }

bool ConfigBase::read(const OdString& path, bool& value) const {
  long number = 0;
  if (!read(path, number)) return false;
  value = number != 0;
  return true;
}

bool ConfigBase::read(const OdString& path, long& value) const {
  const ConfigNodePtr entry = findEntry(m_impl->root, path);
  unsigned long number = 0;
  if (!entry || !entry->getULong(number)) return false;
  value = static_cast<int32_t>(number);  // a dword, read as the signed number it was written as
  return true;
}

bool ConfigBase::read(const OdString& path, OdString& value) const {
  const ConfigNodePtr entry = findEntry(m_impl->root, path);
  return entry && entry->getString(value);
}

bool ConfigBase::writeBool(const OdString& path, bool value) { return writeLong(path, value ? 1 : 0); }

bool ConfigBase::writeLong(const OdString& path, long value) {
  if (!internal::fitsDword(value)) return false;
  const ConfigNodePtr entry = m_impl->entryForWriting(path);
  return entry && entry->setULong(static_cast<uint32_t>(value));
}

bool ConfigBase::writeString(const OdString& path, const OdString& value) {
  const ConfigNodePtr entry = m_impl->entryForWriting(path);
  return entry && entry->setString(value.c_str());
}

bool ConfigBase::deleteGroup(const OdString& path) { return m_impl->remove(path, true); }

bool ConfigBase::deleteEntry(const OdString& path) { return m_impl->remove(path, false); }

bool ConfigBase::listGroups(const OdString& path, OdArray<OdString>& names) const {
  return listChildren(findGroup(m_impl->root, path), true, [&](const OdString& name) { names.append(name); });
}

bool ConfigBase::listEntries(const OdString& path, OdArray<OdString>& names) const {
  return listChildren(findGroup(m_impl->root, path), false,
                      [&](const OdString& name) { names.append(name); });
}

int ConfigBase::countGroups(const OdString& path) const {
  int count = 0;
  listChildren(findGroup(m_impl->root, path), true, [&](const OdString&) { ++count; });
  return count;
}

int ConfigBase::countEntries(const OdString& path) const {
  int count = 0;
  listChildren(findGroup(m_impl->root, path), false, [&](const OdString&) { ++count; });
  return count;
}

bool ConfigBase::flush() { return m_impl->root && m_impl->storage->save(m_impl->root); }

}  // namespace ut
