#include "ut_profile.h"

#include "config/ut_config_area.h"
#include "config/ut_config_paths_p.h"
#include "config/ut_profile_p.h"
#include "core/ut_assert_p.h"
#include "core/ut_nocase.h"
#include "core/ut_wx.h"

#include <wx/utils.h>

#include <array>

namespace ut {

namespace {

using internal::TreeArea;

constexpr const wchar_t* kCurProfile = L"CurProfile";

// The settings a new profile starts with, in the order they are written: numbers, and bools as 0 or 1.
struct ShapeDefault {
  const wchar_t* name;
  bool isBool;
  long value;
};

constexpr std::array<ShapeDefault, 19> kShapeDefaults{{
    {L"AntiAliasScreen", false, 1}, {L"AUTOCOMPLETEMODE", false, 31},
    {L"AUTOSNAP", false, 127},      {L"CLEANSCREENOPTIONS", false, 29},
    {L"COLORTHEME", false, 1},      {L"GEOMRELATIONS", false, 0},
    {L"GETSTARTED", true, 1},       {L"LAYOUTTAB", true, 0},
    {L"LOCKUI", false, 7},          {L"OSMODE", false, 4263},
    {L"OSOPTIONS", false, 5},       {L"PROMPTMENU", false, 0},
    {L"SHORTCUTMENU", false, 0},    {L"SHOWDOCTABS", true, 0},
    {L"SSLOCATE", true, 0},         {L"STARTUP", false, 2},
    {L"UCSORTHO", true, 0},         {L"UseKonvertor", false, 0},
    {L"XDWGFADECTL", false, 0},
}};

ConfigNodePtr liveGroup(ConfigNodePtr node) {
  return node && node->isGroup() && node->type() != ConfigValBase::eNoNode ? node : nullptr;
}

// A name one key can carry: not empty, no separator of either path form, within the registry's limit.
bool isProfileName(const OdString& name) {
  return !name.isEmpty() && name.getLength() <= 255 && name.find(L'/') < 0 && name.find(L'\\') < 0;
}

bool sameName(const OdString& a, const OdString& b) { return internal::equalNoCase(a.view(), b.view()); }

// Whether a profile may be made, or copied, under `name` in the group `profiles`: one key can carry the
// name, and it is not that of an entry the group holds beside its profiles ("CurProfile"), which a
// profile of that name would replace.
bool isNewProfileName(const ConfigNodePtr& profiles, const OdString& name) {
  if (!isProfileName(name)) return false;
  const ConfigNodePtr taken = profiles->childAt(name);
  const bool isEntry = taken && !taken->isGroup() && taken->type() != ConfigValBase::eNoNode;
  if (!isEntry && !sameName(name, kCurProfile)) return true;
  return internal::report("ut::ProfileManager",
                          "\"" + std::string(internal::toWx(name).utf8_str()) +
                              "\" cannot name a profile: the profiles group holds an entry of that name");
}

void expandEnvironmentReferences(ConfigNodeBase& node) {
  OdString text;
  if (node.getString(text)) node.setString(wxExpandEnvVars(internal::toWx(text)).wc_str());
  for (const ConfigNodePtr& child : node.children()) expandEnvironmentReferences(*child);
}

}  // namespace

void internal::writeShapeDefaults(SettingsArea& area, const OdString& group) {
  for (const ShapeDefault& setting : kShapeDefaults) area.writeNumber(group + setting.name, setting.value);
}

ProfileManagerBase::ProfileManagerBase(const OdString& profilesPath) : ConfigManagerBase(profilesPath) {}

ProfileManagerBase::~ProfileManagerBase() = default;

ConfigNodePtr ProfileManagerBase::profiles() const {
  if (m_profiles) return m_profiles;
  m_storage = createStorage(rootPath(), false);
  m_profiles = m_storage->load();
  // No profiles stored yet: the first flush makes the group.
  if (!m_profiles) m_profiles = ConfigNode::createNode(internal::splitLastName(rootPath()).second + L"/");
  return m_profiles;
}

ConfigNodePtr ProfileManagerBase::getProfileNode(const OdString& name, bool create) {
  const ConfigNodePtr group = profiles();
  OdString trimmed = name;
  trimmed.trimLeft(L'/').trimRight(L'/');
  if (trimmed.isEmpty()) return group;
  if (!isProfileName(trimmed)) return nullptr;
  if (ConfigNodePtr found = liveGroup(group->childAt(trimmed))) return found;
  if (!create || !isNewProfileName(group, trimmed) ||
      !group->addChild(ConfigNode::createNode(trimmed + L"/"))) {
    return nullptr;
  }
  return group->childAt(trimmed);
}

void ProfileManagerBase::getProfileNames(OdArray<OdString>& names) {
  TreeArea(profiles()).list(OdString(), true, [&](const OdString& name) { names.append(name); });
}

bool ProfileManagerBase::setCurrentProfile(const OdString& name, bool create) {
  const ConfigNodePtr profile = name.isEmpty() ? nullptr : getProfileNode(name, create);
  if (!profile) return false;
  m_current = profile;
  TreeArea settings(profile);
  if (settings.entryType(L"Config/MassPropAccuracy") == wxConfigBase::Type_String) {
    settings.remove(L"Config/MassPropAccuracy", false);
  }
  settings.remove(L"Config/CPROFILE", false);
  return TreeArea(profiles()).writeText(kCurProfile, profile->path());
}

bool ProfileManagerBase::copyProfile(const OdString& from, const OdString& to) {
  const ConfigNodePtr source = from.isEmpty() ? nullptr : getProfileNode(from, false);
  if (!source || sameName(from, to) || !isNewProfileName(profiles(), to)) return false;
  const ConfigNodePtr copy = ConfigNode::cloneNodeTo(source, to, false);
  if (!copy || !profiles()->addChild(copy)) return false;
  if (m_current && sameName(m_current->path(), to)) m_current = getProfileNode(to, false);
  return true;
}

bool ProfileManagerBase::deleteProfile(const OdString& name) {
  const ConfigNodePtr profile = name.isEmpty() ? nullptr : getProfileNode(name, false);
  if (!profile) return false;
  const OdString stored = profile->path();
  if (!profiles()->removeChild(profile)) return false;
  if (m_current && sameName(m_current->path(), stored)) m_current.reset();
  const ConfigNodePtr deletion = ConfigNode::createNode(profiles()->path() + L"/");
  deletion->addChild(std::make_shared<ConfigDeletedProfileNode>(stored));
  return createStorage(rootPath(), false)->save(deletion);
}

bool ProfileManagerBase::renameProfile(const OdString& from, const OdString& to) {
  const ConfigNodePtr source = from.isEmpty() ? nullptr : getProfileNode(from, false);
  if (!source || !isNewProfileName(profiles(), to)) return false;
  const bool wasCurrent = m_current && sameName(m_current->path(), source->path());
  const ConfigNodePtr copy = ConfigNode::cloneNodeTo(source, to, false);
  if (!copy) return false;
  // A rename that changes only the spelling leaves the copy in the old one's place.
  if (!sameName(from, to) && !profiles()->removeChild(source)) return false;
  if (!profiles()->addChild(copy)) return false;
  if (!wasCurrent) return true;
  m_current = getProfileNode(to, false);
  return TreeArea(profiles()).writeText(kCurProfile, to);
}

bool ProfileManagerBase::resetProfile(const OdString& name) {
  const ConfigNodePtr profile = name.isEmpty() ? nullptr : getProfileNode(name, false);
  if (!profile) return false;
  const ConfigNodePtr fresh = ConfigNode::createNode(profile->path() + L"/");
  OdString description;
  if (TreeArea(profile).readText(L"Description", description))
    TreeArea(fresh).writeText(L"Description", description);
  if (!profiles()->addChild(fresh)) return false;
  if (m_current && sameName(m_current->path(), fresh->path()))
    m_current = getProfileNode(fresh->path(), false);
  return true;
}

bool ProfileManagerBase::importProfile(const OdString& name,
                                       const std::shared_ptr<ConfigStorageBase>& storage) {
  const ConfigNodePtr tree = storage && isNewProfileName(profiles(), name) ? storage->load() : nullptr;
  const ConfigNodePtr profile = tree ? ConfigNode::cloneNodeTo(tree, name, false) : nullptr;
  if (!profile || !profile->isGroup()) return false;
  long expand = 0;
  if (TreeArea(profile).readNumber(L"Config/REGEXPAND", expand) && expand != 0) {
    expandEnvironmentReferences(*profile);
  }
  if (!profiles()->addChild(profile)) return false;
  if (m_current && sameName(m_current->path(), name)) m_current = getProfileNode(name, false);
  return true;
}

bool ProfileManagerBase::exportProfile(const OdString& name,
                                       const std::shared_ptr<ConfigStorageBase>& storage) const {
  OdString trimmed = name;
  trimmed.trimLeft(L'/').trimRight(L'/');
  const ConfigNodePtr profile = isProfileName(trimmed) ? liveGroup(profiles()->childAt(trimmed)) : nullptr;
  return profile && storage && storage->save(ConfigNode::cloneNode(profile, false));
}

ConfigNodePtr ProfileManagerBase::currentProfile() const { return m_current; }

OdString ProfileManagerBase::currentProfileName() const { return m_current ? m_current->path() : OdString(); }

OdString ProfileManagerBase::recordedProfileName() const {
  OdString name;
  TreeArea(profiles()).readText(kCurProfile, name);
  return name;
}

bool ProfileManagerBase::flush() const { return !m_profiles || m_storage->save(m_profiles); }

bool ProfileManagerBase::reset() {
  const OdString current = currentProfileName();
  m_profiles.reset();
  m_current.reset();
  if (!current.isEmpty()) m_current = getProfileNode(current, false);
  return profiles() != nullptr;
}

// --- The library's manager ---

ProfileManager::ProfileManager() : ProfileManagerBase(internal::productRoots(L"/", true).profiles) {}

bool ProfileManager::setCurrentProfile(const OdString& name, bool create) {
  const bool existed = !name.isEmpty() && getProfileNode(name, false);
  if (!ProfileManagerBase::setCurrentProfile(name, create)) return false;
  if (existed) return true;
  TreeArea settings(m_current);
  internal::writeShapeDefaults(settings, L"Config/");
  return true;
}

bool ProfileManager::resetProfile(const OdString& name) {
  if (!ProfileManagerBase::resetProfile(name)) return false;
  TreeArea settings(getProfileNode(name, false));
  internal::writeShapeDefaults(settings, L"Config/");
  return true;
}

}  // namespace ut
