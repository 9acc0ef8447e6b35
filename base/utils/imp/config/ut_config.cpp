#include "ut_config.h"

#include "config/ut_config_area.h"
#include "ut_config_storage.h"
#include "ut_file.h"
#include "core/ut_nocase.h"
#include "core/ut_number_text.h"
#include "ut_profile.h"
#include "config/ut_profile_p.h"
#include "ut_registry.h"
#include "core/ut_assert_p.h"
#include "ut_system.h"
#include "core/ut_trace.h"
#include "core/ut_wx.h"

#include <wx/filename.h>
#include <wx/utils.h>

#include <nlohmann/json.hpp>

#include <array>
#include <charconv>
#include <climits>
#include <mutex>
#include <optional>
#include <type_traits>
#include <vector>

#ifndef QX_BUILD_VARIANT
#define QX_BUILD_VARIANT ""
#endif

namespace ut {

namespace {

using internal::SettingsArea;
using internal::StoreArea;
using internal::TreeArea;

constexpr int kMajorVersion = 26;
constexpr const wchar_t* kPlatformTag = L"x64";
constexpr const wchar_t* kBuildVariant = L"" QX_BUILD_VARIANT;

enum class Base { eRoot, eVersion, eLanguage, eProfile };

struct GroupPlace {
  Base base;
  const wchar_t* suffix;
};

constexpr std::array<GroupPlace, 25> kGroups{{
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

struct ShapeDefault {
  const wchar_t* name;
  bool isBool;
  long value;
};

constexpr std::array<ShapeDefault, 19> kShapeDefaults{{
    {L"AntiAliasScreen", false, 1},   {L"AUTOCOMPLETEMODE", false, 31}, {L"AUTOSNAP", false, 127},
    {L"CLEANSCREENOPTIONS", false, 29}, {L"COLORTHEME", false, 1},      {L"GEOMRELATIONS", false, 0},
    {L"GETSTARTED", true, 1},         {L"LAYOUTTAB", true, 0},          {L"LOCKUI", false, 7},
    {L"OSMODE", false, 4263},         {L"OSOPTIONS", false, 5},         {L"PROMPTMENU", false, 0},
    {L"SHORTCUTMENU", false, 0},      {L"SHOWDOCTABS", true, 0},        {L"SSLOCATE", true, 0},
    {L"STARTUP", false, 2},           {L"UCSORTHO", true, 0},           {L"UseKonvertor", false, 0},
    {L"XDWGFADECTL", false, 0},
}};

struct ConfigState {
  std::recursive_mutex mutex;
  OdString company = L"Korvani";
  OdString legalCompany;
  OdString product = L"VeltoCAD";
  std::optional<OdString> language;
  // Paths of the groups outside profiles, in "/" form, made on first use.
  std::array<OdString, kGroups.size()> fixedPaths;
  std::unique_ptr<ProfileManagerBase> manager;
  bool expandStrings = false;
};

ConfigState& state() {
  static ConfigState instance;
  return instance;
}

using Lock = std::lock_guard<std::recursive_mutex>;

bool isProfileGroup(ECfgGroup group) { return group >= eCfgProfile && group <= eCfg3dMouseMenu; }

bool knownGroup(ECfgGroup group) {
  if (group >= eCfgRoot && group < static_cast<int>(kGroups.size())) return true;
  internal::report("ut::keyPath", wxString::Format(L"Unknown configuration group (%d)", static_cast<int>(group)));
  return false;
}

OdString rendered(const OdString& path, ECfgPathType kind) {
  OdString result = path;
  const OdString separator = Config::separator(kind);
  if (separator != L"/") result.replace(L'/', separator[0]);
  return result;
}

bool startsWithNoCase(const OdString& text, const OdString& prefix) {
  return text.getLength() >= prefix.getLength() &&
         internal::equalNoCase(text.view().substr(0, prefix.getLength()), prefix.view());
}

// The node of a profile group inside the current profile.
ConfigNodePtr profileGroupNode(ECfgGroup group, bool create) {
  ProfileManagerBase* manager = state().manager.get();
  ConfigNodePtr node = manager ? manager->currentProfile() : nullptr;
  return TreeArea(node).groupAt(kGroups[group].suffix, create);
}

// Runs `op` on the area of `group`: the current profile's tree for a profile group, else the store
// (changes committed when `op` succeeds).
template <class Op>
bool withArea(ECfgGroup group, bool write, Op&& op) {
  const Lock lock(state().mutex);
  if (!knownGroup(group)) return false;
  if (isProfileGroup(group)) {
    TreeArea area(profileGroupNode(group, write));
    return op(static_cast<SettingsArea&>(area));
  }
  StoreArea area(Config::keyPath(group, eCfgPathConfig), write);
  return op(static_cast<SettingsArea&>(area)) && area.commit();
}

// As withArea for a full path: inside the current profile the profile's tree, else the store's root.
template <class Op>
bool withPath(const OdString& path, bool write, Op&& op) {
  const Lock lock(state().mutex);
  ProfileManagerBase* manager = state().manager.get();
  const OdString profileRoot = manager && manager->currentProfile() ? Config::currentProfileRoot(eCfgPathConfig)
                                                                   : OdString();
  if (!profileRoot.isEmpty() && startsWithNoCase(path, profileRoot)) {
    TreeArea area(manager->currentProfile());
    return op(static_cast<SettingsArea&>(area), path.mid(profileRoot.getLength()));
  }
  StoreArea area(OdString(), write);
  return op(static_cast<SettingsArea&>(area), path) && area.commit();
}

// Whether the group holds a group, or an entry, of that name. Inside a profile the tree is asked from
// the profile down, so that the marker of a deleted group is found like any node.
bool has(ECfgGroup group, const OdString& name, bool isGroup) {
  const Lock lock(state().mutex);
  if (!knownGroup(group)) return false;
  if (isProfileGroup(group)) {
    TreeArea profile(state().manager ? state().manager->currentProfile() : nullptr);
    const OdString path = kGroups[group].suffix + name;
    return isGroup ? profile.hasGroup(path) : profile.hasEntry(path);
  }
  return withArea(group, false,
                  [&](SettingsArea& area) { return isGroup ? area.hasGroup(name) : area.hasEntry(name); });
}

// --- Value encodings ---

OdString formatted(const wchar_t* format, auto... values) {
  OdString text;
  text.format(format, values...);
  return text;
}

// Numbers parted by commas, exactly `count` of them. Integers allow nothing but "-0123456789," and must
// fit 32 bits.
template <class Number>
std::optional<std::vector<Number>> parseNumbers(const OdString& text, size_t count) {
  constexpr bool integers = std::is_integral_v<Number>;
  if (integers && (text.isEmpty() || text.view().find_first_not_of(L"-0123456789,") != std::wstring_view::npos)) {
    return std::nullopt;
  }
  const std::string narrow(wxString(text.c_str()).utf8_str());
  std::vector<Number> values;
  for (const char* at = narrow.data(); values.size() < count; ++at) {
    Number value = 0;
    const auto [end, error] = std::from_chars(at, narrow.data() + narrow.size(), value);
    if (error != std::errc() || (integers && (value < INT32_MIN || value > INT32_MAX))) return std::nullopt;
    values.push_back(value);
    at = end;
    if (*at != (values.size() < count ? ',' : '\0')) return std::nullopt;
  }
  return values;
}

OdString doubleText(double value) { return OdString(internal::shortestText(value)); }

// Coordinates as "%g" writes them, with "." whatever the locale: "1.5,-2,0.001".
OdString coordinatesText(std::initializer_list<double> values) {
  std::wstring text;
  for (const double value : values) text += (text.empty() ? L"" : L",") + internal::gText(value);
  return OdString(std::move(text));
}

template <class Number>
bool readNumbers(ECfgGroup group, const OdString& name, size_t count, std::vector<Number>& values) {
  OdString text;
  if (!Config::read(group, name, text)) return false;
  auto parsed = parseNumbers<Number>(text, count);
  if (!parsed) return false;
  values = std::move(*parsed);
  return true;
}

bool readDoubleIn(SettingsArea& area, const OdString& path, double& value) {
  long number = 0;
  if (area.readNumber(path, number)) {
    value = static_cast<double>(number);
    return true;
  }
  OdString text;
  if (!area.readText(path, text)) return false;
  const auto parsed = parseNumbers<double>(text, 1);
  if (parsed) value = parsed->front();
  return parsed.has_value();
}

OdString listItemName(const OdString& key, unsigned index) {
  OdString group = key;
  group.trimRight(L'/');
  return formatted(L"%ls/File%u", group.c_str(), index);
}

// The policy value `name`, from the machine's registry, else from the user's.
template <class Value>
bool readAdminValue(const wchar_t* name, Value& value) {
  if (!name) return false;
  const OdString key = Config::productRoot(eCfgPathRegistry) + L"\\AdminPolicy";
  for (ERootKey root : {eLocalMachine, eCurrentUser}) {
    Registry policy(false);
    if (policy.open(root, key, eRead) && policy.read(name, value)) return true;
  }
  return false;
}

ProfileManagerBase* manager() { return state().manager.get(); }

}  // namespace

void internal::writeShapeDefaults(SettingsArea& area, const OdString& group) {
  for (const ShapeDefault& setting : kShapeDefaults) area.writeNumber(group + setting.name, setting.value);
}

// --- Identity and paths ---

OdString Config::separator(ECfgPathType kind) {
  switch (kind) {
    case eCfgPathRegistry:
    case eCfgPathRegistryKey:
      return L"\\";
    case eCfgPathNative:
      return OdString(wxString(wxFileName::GetPathSeparator()).wc_str());
    default:
      return L"/";
  }
}

OdString Config::companyRoot(ECfgPathType kind) {
  const Lock lock(state().mutex);
  switch (kind) {
    case eCfgPathRegistry:
    case eCfgPathConfig:
      return L"Software" + separator(kind) + state().company;
    case eCfgPathNative:
      return state().company;
    default:
      return OdString();
  }
}

OdString Config::productRoot(ECfgPathType kind) {
  const OdString company = companyRoot(kind);
  return company.isEmpty() ? company : company + separator(kind) + regProduct();
}

OdString Config::versionRoot(ECfgPathType kind) {
  const OdString product = productRoot(kind);
  return product.isEmpty() ? product : product + separator(kind) + versionKey() + separator(kind);
}

OdString Config::languageRoot(ECfgPathType kind) {
  const OdString version = versionRoot(kind);
  return version.isEmpty() ? version : version + currentLanguage() + separator(kind);
}

OdString Config::profilesRoot(ECfgPathType kind) {
  const OdString language = languageRoot(kind);
  return language.isEmpty() ? language : language + L"Profiles" + separator(kind);
}

OdString Config::currentProfileRoot(ECfgPathType kind) {
  const OdString profiles = profilesRoot(kind);
  return profiles.isEmpty() ? profiles : profiles + currentProfileName() + separator(kind);
}

OdString Config::konvertorRoot(ECfgPathType kind) {
  const OdString company = companyRoot(kind);
  return company.isEmpty() ? company : company + separator(kind) + L"VeltoCAD Konvertor";
}

OdString Config::versionKey() { return formatted(L"V%d%ls%ls", kMajorVersion, kPlatformTag, kBuildVariant); }

OdString Config::regCompany(bool legalName) {
  const Lock lock(state().mutex);
  return legalName && !state().legalCompany.isEmpty() ? state().legalCompany : state().company;
}

void Config::setRegCompany(const OdString& name, const OdString& legalName) {
  const Lock lock(state().mutex);
  state().company = name;
  state().legalCompany = legalName;
  state().fixedPaths = {};
}

OdString Config::regProduct() {
  const Lock lock(state().mutex);
  return state().product;
}

void Config::setRegProduct(const OdString& name) {
  const Lock lock(state().mutex);
  state().product = name;
  state().fixedPaths = {};
}

OdString Config::keyPath(ECfgGroup group, ECfgPathType kind) {
  const Lock lock(state().mutex);
  if (!knownGroup(group)) return OdString();
  const GroupPlace& place = kGroups[group];
  if (place.base == Base::eRoot) return separator(kind);
  if (place.base == Base::eProfile) return rendered(currentProfileRoot(eCfgPathConfig) + place.suffix, kind);
  OdString& fixed = state().fixedPaths[group];
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

OdString Config::getConfigFileName() { return getUserConfigDir() + L"config"; }

OdString Config::currentLanguage() {
  const Lock lock(state().mutex);
  std::optional<OdString>& language = state().language;
  if (language) return *language;
  OdString stored;
  if (StoreArea(versionRoot(eCfgPathConfig), false).readText(L"CURVER", stored) && !stored.isEmpty()) {
    return *(language = stored);
  }
  OdString folder = getExecutableFolder();
  folder.trimRight(L'/');
  const OdString name = folder.mid(folder.reverseFind(L'/') + 1);
  const bool isCode = name.getLength() == 5 && name[2] == L'_' && iswlower(name[0]) && iswlower(name[1]) &&
                      iswupper(name[3]) && iswupper(name[4]);
  return *(language = isCode ? name : OdString(L"en_US"));
}

OdString Config::userName() { return OdString(wxGetUserId().wc_str()); }

OdString Config::currentProfileName() {
  const Lock lock(state().mutex);
  const OdString name = manager() ? manager()->currentProfileName() : OdString();
  return name.isEmpty() ? OdString(L"Default") : name;
}

void Config::getProfileNames(OdArray<OdString>& names) {
  const Lock lock(state().mutex);
  if (manager()) manager()->getProfileNames(names);
}

bool Config::initFromFile() { return ConfigFileStorage::inUse(); }

void Config::setInitFromFile(bool fromFile, const OdString& file) { ConfigFileStorage::use(fromFile, file); }

// --- Existence ---

bool Config::hasGroup(const OdString& path) {
  return withPath(path, false, [](SettingsArea& area, const OdString& at) { return area.hasGroup(at); });
}

bool Config::hasGroup(ECfgGroup group) { return has(group, OdString(), true); }

bool Config::hasGroup(ECfgGroup group, const OdString& name) { return has(group, name, true); }

bool Config::hasEntry(ECfgGroup group, const OdString& name) { return has(group, name, false); }

ECfgType Config::entryType(ECfgGroup group, const OdString& name) {
  ECfgType type = eCfgTypeUnknown;
  withArea(group, false, [&](SettingsArea& area) { return (type = area.entryType(name)) != eCfgTypeUnknown; });
  return type;
}

// --- Reading ---

bool Config::read(ECfgGroup group, const OdString& name, bool& value) {
  long number = 0;
  if (!read(group, name, number)) return false;
  value = number != 0;
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, short& value) {
  long number = 0;
  if (!read(group, name, number) || number < SHRT_MIN || number > SHRT_MAX) return false;
  value = static_cast<short>(number);
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, long& value) {
  return withArea(group, false, [&](SettingsArea& area) { return area.readNumber(name, value); });
}

bool Config::read(ECfgGroup group, const OdString& name, OdString& value) {
  return withArea(group, false, [&](SettingsArea& area) { return area.readText(name, value); });
}

bool Config::read(ECfgGroup group, const OdString& name, double& value) {
  return withArea(group, false, [&](SettingsArea& area) { return readDoubleIn(area, name, value); });
}

bool Config::read(ECfgGroup group, const OdString& name, tagPOINT& value) {
  std::vector<long> v;
  if (!readNumbers(group, name, 2, v)) return false;
  value = {static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1])};
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, wxSize& value) {
  std::vector<long> v;
  if (!readNumbers(group, name, 2, v)) return false;
  value = wxSize(static_cast<int>(v[0]), static_cast<int>(v[1]));
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, tagRECT& value) {
  std::vector<long> v;
  if (!readNumbers(group, name, 4, v)) return false;
  value = {static_cast<int32_t>(v[0]), static_cast<int32_t>(v[1]), static_cast<int32_t>(v[2]),
           static_cast<int32_t>(v[3])};
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, wxRect& value) {
  std::vector<long> v;
  if (!readNumbers(group, name, 4, v)) return false;
  value = wxRect(static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2]), static_cast<int>(v[3]));
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, wxPoint& value) {
  std::vector<long> v;
  if (!readNumbers(group, name, 2, v)) return false;
  value = wxPoint(static_cast<int>(v[0]), static_cast<int>(v[1]));
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, OdGePoint2d& value) {
  std::vector<double> v;
  if (!readNumbers(group, name, 2, v)) return false;
  value = OdGePoint2d(v[0], v[1]);
  return true;
}

