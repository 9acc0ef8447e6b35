#include "ut_config_storage.h"

#include "config/ut_config_area.h"

namespace ut {

struct ConfigBase::Impl {
  std::shared_ptr<ConfigStorageWx> storage;
  ConfigNodePtr root;
  bool inited = false;
  // A const member of ConfigBase still reads through the area, which may mark nodes touched.
  mutable internal::TreeArea area{nullptr};
};

ConfigBase::ConfigBase(const OdString& rootPath)
    : ConfigManagerBase(rootPath), m_impl(std::make_unique<Impl>()) {
  m_impl->storage = createStorage(rootPath, false);
  m_impl->root = m_impl->storage->load();
  m_impl->inited = m_impl->root != nullptr;
  if (!m_impl->root) m_impl->root = ConfigNode::createNode(internal::splitLastName(rootPath).second + L"/");
  m_impl->area = internal::TreeArea(m_impl->root);
}

ConfigBase::~ConfigBase() = default;

bool ConfigBase::isInited() const { return m_impl->inited; }

bool ConfigBase::hasGroup(const OdString& path) const { return m_impl->area.hasGroup(path); }

bool ConfigBase::hasEntry(const OdString& path) const { return m_impl->area.hasEntry(path); }

bool ConfigBase::read(const OdString& path, bool& value) const {
  long number = 0;
  if (!read(path, number)) return false;
  value = number != 0;
  return true;
}

bool ConfigBase::read(const OdString& path, long& value) const {
  return m_impl->area.readNumber(path, value);
}

bool ConfigBase::read(const OdString& path, OdString& value) const {
  return m_impl->area.readText(path, value);
}

bool ConfigBase::writeBool(const OdString& path, bool value) { return writeLong(path, value ? 1 : 0); }

bool ConfigBase::writeLong(const OdString& path, long value) { return m_impl->area.writeNumber(path, value); }

bool ConfigBase::writeString(const OdString& path, const OdString& value) {
  return m_impl->area.writeText(path, value);
}

bool ConfigBase::deleteGroup(const OdString& path) { return m_impl->area.remove(path, true); }

bool ConfigBase::deleteEntry(const OdString& path) { return m_impl->area.remove(path, false); }

bool ConfigBase::listGroups(const OdString& path, OdArray<OdString>& names) const {
  return m_impl->area.list(path, true, [&](const OdString& name) { names.append(name); });
}

bool ConfigBase::listEntries(const OdString& path, OdArray<OdString>& names) const {
  return m_impl->area.list(path, false, [&](const OdString& name) { names.append(name); });
}

int ConfigBase::countGroups(const OdString& path) const { return m_impl->area.count(path, true); }

int ConfigBase::countEntries(const OdString& path) const { return m_impl->area.count(path, false); }

bool ConfigBase::flush() { return m_impl->storage->save(m_impl->root); }

}  // namespace ut
