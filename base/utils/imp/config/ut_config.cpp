#include "ut_config.h"

#include "config/ut_config_p.h"
#include "config/ut_config_paths_p.h"
#include "config/ut_profile_p.h"
#include "core/ut_assert_p.h"
#include "core/ut_identity.h"
#include "core/ut_nocase.h"
#include "core/ut_wx.h"
#include "files/ut_filename_p.h"
#include "ut_file.h"
#include "ut_json.h"
#include "ut_log.h"
#include "ut_system.h"

#include <wx/filename.h>
#include <wx/utils.h>

#include <optional>

namespace ut {

namespace {

using internal::ConfigLock;
using internal::configState;
using internal::SettingsArea;

enum class Base { eRoot, eVersion, eLanguage, eProfile };

// The trace area (VDM_LOG_AREA) of the configuration's lines.
constexpr int kTraceArea = 1;

void trace(int level, const wxString& text) {
  UtTracer& tracer = UtTracer::tracer();
  if (level <= tracer.traceLevel() && tracer.checkArea(kTraceArea))
    tracer.str(level) << internal::fromWx(text) << std::endl;
}

struct GroupPlace {
  Base base;
  const wchar_t* suffix;
};

constexpr std::array<GroupPlace, internal::kGroupCount> kGroups{{
    {Base::eRoot, L""},
    {Base::eVersion, L""},
    {Base::eLanguage, L""},
    {Base::eProfile, L""},
    {Base::eProfile, L"Commands/"},
    {Base::eProfile, L"Config/"},
    {Base::eProfile, L"Dialogs/"},
    {Base::eProfile, L"Menus/"},
    {Base::eProfile, L"Config/Plot/"},
    {Base::eProfile, L"Project Settings/"},
    {Base::eProfile, L"Recent Paths/"},
    {Base::eProfile, L"Startup/"},
    {Base::eProfile, L"StatusBar/"},
    {Base::eProfile, L"Toolbars/"},
    {Base::eProfile, L"Worksets/"},
    {Base::eProfile, L"Config/Tablet/"},
    {Base::eProfile, L"3dMouseMenu/"},
    {Base::eLanguage, L"Addins/"},
    {Base::eLanguage, L"Applications/"},
    {Base::eLanguage, L"Environment/"},
    {Base::eLanguage, L"Profiles/"},
    {Base::eLanguage, L"Settings/"},
    {Base::eLanguage, L"Setup/"},
    {Base::eLanguage, L"TEST/"},
    {Base::eLanguage, L"User/"},
}};

OdString rendered(const OdString& path, ECfgPathType kind) {
  OdString result = path;
  const OdString separator = Config::separator(kind);
  if (separator != L"/") result.replace(L'/', separator[0]);
  return result;
}

// The product's keys as `kind` writes them; nothing for a kind that has none.
std::optional<internal::ProductRoots> roots(ECfgPathType kind) {
  switch (kind) {
    case eCfgPathRegistry:
    case eCfgPathConfig:
      return internal::productRoots(Config::separator(kind), true);
    case eCfgPathNative:
      return internal::productRoots(Config::separator(kind), false);
    default:
      return std::nullopt;
  }
}

bool startsWithNoCase(const OdString& text, const OdString& prefix) {
  return text.getLength() >= prefix.getLength() &&
         internal::equalNoCase(text.view().substr(0, prefix.getLength()), prefix.view());
}

}  // namespace

internal::ConfigState& internal::configState() {
  static ConfigState instance;
  return instance;
}

bool internal::knownGroup(ECfgGroup group) {
  if (group >= eCfgRoot && group < static_cast<int>(kGroups.size())) return true;
  report("ut::keyPath", wxString::Format(L"Unknown configuration group (%d)", static_cast<int>(group)));
  return false;
}

const wchar_t* internal::profileGroupPath(ECfgGroup group) {
  return isProfileGroup(group) ? kGroups[group].suffix : L"";
}

ConfigNodePtr internal::profileGroupNode(ECfgGroup group, bool create) {
  ProfileManagerBase* manager = internal::profileManager();
  return TreeArea(manager ? manager->currentProfile() : nullptr).groupAt(profileGroupPath(group), create);
}

bool internal::isInCurrentProfile(const OdString& path, OdString& below) {
  ProfileManagerBase* manager = internal::profileManager();
  if (!manager || !manager->currentProfile()) return false;
  const OdString profileRoot = Config::currentProfileRoot(eCfgPathConfig);
  if (!startsWithNoCase(path, profileRoot)) return false;
  below = path.mid(profileRoot.getLength());
  return true;
}

// --- Identity and paths ---

OdString Config::separator(ECfgPathType kind) {
  switch (kind) {
    case eCfgPathRegistry:
    case eCfgPathRegistryKey:
      return L"\\";
    case eCfgPathNative:
      return OdString(std::wstring(1, wxFileName::GetPathSeparator()));
    default:
      return L"/";
  }
}

OdString Config::companyRoot(ECfgPathType kind) {
  const auto found = roots(kind);
  return found ? found->company : OdString();
}

OdString Config::productRoot(ECfgPathType kind) {
  const auto found = roots(kind);
  return found ? found->product : OdString();
}

OdString Config::versionRoot(ECfgPathType kind) {
  const auto found = roots(kind);
  return found ? found->version : OdString();
}

OdString Config::languageRoot(ECfgPathType kind) {
  const auto found = roots(kind);
  return found ? found->language : OdString();
}

OdString Config::profilesRoot(ECfgPathType kind) {
  const auto found = roots(kind);
  return found ? found->profiles : OdString();
}

OdString Config::currentProfileRoot(ECfgPathType kind) {
  const OdString profiles = profilesRoot(kind);
  return profiles.isEmpty() ? profiles : profiles + currentProfileName() + separator(kind);
}

OdString Config::konvertorRoot(ECfgPathType kind) {
  const auto found = roots(kind);
  return found ? found->konvertor : OdString();
}

OdString Config::versionKey() { return internal::versionKey(); }

OdString Config::regCompany(bool legalName) { return internal::companyName(legalName); }

void Config::setRegCompany(const OdString& name, const OdString& legalName) {
  const ConfigLock lock(configState().mutex);
  internal::setCompanyName(name, legalName);
  configState().fixedPaths = {};
}

OdString Config::regProduct() { return internal::productName(); }

void Config::setRegProduct(const OdString& name) {
  const ConfigLock lock(configState().mutex);
  internal::setProductName(name);
  configState().fixedPaths = {};
}

OdString Config::keyPath(ECfgGroup group, ECfgPathType kind) {
  const ConfigLock lock(configState().mutex);
  if (!internal::knownGroup(group)) return OdString();
  const GroupPlace& place = kGroups[group];
  if (place.base == Base::eRoot) return separator(kind);
  if (place.base == Base::eProfile) return rendered(currentProfileRoot(eCfgPathConfig) + place.suffix, kind);
  OdString& fixed = configState().fixedPaths[group];
  if (fixed.isEmpty()) {
    fixed = (place.base == Base::eVersion ? versionRoot(eCfgPathConfig) : languageRoot(eCfgPathConfig)) +
            place.suffix;
  }
  return rendered(fixed, kind);
}

OdString Config::regPath(ECfgGroup group, bool withRootKey) {
  OdString path = keyPath(group, eCfgPathRegistry);
  path.trimLeft(L'\\').trimRight(L'\\');
  if (!withRootKey) return path;
  return path.isEmpty() ? OdString(L"HKEY_CURRENT_USER") : L"HKEY_CURRENT_USER\\" + path;
}

OdString Config::getConfigFileName() { return internal::defaultConfigFile(); }

OdString Config::currentLanguage() { return internal::currentLanguage(); }

OdString Config::userName() { return internal::fromWx(wxGetUserId()); }

OdString Config::currentProfileName() {
  const ConfigLock lock(configState().mutex);
  const OdString name =
      internal::profileManager() ? internal::profileManager()->currentProfileName() : OdString();
  return name.isEmpty() ? OdString(L"Default") : name;
}

bool Config::initFromFile() { return ConfigFileStorage::inUse(); }

void Config::setInitFromFile(bool fromFile, const OdString& file) { ConfigFileStorage::use(fromFile, file); }

// --- Life ---

bool Config::initConfig(ProfileManagerBase* profileManager) {
  const ConfigLock lock(configState().mutex);
  configState().manager.reset(profileManager ? profileManager : new ProfileManager());
  ProfileManagerBase& installed = *configState().manager;
  if (!installed.reset()) return false;
  OdString name = installed.recordedProfileName();
  if (name.isEmpty() || !installed.getProfileNode(name, false)) name = L"Default";
  if (!installed.setCurrentProfile(name, true)) return false;
  long expand = 0;
  configState().expandStrings = read(eCfgConfig, L"REGEXPAND", expand) && expand != 0;
  internal::setTempDirSource([] {
    OdString dir;
    Config::read(eCfgConfig, L"TEMPPREFIX", dir);
    return dir;
  });
  return true;
}

ProfileManagerBase* Config::profileManager() {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager();
}

bool Config::flush() {
  const ConfigLock lock(configState().mutex);
  return internal::profileManager() && internal::profileManager()->flush();
}

bool Config::setShapeDefaults() {
  return internal::withArea(eCfgConfig, true, [](SettingsArea& area) {
    internal::writeShapeDefaults(area, OdString());
    return true;
  });
}

OdString Config::qsbAppID() {
  const wxString file = internal::toWx(getExecutableFolder()) + L"qsb.json";
  const auto fail = [&](const wchar_t* message) {
    trace(1, wxString::Format(message, file));
    return OdString();
  };
  if (!wxFileName::FileExists(file)) return fail(L"QSB app ID file '%ls' does not exist");
  File in(internal::fromWx(file), File::eRead);
  if (!in.isOpened()) return fail(L"Unable to open QSB app ID file '%ls'");
  std::string text;
  if (!in.readAll(text)) return fail(L"Unable to read QSB app ID file '%ls'");
  const JsonValue json = JsonValue::parse(text, nullptr, false);
  if (json.is_discarded()) return fail(L"Unable to parse json from QSB app ID file '%ls'");
  const std::optional<OdString> id =
      json.is_object() ? tryGetStringValue(json.get_ref<const JsonObject&>(), L"appID") : std::nullopt;
  if (!id) {
    trace(1, wxString::Format(L"Unable to read json key '%ls' from QSB app file", L"appID"));
    return OdString();
  }
  return *id;
}

bool Config::expandStrings() {
  const ConfigLock lock(configState().mutex);
  return configState().expandStrings;
}

// --- Wrappers ---

bool initConfig(ProfileManagerBase* manager) { return Config::initConfig(manager); }

bool writeConfig() { return Config::flush(); }

wxString getCurrentLanguageCode() { return internal::toWx(Config::currentLanguage()); }

wxString getString(ECfgGroup group, const wxString& name) {
  OdString value;
  Config::read(group, internal::fromWx(name), value);
  return internal::toWx(value);
}

bool setString(ECfgGroup group, const wxString& name, const wxString& value) {
  return Config::writeString(group, internal::fromWx(name), internal::fromWx(value));
}

}  // namespace ut