bool Config::read(ECfgGroup group, const OdString& name, OdGePoint3d& value) {
  std::vector<double> v;
  if (!readNumbers(group, name, 3, v)) return false;
  value = OdGePoint3d(v[0], v[1], v[2]);
  return true;
}

bool Config::read(const OdString& path, long& value) {
  return withPath(path, false, [&](SettingsArea& area, const OdString& at) { return area.readNumber(at, value); });
}

bool Config::read(const OdString& path, double& value) {
  return withPath(path, false,
                  [&](SettingsArea& area, const OdString& at) { return readDoubleIn(area, at, value); });
}

bool Config::read(const OdString& path, OdString& value) {
  return withPath(path, false, [&](SettingsArea& area, const OdString& at) { return area.readText(at, value); });
}

// --- Writing ---

bool Config::writeBool(ECfgGroup group, const OdString& name, bool value) {
  return writeLong(group, name, value ? 1 : 0);
}

bool Config::writeShort(ECfgGroup group, const OdString& name, short value) {
  return writeLong(group, name, value);
}

bool Config::writeLong(ECfgGroup group, const OdString& name, long value) {
  return withArea(group, true, [&](SettingsArea& area) { return area.writeNumber(name, value); });
}

bool Config::writeString(ECfgGroup group, const OdString& name, const OdString& value) {
  return withArea(group, true, [&](SettingsArea& area) { return area.writeText(name, value); });
}

