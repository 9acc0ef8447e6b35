// Config's profile members and the profile functions of ut_profile.h, which wrap them.

#include "ut_config.h"

#include "config/ut_config_p.h"
#include "config/ut_profile_p.h"
#include "core/ut_wx.h"
#include "ut_profile.h"

#include <wx/filename.h>

namespace ut {

using internal::ConfigLock;
using internal::configState;
using internal::TreeArea;

void Config::getProfileNames(OdArray<OdString>& names) {
  const ConfigLock lock(configState().mutex);
  if (internal::profileManager()) internal::profileManager()->getProfileNames(names);
}

bool Config::setCurProfileName(const OdString& name, bool create) {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() && internal::profileManager()->setCurrentProfile(name, create);
}

ConfigNodePtr Config::getProfileNode(const OdString& name, bool create) {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() ? internal::profileManager()->getProfileNode(name, create) : nullptr;
}

ConfigNodePtr Config::getIfProfileNode(ECfgGroup group, bool create) {
  const ConfigLock lock(configState().mutex);
  if (!internal::knownGroup(group) || !internal::isProfileGroup(group)) return nullptr;
  return internal::profileGroupNode(group, create);
}

ConfigNodePtr Config::getIfProfileNodeParent(OdString& path, ECfgGroup group, bool create) {
  const ConfigLock lock(configState().mutex);
  const auto [parent, name] = internal::splitLastName(path);
  ConfigNodePtr node = TreeArea(getIfProfileNode(group, create)).groupAt(parent, create);
  if (node) path = name;
  return node;
}

bool Config::exportProfile(const OdString& name, const OdString& file, bool overwrite) {
  const ConfigLock lock(configState().mutex);
  if (!internal::profileManager()) return false;
  if (!overwrite && wxFileName::Exists(file.c_str())) return false;
  return internal::profileManager()->exportProfile(
      name, internal::profileFileStorage(file, internal::profileManager()->rootPath()));
}

bool Config::importProfile(const OdString& file, const OdString& name, const OdString& description) {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() &&
         internal::importProfileFile(*internal::profileManager(), file, name, description);
}

bool Config::setProfileDescription(const OdString& name, const OdString& description) {
  const ConfigLock lock(configState().mutex);
  const ConfigNodePtr profile = getProfileNode(name, false);
  return profile && TreeArea(profile).writeText(L"Description", description);
}

bool Config::copyProfile(const OdString& from, const OdString& to) {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() && internal::profileManager()->copyProfile(from, to);
}

bool Config::renameProfile(const OdString& from, const OdString& to) {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() && internal::profileManager()->renameProfile(from, to);
}

bool Config::deleteProfile(const OdString& name) {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() && internal::profileManager()->deleteProfile(name);
}

bool Config::resetProfile(const OdString& name) {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() && internal::profileManager()->resetProfile(name);
}

// --- The wrappers of ut_profile.h ---

size_t getProfileNames(wxArrayString& names) {
  OdArray<OdString> found;
  Config::getProfileNames(found);
  for (const OdString& name : found) names.Add(internal::toWx(name));
  return found.size();
}

wxString getCurrentProfileName() { return internal::toWx(Config::currentProfileName()); }

bool setCurrentProfileName(const wxString& name, bool create) {
  return Config::setCurProfileName(internal::fromWx(name), create);
}

wxString getProfileDescription(const wxString& name) {
  OdString description;
  if (const ConfigNodePtr profile =
          name.empty() ? nullptr : Config::getProfileNode(internal::fromWx(name), false)) {
    TreeArea(profile).readText(L"Description", description);
  }
  return internal::toWx(description);
}

bool setProfileDescription(const wxString& name, const wxString& description) {
  return Config::setProfileDescription(internal::fromWx(name), internal::fromWx(description));
}

bool profileExists(const wxString& name) {
  return !name.empty() && Config::getProfileNode(internal::fromWx(name), false) != nullptr;
}

bool renameProfile(const wxString& from, const wxString& to) {
  return Config::renameProfile(internal::fromWx(from), internal::fromWx(to));
}

bool createProfile(const wxString& name, const wxString& description, const wxString& from) {
  if (name.empty() || profileExists(name)) return false;
  if (profileExists(from)) {
    if (!Config::copyProfile(internal::fromWx(from), internal::fromWx(name))) return false;
  } else {
    const ConfigNodePtr profile = Config::getProfileNode(internal::fromWx(name), true);
    if (!profile) return false;
    TreeArea settings(profile);
    internal::writeShapeDefaults(settings, L"Config/");
  }
  return description.empty() ||
         Config::setProfileDescription(internal::fromWx(name), internal::fromWx(description));
}

bool deleteProfile(const wxString& name) { return Config::deleteProfile(internal::fromWx(name)); }

bool resetProfile(const wxString& name) { return Config::resetProfile(internal::fromWx(name)); }

bool exportProfile(const wxString& name, const wxString& file) {
  return Config::exportProfile(internal::fromWx(name), internal::fromWx(file), true);
}

bool importProfile(const wxString& file, const wxString* name, const wxString* description) {
  return Config::importProfile(internal::fromWx(file), name ? internal::fromWx(*name) : OdString(),
                               description ? internal::fromWx(*description) : OdString());
}

bool getProfileNameFromFile(const wxString& file, wxString& name, wxString* description) {
  const std::optional<internal::ProfileFileHead> head =
      internal::readProfileFileHead(internal::fromWx(file), Config::profilesRoot(eCfgPathConfig));
  if (!head) return false;
  name = internal::toWx(head->name);
  if (description) *description = internal::toWx(head->description.value_or(OdString()));
  return true;
}

}  // namespace ut
