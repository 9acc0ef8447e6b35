// StoreArea: the settings area over the store itself.

#include "config/ut_config_storage_p.h"

#include "config/ut_config_names.h"
#include "config/ut_registry_p.h"
#include "core/ut_nocase.h"
#include "core/ut_wx.h"

namespace ut::internal {

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
    : m_store(openDirectStore()), m_root(withoutTrailingSlashes(L"/" + toWx(root))) {
  m_open = m_store->begin(write);
}

StoreArea::~StoreArea() {
  if (m_open) m_store->rollback();
}

std::optional<wxString> StoreArea::at(const OdString& path, bool isEntry) const {
  const auto names = m_open ? configPathNames(path, isEntry) : std::nullopt;
  if (!names) return std::nullopt;
  wxString located = m_root;
  for (const OdString& name : *names) located << L'/' << toWx(name);
  return located.empty() ? wxString(L"/") : located;
}

bool StoreArea::hasGroup(const OdString& path) {
  const auto group = at(path, false);
  return group && m_store->config().HasGroup(*group);
}

bool StoreArea::hasEntry(const OdString& path) {
  const auto entry = at(path, true);
  return entry && m_store->config().HasEntry(*entry);
}

wxConfigBase::EntryType StoreArea::entryType(const OdString& path) {
  const auto entry = at(path, true);
  return entry ? m_store->config().GetEntryType(*entry) : wxConfigBase::Type_Unknown;
}

bool StoreArea::readNumber(const OdString& path, long& value) {
  const auto entry = at(path, true);
  return entry && m_store->config().GetEntryType(*entry) == wxConfigBase::Type_Integer &&
         m_store->config().Read(*entry, &value);
}

bool StoreArea::readText(const OdString& path, OdString& value) {
  const auto entry = at(path, true);
  wxString text;
  if (!entry || m_store->config().GetEntryType(*entry) != wxConfigBase::Type_String ||
      !m_store->config().Read(*entry, &text)) {
    return false;
  }
  value = fromWx(text);
  return true;
}

bool StoreArea::writeNumber(const OdString& path, long value) {
  const auto entry = fitsDword(value) ? at(path, true) : std::nullopt;
  return entry && m_store->config().Write(*entry, value);
}

bool StoreArea::writeText(const OdString& path, const OdString& value) {
  const auto entry = at(path, true);
  return entry && m_store->config().Write(*entry, toWx(value));
}

bool StoreArea::remove(const OdString& path, bool isGroup) {
  const auto name = path.isEmpty() ? std::nullopt : at(path, !isGroup);
  if (!name) return false;
  wxConfigBase& config = m_store->config();
  return isGroup ? config.HasGroup(*name) && config.DeleteGroup(*name)
                 : config.HasEntry(*name) && config.DeleteEntry(*name, false);
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
  const auto source = from.isEmpty() ? std::nullopt : at(from, !isGroup);
  const auto target = source && !to.isEmpty() ? at(to, !isGroup) : std::nullopt;
  if (!target) return false;
  wxConfigBase& config = m_store->config();
  if (!isGroup) return config.HasEntry(*source) && copyEntry(*source, *target);
  if (!config.HasGroup(*source)) return false;
  if (config.HasGroup(*target) && !equalNoCase(source->wc_str(), target->wc_str()))
    config.DeleteGroup(*target);
  return copyGroup(*source, *target);
}

bool StoreArea::list(const OdString& path, bool groups, const NameSink& add) {
  const auto group = at(path, false);
  wxConfigBase& config = m_store->config();
  if (!group || (!path.isEmpty() && !config.HasGroup(*group))) return false;
  const PathScope scope(config, *group);
  for (const wxString& name : configNames(config, groups)) add(fromWx(name));
  return true;
}

bool StoreArea::commit() {
  if (!m_open) return false;
  m_open = false;
  return m_store->commit();
}

}  // namespace ut::internal