bool Config::writeDouble(ECfgGroup group, const OdString& name, double value) {
  return writeString(group, name, doubleText(value));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const tagPOINT& value) {
  return writeString(group, name, formatted(L"%d,%d", value.x, value.y));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const wxPoint& value) {
  return writeString(group, name, formatted(L"%d,%d", value.x, value.y));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const OdGePoint2d& value) {
  return writeString(group, name, coordinatesText({value.x, value.y}));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const OdGePoint3d& value) {
  return writeString(group, name, coordinatesText({value.x, value.y, value.z}));
}

bool Config::writeSize(ECfgGroup group, const OdString& name, const wxSize& value) {
  return writeString(group, name, formatted(L"%d,%d", value.x, value.y));
}

bool Config::writeRect(ECfgGroup group, const OdString& name, const tagRECT& value) {
  return writeString(group, name, formatted(L"%d,%d,%d,%d", value.left, value.top, value.right, value.bottom));
}

bool Config::writeRect(ECfgGroup group, const OdString& name, const wxRect& value) {
  return writeString(group, name, formatted(L"%d,%d,%d,%d", value.x, value.y, value.width, value.height));
}

bool Config::writeLong(const OdString& path, long value) {
  return withPath(path, true, [&](SettingsArea& area, const OdString& at) { return area.writeNumber(at, value); });
}

