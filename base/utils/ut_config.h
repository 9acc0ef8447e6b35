// Application settings: the static Config facade through which the application reads and writes its
// settings, addressed by a configuration group and a name inside it.
//
//   ut::Config::initConfig(nullptr);                     // the library's own profile manager
//   ut::Config::writeLong(ut::eCfgConfig, L"OSMODE", 4263);
//   long osmode = 0;
//   ut::Config::read(ut::eCfgConfig, L"osmode", osmode);  // true, 4263: names ignore case
//   ut::Config::writeRect(ut::eCfgDialogs, L"Options/Frame", tagRECT{1, 2, 3, 4});  // stored "1,2,3,4"
//   ut::Config::flush();                                  // the profile's changes reach the store
//
// Groups 3 to 16 lie inside the current profile (ut_profile.h): they are read from and written to the
// profile's tree in memory, and reach the store at flush(). Every other group is read from and written
// to the store at once. The store is the registry under HKEY_CURRENT_USER, or the configuration file
// after setInitFromFile(true).
//
// Numbers are stored as dwords and bools as 0 or 1; doubles, points, sizes and rectangles as text
// ("%d,%d", "%d,%d,%d,%d", "%g,%g", "%g,%g,%g"). A read that misses, or finds the other kind, answers
// false and leaves the output as it was; a write that fails answers false and changes nothing.
//
// Thread safety: Config's own state is guarded, so its members may be called from any thread; nodes
// it hands out (getProfileNode and its siblings) are the caller's to guard.

#ifndef QX_UT_CONFIG_H
#define QX_UT_CONFIG_H

#include "OdArray.h"
#include "OdGePoint2d.h"
#include "OdGePoint3d.h"
#include "OdString.h"
#include "ut_config_node.h"
#include "ut_win32_types.h"

#include <wx/gdicmn.h>
#include <wx/string.h>

namespace ut {

class ProfileManagerBase;

enum ECfgGroup {
  eCfgRoot = 0,              // "/"
  eCfgVersionRoot = 1,       // product root, version key
  eCfgLanguageRoot = 2,      // version root, language code
  eCfgProfile = 3,           // the current profile
  eCfgCommands = 4,          // profile, "Commands/"
  eCfgConfig = 5,            // profile, "Config/"
  eCfgDialogs = 6,           // profile, "Dialogs/"
  eCfgMenus = 7,             // profile, "Menus/"
  eCfgPlot = 8,              // profile, "Config/Plot/"
  eCfgProjectSettings = 9,   // profile, "Project Settings/"
  eCfgRecentPaths = 10,      // profile, "Recent Paths/"
  eCfgStartup = 11,          // profile, "Startup/"
  eCfgStatusBar = 12,        // profile, "StatusBar/"
  eCfgToolbars = 13,         // profile, "Toolbars/"
  eCfgWorksets = 14,         // profile, "Worksets/"
  eCfgTablet = 15,           // profile, "Config/Tablet/"
  eCfg3dMouseMenu = 16,      // profile, "3dMouseMenu/"
  eCfgAddins = 17,           // language root, "Addins/"
  eCfgApplications = 18,     // language root, "Applications/"
  eCfgEnvironment = 19,      // language root, "Environment/"
  eCfgProfiles = 20,         // language root, "Profiles/"
  eCfgSettings = 21,         // language root, "Settings/"
  eCfgSetup = 22,            // language root, "Setup/"
  eCfgTest = 23,             // language root, "TEST/"
  eCfgUser = 24,             // language root, "User/"
};

enum ECfgType {
  eCfgTypeUnknown = 0,  // also a missing entry
  eCfgTypeString = 1,
  eCfgTypeBool = 2,
  eCfgTypeInteger = 3,
  eCfgTypeDouble = 4,
};

// How a path is rendered: kinds 0 and 3 with "\", kind 1 with the native path separator, kind 2 (and
// any other) with "/".
enum ECfgPathType {
  eCfgPathRegistry = 0,
  eCfgPathNative = 1,
  eCfgPathConfig = 2,
  eCfgPathRegistryKey = 3,
};

// What a numbered string list operation did.
enum ERegList {
  eRegListDone = 0,       // read or written
  eRegListUnchanged = 1,  // saving: the store already held this list, nothing was written
  eRegListEmpty = 2,      // loading: no item is stored
  eRegListFailed = 3,     // an unknown group, or the store refused
};

class Config {
 public:
  Config() = delete;

