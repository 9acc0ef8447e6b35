#include "ut_config_area.h"

#include "ut_config_names.h"
#include "ut_nocase.h"
#include "ut_registry_values.h"

namespace ut::internal {

std::pair<OdString, OdString> splitLastName(const OdString& path) {
  OdString trimmed = path;
  trimmed.trimRight(L'/');
  const int slash = trimmed.reverseFind(L'/');
  return {slash < 0 ? OdString() : trimmed.left(slash), trimmed.mid(slash + 1)};
}

bool SettingsArea::rename(const OdString& from, const OdString& to, bool isGroup) {
  OdString source = from, target = to;
  if (equalNoCase(source.trimRight(L'/').view(), target.trimRight(L'/').view())) {
    return copy(from, to, isGroup);  // only the spelling changes: the copy takes the old one's place
  }
  return copy(from, to, isGroup) && remove(from, isGroup);
}

int SettingsArea::count(const OdString& path, bool groups) {
  int count = 0;
  list(path, groups, [&](const OdString&) { ++count; });
  return count;
}

// --- Tree ---

namespace {

ConfigNodePtr live(ConfigNodePtr node) {
  return node && node->type() != ConfigValBase::eNoNode ? node : nullptr;
}

ConfigNodePtr find(const ConfigNodePtr& root, const OdString& path) {
  OdString trimmed = path;
  trimmed.trimRight(L'/');
  if (!root || trimmed.isEmpty()) return root;
  return live(root->childAt(trimmed));
}

ConfigNodePtr findOf(const ConfigNodePtr& root, const OdString& path, bool isGroup) {
  ConfigNodePtr node = find(root, path);
  return node && node->isGroup() == isGroup ? node : nullptr;
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

}  // namespace

bool TreeArea::hasGroup(const OdString& path) { return findOf(m_root, path, true) != nullptr; }

bool TreeArea::hasEntry(const OdString& path) { return findOf(m_root, path, false) != nullptr; }

ECfgType TreeArea::entryType(const OdString& path) {
  const ConfigNodePtr entry = findOf(m_root, path, false);
  if (!entry) return eCfgTypeUnknown;
  switch (entry->type()) {
    case ConfigValBase::eULong:
      return eCfgTypeInteger;
    case ConfigValBase::eString:
      return eCfgTypeString;
    default:
      return eCfgTypeUnknown;
  }
}

bool TreeArea::readNumber(const OdString& path, long& value) {
  const ConfigNodePtr entry = findOf(m_root, path, false);
  unsigned long number = 0;
  if (!entry || !entry->getULong(number)) return false;
  value = static_cast<int32_t>(number);  // a dword, read as the signed number it was written as
  return true;
}

bool TreeArea::readText(const OdString& path, OdString& value) {
  const ConfigNodePtr entry = findOf(m_root, path, false);
  return entry && entry->getString(value);
}

ConfigNodePtr TreeArea::entryForWriting(const OdString& path) {
  const auto [groupPath, name] = splitLastName(path);
  const ConfigNodePtr group = m_root ? makeGroup(m_root, groupPath) : nullptr;
  return group && !name.isEmpty() ? child(group, name, false) : nullptr;
}

bool TreeArea::writeNumber(const OdString& path, long value) {
  if (!fitsDword(value)) return false;
  const ConfigNodePtr entry = entryForWriting(path);
  return entry && entry->setULong(static_cast<uint32_t>(value));
}

bool TreeArea::writeText(const OdString& path, const OdString& value) {
  const ConfigNodePtr entry = entryForWriting(path);
  return entry && entry->setString(value.c_str());
}

bool TreeArea::remove(const OdString& path, bool isGroup) {
  const ConfigNodePtr node = findOf(m_root, path, isGroup);
  const ConfigNodePtr parent = node ? findOf(m_root, splitLastName(path).first, true) : nullptr;
  return parent && node != m_root && parent->removeChild(node);
}

bool TreeArea::copy(const OdString& from, const OdString& to, bool isGroup) {
  const ConfigNodePtr source = findOf(m_root, from, isGroup);
  const auto [targetGroup, targetName] = splitLastName(to);
  if (!source || source == m_root || targetName.isEmpty()) return false;
  const ConfigNodePtr parent = makeGroup(m_root, targetGroup);
  const ConfigNodePtr copy = ConfigNode::cloneNodeTo(source, targetName, false);
  return parent && copy && parent->addChild(copy);
}

ConfigNodePtr TreeArea::groupAt(const OdString& path, bool create) {
  if (create && m_root) return makeGroup(m_root, path);
  return findOf(m_root, path, true);
}

bool TreeArea::list(const OdString& path, bool groups, const NameSink& add) {
  const ConfigNodePtr group = findOf(m_root, path, true);
  if (!group) return false;
  for (const ConfigNodePtr& node : group->children()) {
    if (live(node) && node->isGroup() == groups) add(node->path());
  }
  return true;
}

// --- Store ---

namespace {

wxString withoutTrailingSlashes(wxString path) {
  while (path.EndsWith(L"/")) path.RemoveLast();
  return path;
}

// The config object stands at the root while an area works; a relative name is made absolute.
class PathScope {
 public:
  PathScope(wxConfigBase& config, const wxString& group) : m_config(config) { m_config.SetPath(group); }
  ~PathScope() { m_config.SetPath(L"/"); }