bool Config::writeDouble(const OdString& path, double value) { return writeString(path, doubleText(value)); }

bool Config::writeString(const OdString& path, const OdString& value) {
  return withPath(path, true, [&](SettingsArea& area, const OdString& at) { return area.writeText(at, value); });
}

// --- Structure ---

bool Config::copyGroup(ECfgGroup group, const OdString& from, const OdString& to) {
  return withArea(group, true, [&](SettingsArea& area) { return area.copy(from, to, true); });
}

bool Config::copyEntry(ECfgGroup group, const OdString& from, const OdString& to) {
  return withArea(group, true, [&](SettingsArea& area) { return area.copy(from, to, false); });
}

bool Config::deleteGroup(ECfgGroup group) {
  const Lock lock(state().mutex);
  if (!knownGroup(group)) return false;
  if (group == eCfgProfile) return deleteProfile(currentProfileName());
  if (isProfileGroup(group)) {
    return withArea(eCfgProfile, true, [&](SettingsArea& area) { return area.remove(kGroups[group].suffix, true); });
  }
  return withPath(keyPath(group, eCfgPathConfig), true,
                  [](SettingsArea& area, const OdString& at) { return area.remove(at, true); });
}

bool Config::deleteGroup(ECfgGroup group, const OdString& name) {
  return withArea(group, true, [&](SettingsArea& area) { return area.remove(name, true); });
}