  // --- Identity and paths ---
  [[nodiscard]] static OdString separator(ECfgPathType kind);
  // "Software", the company: "Software\Korvani" (kind 0), "Software/Korvani" (2), "Korvani" (1); empty for
  // any other kind, and so is every root built on it.
  [[nodiscard]] static OdString companyRoot(ECfgPathType kind);
  // The company root and the product: "Software\Korvani\VeltoCAD".
  [[nodiscard]] static OdString productRoot(ECfgPathType kind);
  // The next four end with the separator: "Software/Korvani/VeltoCAD/V26x64/".
  [[nodiscard]] static OdString versionRoot(ECfgPathType kind);
  [[nodiscard]] static OdString languageRoot(ECfgPathType kind);
  [[nodiscard]] static OdString profilesRoot(ECfgPathType kind);
  // The profile currentProfileName() names.
  [[nodiscard]] static OdString currentProfileRoot(ECfgPathType kind);
  [[nodiscard]] static OdString konvertorRoot(ECfgPathType kind);
  // "V26x64" and the build-variant suffix this library was built with.
  [[nodiscard]] static OdString versionKey();
  // The company name, or with `legalName` the company's legal name (the company name unless set).
  [[nodiscard]] static OdString regCompany(bool legalName = false);
  static void setRegCompany(const OdString& name, const OdString& legalName = OdString());
  [[nodiscard]] static OdString regProduct();
  static void setRegProduct(const OdString& name);
  // The group's path ("Software/Korvani/VeltoCAD/V26x64/en_US/Addins/") in the form asked for; empty,
  // and reported under "ut::keyPath", for an unknown group.
  [[nodiscard]] static OdString keyPath(ECfgGroup group, ECfgPathType kind);
  // The group's path in registry form; with `withRootKey` it starts "HKEY_CURRENT_USER\".
  [[nodiscard]] static OdString regPath(ECfgGroup group, bool withRootKey = false);
  [[nodiscard]] static OdString getConfigFileName();
  // Read once: the "CURVER" entry of the version root, else the name of the executable's folder when
  // it is a language code ("de_DE"), else "en_US".
  [[nodiscard]] static OdString currentLanguage();
  [[nodiscard]] static OdString userName();
  // "Default" while no profile is current.
  [[nodiscard]] static OdString currentProfileName();
  static void getProfileNames(OdArray<OdString>& names);
  [[nodiscard]] static bool initFromFile();
  // Keeps the configuration in `file` (empty: getConfigFileName()) instead of the registry; takes effect
  // for the stores created from now on, so it is called before initConfig.
  static void setInitFromFile(bool fromFile, const OdString& file = OdString());

  // --- Existence ---
  // A full path from the root of the store, "Software/Korvani/VeltoCAD/".
  [[nodiscard]] static bool hasGroup(const OdString& path);
  [[nodiscard]] static bool hasGroup(ECfgGroup group);
  [[nodiscard]] static bool hasGroup(ECfgGroup group, const OdString& name);
  [[nodiscard]] static bool hasEntry(ECfgGroup group, const OdString& name);
  [[nodiscard]] static ECfgType entryType(ECfgGroup group, const OdString& name);

  // --- Reading ---
  static bool read(ECfgGroup group, const OdString& name, bool& value);
  static bool read(ECfgGroup group, const OdString& name, short& value);  // refuses what a short cannot hold
  static bool read(ECfgGroup group, const OdString& name, long& value);
  static bool read(ECfgGroup group, const OdString& name, OdString& value);
  static bool read(ECfgGroup group, const OdString& name, double& value);
  static bool read(ECfgGroup group, const OdString& name, tagPOINT& value);
  static bool read(ECfgGroup group, const OdString& name, wxSize& value);
  static bool read(ECfgGroup group, const OdString& name, tagRECT& value);
  static bool read(ECfgGroup group, const OdString& name, wxRect& value);
  static bool read(ECfgGroup group, const OdString& name, wxPoint& value);
  static bool read(ECfgGroup group, const OdString& name, OdGePoint2d& value);
  static bool read(ECfgGroup group, const OdString& name, OdGePoint3d& value);
  // A full path from the root ("Software/Korvani/VeltoCAD/V26x64/CURVER"); inside the current profile
  // it sees the profile's unflushed changes.
  static bool read(const OdString& path, long& value);
  static bool read(const OdString& path, double& value);
  static bool read(const OdString& path, OdString& value);

  // --- Writing --- (the groups on the way are created)
  static bool writeBool(ECfgGroup group, const OdString& name, bool value);
  static bool writeShort(ECfgGroup group, const OdString& name, short value);
  static bool writeLong(ECfgGroup group, const OdString& name, long value);
  static bool writeString(ECfgGroup group, const OdString& name, const OdString& value);
  static bool writeDouble(ECfgGroup group, const OdString& name, double value);
  static bool writePoint(ECfgGroup group, const OdString& name, const tagPOINT& value);
  static bool writePoint(ECfgGroup group, const OdString& name, const wxPoint& value);
  static bool writePoint(ECfgGroup group, const OdString& name, const OdGePoint2d& value);
  static bool writePoint(ECfgGroup group, const OdString& name, const OdGePoint3d& value);
  static bool writeSize(ECfgGroup group, const OdString& name, const wxSize& value);
  static bool writeRect(ECfgGroup group, const OdString& name, const tagRECT& value);
  static bool writeRect(ECfgGroup group, const OdString& name, const wxRect& value);
  static bool writeLong(const OdString& path, long value);
  static bool writeDouble(const OdString& path, double value);
  static bool writeString(const OdString& path, const OdString& value);

