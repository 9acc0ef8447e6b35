// Profiles: named, complete sets of user settings, of which exactly one is current. A profile manager
// owns the tree of all profiles (the group "Profiles" under the language root, ut_config.h), switches
// the current profile, creates, copies, renames, resets and deletes profiles, and moves a profile to and
// from a registration file.
//
//   ut::initConfig(nullptr);
//   ut::createProfile(L"Drafting", L"2D drafting", L"Default");  // a copy of "Default"
//   ut::setCurrentProfileName(L"drafting", false);              // names ignore case
//   ut::exportProfile(L"Drafting", L"/tmp/drafting.reg");
//   wxString name;
//   ut::getProfileNameFromFile(L"/tmp/drafting.reg", name, nullptr);  // true, "Drafting"
//   ut::writeConfig();                                          // changes reach the store
//
// Changes stay in memory until flush() (ut::writeConfig), which writes only what changed, so that two
// processes changing different settings of one profile both keep their changes. Deleting a profile
// reaches the store at once.
//
// A profile file is a registration file whose keys lie under
// HKEY_CURRENT_USER\Software\Korvani\VeltoCAD\<version>\<language>\Profiles\<profile>; the profile's
// description is its value "Description".
//
// Thread safety: a manager is used on one thread at a time; the free functions go through Config,
// which guards it.

#ifndef QX_UT_PROFILE_H
#define QX_UT_PROFILE_H

#include "OdArray.h"
#include "OdString.h"
#include "ut_config_storage.h"

#include <wx/arrstr.h>
#include <wx/string.h>

#include <memory>

namespace ut {

class ProfileManagerBase : public ConfigManagerBase {
 public:
  // `profilesPath`: the profiles group, "Software/Korvani/VeltoCAD/V26x64/en_US/Profiles/".
  explicit ProfileManagerBase(const OdString& profilesPath);
  ~ProfileManagerBase() override;

  // The profile's node; an empty `name` gives the profiles group itself. With `create`, a missing
  // profile is made. Empty when the profiles are not loaded and cannot be.
  [[nodiscard]] virtual ConfigNodePtr getProfileNode(const OdString& name, bool create);
  virtual void getProfileNames(OdArray<OdString>& names);
  // Makes the profile current and records its name in the entry "CurProfile" of the profiles group;
  // with `create` a missing profile is created first, otherwise the call fails. The profile loses a
  // text "Config/MassPropAccuracy" (that setting is a number) and any "Config/CPROFILE".
  virtual bool setCurrentProfile(const OdString& name, bool create);
  // Copies over a profile of the target name, if there is one.
  virtual bool copyProfile(const OdString& from, const OdString& to);
  virtual bool deleteProfile(const OdString& name);
  virtual bool renameProfile(const OdString& from, const OdString& to);
  // Empties the profile, keeping its "Description".
  virtual bool resetProfile(const OdString& name);
  // Installs the tree that `storage` holds as the profile `name`, replacing one of that name. When the
  // tree's "Config/REGEXPAND" is a number other than 0, environment references ("$HOME",
  // "${HOME}") in its strings are expanded on the way in.
  virtual bool importProfile(const OdString& name, const std::shared_ptr<ConfigStorageBase>& storage);
  // Saves the profile, with its unflushed changes, through `storage`.
  virtual bool exportProfile(const OdString& name, const std::shared_ptr<ConfigStorageBase>& storage) const;

  // Empty while no profile is current.
  [[nodiscard]] ConfigNodePtr currentProfile() const;
  [[nodiscard]] OdString currentProfileName() const;
  // The name "CurProfile" records; empty when none.
  [[nodiscard]] OdString recordedProfileName() const;
  // Writes the changes of every profile, in one transaction of the store.
  bool flush() const;
  // Drops the loaded tree, and what has not been flushed, and loads it again.
  bool reset();

 protected:
  // The profiles group, loading it on first use; empty when it cannot be loaded.
  [[nodiscard]] ConfigNodePtr profiles() const;

  mutable ConfigNodePtr m_profiles;
  ConfigNodePtr m_current;

 private:
  mutable std::shared_ptr<ConfigStorageWx> m_storage;
};

// The library's manager: a new profile, and a reset one, start with the shape defaults.
class ProfileManager : public ProfileManagerBase {
 public:
  ProfileManager();

  bool setCurrentProfile(const OdString& name, bool create) override;
  bool resetProfile(const OdString& name) override;
};

// --- Wrappers over Config for wxWidgets strings ---
// The number of profiles; their names are appended.
size_t getProfileNames(wxArrayString& names);
wxString getCurrentProfileName();
bool setCurrentProfileName(const wxString& name, bool create);
wxString getProfileDescription(const wxString& name);
bool setProfileDescription(const wxString& name, const wxString& description);
bool profileExists(const wxString& name);
bool renameProfile(const wxString& from, const wxString& to);
// A new profile: a copy of `from` when that names a profile, otherwise one with the shape defaults.
// Fails when `name` is taken.
bool createProfile(const wxString& name, const wxString& description, const wxString& from);
bool deleteProfile(const wxString& name);
bool resetProfile(const wxString& name);
bool exportProfile(const wxString& name, const wxString& file);
// Reads a profile file, under `name` and with `description` when given. Refused, and reported under
// "ut::importProfileArg", for a file that is missing or is not a profile file.
bool importProfile(const wxString& file, const wxString* name, const wxString* description);
// The profile's name (and description) in a profile file, without importing it.
bool getProfileNameFromFile(const wxString& file, wxString& name, wxString* description);

}  // namespace ut

#endif