bool Config::deleteEntry(ECfgGroup group, const OdString& name) {
  return withArea(group, true, [&](SettingsArea& area) { return area.remove(name, false); });
}

bool Config::renameGroup(ECfgGroup group, const OdString& name) {
  const Lock lock(state().mutex);
  if (!knownGroup(group) || name.isEmpty() || group == eCfgRoot) return false;
  if (group == eCfgProfile) return renameProfile(currentProfileName(), name);
  const OdString path = isProfileGroup(group) ? OdString(kGroups[group].suffix) : keyPath(group, eCfgPathConfig);
  const OdString parent = internal::splitLastName(path).first;
  const OdString target = parent.isEmpty() ? name : parent + L"/" + name;
  if (isProfileGroup(group)) {
    return withArea(eCfgProfile, true, [&](SettingsArea& area) { return area.rename(path, target, true); });
  }
  return withPath(path, true, [&](SettingsArea& area, const OdString& at) { return area.rename(at, target, true); });
}

bool Config::renameGroup(ECfgGroup group, const OdString& from, const OdString& to) {
  return withArea(group, true, [&](SettingsArea& area) {
    const OdString parent = internal::splitLastName(from).first;
    return area.rename(from, parent.isEmpty() ? to : parent + L"/" + to, true);
  });
}