  // --- Structure --- (names are paths relative to the group)
  // Copies overwrite what the target held.
  static bool copyGroup(ECfgGroup group, const OdString& from, const OdString& to);
  static bool copyEntry(ECfgGroup group, const OdString& from, const OdString& to);
  // Deletes the group itself (for eCfgProfile, the current profile), resp. a group inside it.
  static bool deleteGroup(ECfgGroup group);
  static bool deleteGroup(ECfgGroup group, const OdString& name);
  static bool deleteEntry(ECfgGroup group, const OdString& name);
  // Gives the group itself another last name, resp. renames a group inside it; `to` stays in the
  // parent of `from`.
  static bool renameGroup(ECfgGroup group, const OdString& name);
  static bool renameGroup(ECfgGroup group, const OdString& from, const OdString& to);
  static bool renameEntry(ECfgGroup group, const OdString& from, const OdString& to);

  // --- Listing --- (append the names of the group's, or of its sub-group `sub`'s, children)
  static bool listGroups(ECfgGroup group, OdArray<OdString>& names, const OdString& sub = OdString());
  static bool listEntries(ECfgGroup group, OdArray<OdString>& names, const OdString& sub = OdString());
  [[nodiscard]] static int countGroups(ECfgGroup group);
  [[nodiscard]] static int countEntries(ECfgGroup group);

  // --- Numbered string lists: the group `key` holding "File1", "File2", ... in list order ---
  // Appends the items to `items`.
  static ERegList loadListFromRegistry(ECfgGroup group, const OdString& key, OdArray<OdString>& items);
  // Replaces the stored list; an unchanged list is not written again unless `force`.
  static ERegList saveListToRegistry(ECfgGroup group, const OdString& key, const OdArray<OdString>& items,
                                     bool force = false);

  // --- Administrator policy: the key "AdminPolicy" of the product, in the machine's registry and
  // then in the user's; false when neither holds the value. ---
  static bool readAdminVal(const wchar_t* name, bool& value);
  static bool readAdminVal(const wchar_t* name, short& value);
  static bool readAdminVal(const wchar_t* name, OdString& value);

  // --- Profiles (through the installed profile manager) ---
  // With `create`, a missing profile is created first.
  static bool setCurProfileName(const OdString& name, bool create);
  [[nodiscard]] static ConfigNodePtr getProfileNode(const OdString& name, bool create);
  // The node of a profile group (3 to 16) inside the current profile, with `create` made when
  // missing; an empty pointer for the other groups, which live in the store.
  [[nodiscard]] static ConfigNodePtr getIfProfileNode(ECfgGroup group, bool create);
  // As getIfProfileNode for the group that holds the entry `path` (relative to `group`); `path` is left
  // holding the entry's own name.
  [[nodiscard]] static ConfigNodePtr getIfProfileNodeParent(OdString& path, ECfgGroup group, bool create);
  // Writes the profile, with its unflushed changes, as a registration file; an existing file is
  // replaced only with `overwrite`.
  static bool exportProfile(const OdString& name, const OdString& file, bool overwrite);
  // Reads a profile file; an empty `name` keeps the file's profile name, an empty `description` the
  // file's description.
  static bool importProfile(const OdString& file, const OdString& name, const OdString& description);
  static bool setProfileDescription(const OdString& name, const OdString& description);
  static bool copyProfile(const OdString& from, const OdString& to);
  static bool renameProfile(const OdString& from, const OdString& to);
  // Reaches the store at once.
  static bool deleteProfile(const OdString& name);
  static bool resetProfile(const OdString& name);

  // --- Life ---
  // Installs `manager` (Config owns it; null: a ut::ProfileManager of its own), loads the profiles and
  // makes the recorded current profile current, else "Default", creating it when missing.
  static bool initConfig(ProfileManagerBase* manager);
  // Null until initConfig.
  [[nodiscard]] static ProfileManagerBase* profileManager();
  // Writes the profiles' changes to the store, in one transaction.
  static bool flush();
  // Writes the shape defaults into eCfgConfig of the current profile.
  static bool setShapeDefaults();
  // "appID" of "qsb.json" beside the executable; empty, and traced, when it cannot be read.
  [[nodiscard]] static OdString qsbAppID();
  // Whether strings are kept as expandable strings: "Config/REGEXPAND" as initConfig found it.
  [[nodiscard]] static bool expandStrings();
};

// --- Wrappers for wxWidgets strings ---
bool initConfig(ProfileManagerBase* manager);
bool writeConfig();
wxString getCurrentLanguageCode();
// Empty when missing.
wxString getString(ECfgGroup group, const wxString& name);
bool setString(ECfgGroup group, const wxString& name, const wxString& value);

}  // namespace ut

#endif