 private:
  wxConfigBase& m_config;
};

}  // namespace

StoreArea::StoreArea(const OdString& root, bool write)
    : m_store(openDirectStore()), m_root(withoutTrailingSlashes(L"/" + wxString(root.c_str()))) {
  m_open = m_store->begin(write);
}

StoreArea::~StoreArea() {
  if (m_open) m_store->rollback();
}

wxString StoreArea::at(const OdString& path) const {
  const wxString relative = withoutTrailingSlashes(wxString(path.c_str()));
  return relative.empty() ? (m_root.empty() ? wxString(L"/") : m_root) : m_root + L"/" + relative;
}

bool StoreArea::hasGroup(const OdString& path) { return m_open && m_store->config().HasGroup(at(path)); }

bool StoreArea::hasEntry(const OdString& path) { return m_open && m_store->config().HasEntry(at(path)); }

ECfgType StoreArea::entryType(const OdString& path) {
  if (!m_open) return eCfgTypeUnknown;
  switch (m_store->config().GetEntryType(at(path))) {
    case wxConfigBase::Type_String:
      return eCfgTypeString;
    case wxConfigBase::Type_Boolean:
      return eCfgTypeBool;
    case wxConfigBase::Type_Integer:
      return eCfgTypeInteger;
    case wxConfigBase::Type_Float:
      return eCfgTypeDouble;
    default:
      return eCfgTypeUnknown;
  }
}

bool StoreArea::readNumber(const OdString& path, long& value) {
  return entryType(path) == eCfgTypeInteger && m_store->config().Read(at(path), &value);
}

bool StoreArea::readText(const OdString& path, OdString& value) {
  wxString text;
  if (entryType(path) != eCfgTypeString || !m_store->config().Read(at(path), &text)) return false;
  value = OdString(text.wc_str());
  return true;
}

bool StoreArea::writeNumber(const OdString& path, long value) {
  return m_open && fitsDword(value) && m_store->config().Write(at(path), value);
}

bool StoreArea::writeText(const OdString& path, const OdString& value) {
  return m_open && m_store->config().Write(at(path), wxString(value.c_str()));
}

bool StoreArea::remove(const OdString& path, bool isGroup) {
  if (!m_open || path.isEmpty()) return false;
  wxConfigBase& config = m_store->config();
  const wxString name = at(path);
  return isGroup ? config.HasGroup(name) && config.DeleteGroup(name)
                 : config.HasEntry(name) && config.DeleteEntry(name, false);
}

bool StoreArea::copyEntry(const wxString& from, const wxString& to) {
  wxConfigBase& config = m_store->config();
  long number = 0;
  wxString text;
  if (config.GetEntryType(from) == wxConfigBase::Type_Integer) {
    return config.Read(from, &number) && config.Write(to, number);
  }
  return config.Read(from, &text) && config.Write(to, text);
}

bool StoreArea::copyGroup(const wxString& from, const wxString& to) {
  wxConfigBase& config = m_store->config();
  std::vector<wxString> entries, groups;
  {
    const PathScope scope(config, from);
    entries = configNames(config, false);
    groups = configNames(config, true);
  }
  { const PathScope made(config, to); }  // an empty group is copied too: SetPath makes a missing one
  for (const wxString& name : entries) {
    if (!copyEntry(from + L"/" + name, to + L"/" + name)) return false;
  }
  for (const wxString& name : groups) {
    if (!copyGroup(from + L"/" + name, to + L"/" + name)) return false;
  }
  return true;
}

bool StoreArea::copy(const OdString& from, const OdString& to, bool isGroup) {
  if (!m_open || from.isEmpty() || to.isEmpty()) return false;
  wxConfigBase& config = m_store->config();
  const wxString source = at(from), target = at(to);
  if (!isGroup) return config.HasEntry(source) && copyEntry(source, target);
  if (!config.HasGroup(source)) return false;
  if (config.HasGroup(target) && !equalNoCase(source.wc_str(), target.wc_str())) config.DeleteGroup(target);
  return copyGroup(source, target);
}

bool StoreArea::list(const OdString& path, bool groups, const NameSink& add) {
  wxConfigBase& config = m_store->config();
  if (!m_open || (!path.isEmpty() && !config.HasGroup(at(path)))) return false;
  const PathScope scope(config, at(path));
  for (const wxString& name : configNames(config, groups)) add(OdString(name.wc_str()));
  return true;
}

bool StoreArea::commit() {
  if (!m_open) return false;
  m_open = false;
  return m_store->commit();
}

}  // namespace ut::internal