bool Config::renameEntry(ECfgGroup group, const OdString& from, const OdString& to) {
  return withArea(group, true, [&](SettingsArea& area) {
    const OdString parent = internal::splitLastName(from).first;
    return area.rename(from, parent.isEmpty() ? to : parent + L"/" + to, false);
  });
}

// --- Listing ---

bool Config::listGroups(ECfgGroup group, OdArray<OdString>& names, const OdString& sub) {
  return withArea(group, false,
                  [&](SettingsArea& area) { return area.list(sub, true, [&](const OdString& n) { names.append(n); }); });
}

bool Config::listEntries(ECfgGroup group, OdArray<OdString>& names, const OdString& sub) {
  return withArea(group, false,
                  [&](SettingsArea& area) { return area.list(sub, false, [&](const OdString& n) { names.append(n); }); });
}

int Config::countGroups(ECfgGroup group) {
  int count = 0;
  withArea(group, false, [&](SettingsArea& area) { return (count = area.count(OdString(), true)) >= 0; });
  return count;
}

int Config::countEntries(ECfgGroup group) {
  int count = 0;
  withArea(group, false, [&](SettingsArea& area) { return (count = area.count(OdString(), false)) >= 0; });
  return count;
}

// --- Lists ---

namespace {

OdArray<OdString> loadList(SettingsArea& area, const OdString& key) {
  OdArray<OdString> items;
  OdString item;
  for (unsigned index = 1; area.readText(listItemName(key, index), item); ++index) items.append(item);
  return items;
}

}  // namespace

ERegList Config::loadListFromRegistry(ECfgGroup group, const OdString& key, OdArray<OdString>& items) {
  ERegList result = eRegListFailed;
  withArea(group, false, [&](SettingsArea& area) {
    const OdArray<OdString> stored = loadList(area, key);
    for (const OdString& item : stored) items.append(item);
    result = stored.isEmpty() ? eRegListEmpty : eRegListDone;
    return true;
  });
  return result;
}

ERegList Config::saveListToRegistry(ECfgGroup group, const OdString& key, const OdArray<OdString>& items,
                                    bool force) {
  ERegList result = eRegListFailed;
  withArea(group, true, [&](SettingsArea& area) {
    if (!force && loadList(area, key) == items && (area.hasGroup(key) || items.isEmpty())) {
      result = eRegListUnchanged;
      return false;  // nothing to commit
    }
    area.remove(key, true);
    for (unsigned index = 1; index <= items.size(); ++index) {
      if (!area.writeText(listItemName(key, index), items[index - 1])) return false;
    }
    result = eRegListDone;
    return true;
  });
  return result == eRegListDone || result == eRegListUnchanged ? result : eRegListFailed;
}

// --- Administrator policy ---

bool Config::readAdminVal(const wchar_t* name, bool& value) {
  long number = 0;
  if (!readAdminValue(name, number)) return false;
  value = number != 0;
  return true;
}

bool Config::readAdminVal(const wchar_t* name, short& value) {
  long number = 0;
  if (!readAdminValue(name, number) || number < SHRT_MIN || number > SHRT_MAX) return false;
  value = static_cast<short>(number);
  return true;
}

bool Config::readAdminVal(const wchar_t* name, OdString& value) { return readAdminValue(name, value); }

// --- Profiles ---

bool Config::setCurProfileName(const OdString& name, bool create) {
  const Lock lock(state().mutex);
  return manager() && manager()->setCurrentProfile(name, create);
}

ConfigNodePtr Config::getProfileNode(const OdString& name, bool create) {
  const Lock lock(state().mutex);
  return manager() ? manager()->getProfileNode(name, create) : nullptr;
}

ConfigNodePtr Config::getIfProfileNode(ECfgGroup group, bool create) {
  const Lock lock(state().mutex);
  if (!knownGroup(group) || !isProfileGroup(group)) return nullptr;
  return profileGroupNode(group, create);
}

ConfigNodePtr Config::getIfProfileNodeParent(OdString& path, ECfgGroup group, bool create) {
  const Lock lock(state().mutex);
  const auto [parent, name] = internal::splitLastName(path);
  ConfigNodePtr node = TreeArea(getIfProfileNode(group, create)).groupAt(parent, create);
  if (node) path = name;
  return node;
}

bool Config::exportProfile(const OdString& name, const OdString& file, bool overwrite) {
  const Lock lock(state().mutex);
  if (!manager()) return false;
  if (!overwrite && wxFileName::Exists(file.c_str())) return false;
  return manager()->exportProfile(name, internal::profileFileStorage(file));
}

bool Config::importProfile(const OdString& file, const OdString& name, const OdString& description) {
  const Lock lock(state().mutex);
  return manager() && internal::importProfileFile(*manager(), file, name, description);
}

bool Config::setProfileDescription(const OdString& name, const OdString& description) {
  const Lock lock(state().mutex);
  const ConfigNodePtr profile = getProfileNode(name, false);
  return profile && TreeArea(profile).writeText(L"Description", description);
}

bool Config::copyProfile(const OdString& from, const OdString& to) {
  const Lock lock(state().mutex);
  return manager() && manager()->copyProfile(from, to);
}

bool Config::renameProfile(const OdString& from, const OdString& to) {
  const Lock lock(state().mutex);
  return manager() && manager()->renameProfile(from, to);
}

bool Config::deleteProfile(const OdString& name) {
  const Lock lock(state().mutex);
  return manager() && manager()->deleteProfile(name);
}

bool Config::resetProfile(const OdString& name) {
  const Lock lock(state().mutex);
  return manager() && manager()->resetProfile(name);
}

// --- Life ---

bool Config::initConfig(ProfileManagerBase* profileManager) {
  const Lock lock(state().mutex);
  state().manager.reset(profileManager ? profileManager : new ProfileManager());
  ProfileManagerBase& installed = *state().manager;
  if (!installed.reset()) return false;
  OdString name = installed.recordedProfileName();
  if (name.isEmpty() || !installed.getProfileNode(name, false)) name = L"Default";
  if (!installed.setCurrentProfile(name, true)) return false;
  long expand = 0;
  state().expandStrings = read(eCfgConfig, L"REGEXPAND", expand) && expand != 0;
  return true;
}

ProfileManagerBase* Config::profileManager() {
  const Lock lock(state().mutex);
  return manager();
}

bool Config::flush() {
  const Lock lock(state().mutex);
  return manager() && manager()->flush();
}

bool Config::setShapeDefaults() {
  return withArea(eCfgConfig, true, [](SettingsArea& area) {
    internal::writeShapeDefaults(area, OdString());
    return true;
  });
}

OdString Config::qsbAppID() {
  const wxString file = wxString(getExecutableFolder().c_str()) + L"qsb.json";
  const auto fail = [&](const wchar_t* message) {
    internal::trace(1, wxString::Format(message, file));
    return OdString();
  };
  if (!wxFileName::FileExists(file)) return fail(L"QSB app ID file '%ls' does not exist");
  File in(internal::fromWx(file), File::eRead);
  if (!in.isOpened()) return fail(L"Unable to open QSB app ID file '%ls'");
  std::string text;
  if (!in.readAll(text)) return fail(L"Unable to read QSB app ID file '%ls'");
  const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
  if (json.is_discarded()) return fail(L"Unable to parse json from QSB app ID file '%ls'");
  if (!json.is_object() || !json.contains("appID") || !json["appID"].is_string()) {
    internal::trace(1, wxString::Format(L"Unable to read json key '%ls' from QSB app file", L"appID"));
    return OdString();
  }
  return OdString(wxString::FromUTF8(json["appID"].get<std::string>()).wc_str());
}

bool Config::expandStrings() {
  const Lock lock(state().mutex);
  return state().expandStrings;
}

// --- Wrappers ---

bool initConfig(ProfileManagerBase* manager) { return Config::initConfig(manager); }

bool writeConfig() { return Config::flush(); }

wxString getCurrentLanguageCode() { return Config::currentLanguage().c_str(); }

wxString getString(ECfgGroup group, const wxString& name) {
  OdString value;
  Config::read(group, OdString(name.wc_str()), value);
  return value.c_str();
}

bool setString(ECfgGroup group, const wxString& name, const wxString& value) {
  return Config::writeString(group, OdString(name.wc_str()), OdString(value.wc_str()));
}

}  // namespace ut
