// Config's values, structure and lists: what the groups hold and how it is read, written, copied and
// listed.

#include "ut_config.h"

#include "config/ut_config_p.h"
#include "core/ut_number_text.h"
#include "core/ut_wx.h"
#include "ut_registry.h"

#include <charconv>
#include <climits>
#include <optional>
#include <type_traits>
#include <vector>

namespace ut {

namespace {

using internal::ConfigLock;
using internal::configState;
using internal::SettingsArea;
using internal::TreeArea;

// The areas answer wxWidgets' kinds of entries, which are numbered as ECfgType numbers them.
constexpr bool sameNumber(ECfgType type, wxConfigBase::EntryType kind) { return int{type} == int{kind}; }
static_assert(sameNumber(eCfgTypeUnknown, wxConfigBase::Type_Unknown) &&
              sameNumber(eCfgTypeString, wxConfigBase::Type_String) &&
              sameNumber(eCfgTypeBool, wxConfigBase::Type_Boolean) &&
              sameNumber(eCfgTypeInteger, wxConfigBase::Type_Integer) &&
              sameNumber(eCfgTypeDouble, wxConfigBase::Type_Float));

// Whether the group holds a group, or an entry, of that name. Inside a profile the tree is asked from
// the profile down, so that the marker of a deleted group is found like any node.
bool has(ECfgGroup group, const OdString& name, bool isGroup) {
  const ConfigLock lock(configState().mutex);
  if (!internal::knownGroup(group)) return false;
  if (internal::isProfileGroup(group)) {
    TreeArea profile(internal::profileManager() ? internal::profileManager()->currentProfile() : nullptr);
    const OdString path = internal::profileGroupPath(group) + name;
    return isGroup ? profile.hasGroup(path) : profile.hasEntry(path);
  }
  return internal::withArea(
      group, false, [&](SettingsArea& area) { return isGroup ? area.hasGroup(name) : area.hasEntry(name); });
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
  if (integers &&
      (text.isEmpty() || text.view().find_first_not_of(L"-0123456789,") != std::wstring_view::npos)) {
    return std::nullopt;
  }
  const std::string narrow(internal::toWx(text).utf8_str());
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

// A compound value is stored as its numbers parted by commas, in the order of its members: integers as
// "%d" writes them, floating-point numbers as "%g" does, with "." whatever the locale.
template <auto... Members>
struct Compound {
  template <class T>
  static OdString text(const T& value) {
    std::wstring text;
    ((text += (text.empty() ? L"" : L",") + numberText(value.*Members)), ...);
    return OdString(std::move(text));
  }

  template <class T>
  static bool parse(const OdString& text, T& value) {
    using Number =
        std::conditional_t<(std::is_floating_point_v<MemberType<T, Members>> || ...), double, long>;
    const auto numbers = parseNumbers<Number>(text, sizeof...(Members));
    if (!numbers) return false;
    size_t i = 0;
    ((value.*Members = static_cast<MemberType<T, Members>>((*numbers)[i++])), ...);
    return true;
  }

 private:
  template <class T, auto Member>
  using MemberType = std::remove_cvref_t<decltype(std::declval<T&>().*Member)>;

  static std::wstring numberText(double number) { return internal::gText(number); }
  static std::wstring numberText(int number) { return std::to_wstring(number); }
};

template <class T>
struct CompoundOf;
template <>
struct CompoundOf<tagPOINT> : Compound<&tagPOINT::x, &tagPOINT::y> {};
template <>
struct CompoundOf<wxPoint> : Compound<&wxPoint::x, &wxPoint::y> {};
template <>
struct CompoundOf<wxSize> : Compound<&wxSize::x, &wxSize::y> {};
template <>
struct CompoundOf<tagRECT> : Compound<&tagRECT::left, &tagRECT::top, &tagRECT::right, &tagRECT::bottom> {};
template <>
struct CompoundOf<wxRect> : Compound<&wxRect::x, &wxRect::y, &wxRect::width, &wxRect::height> {};
template <>
struct CompoundOf<OdGePoint2d> : Compound<&OdGePoint2d::x, &OdGePoint2d::y> {};
template <>
struct CompoundOf<OdGePoint3d> : Compound<&OdGePoint3d::x, &OdGePoint3d::y, &OdGePoint3d::z> {};

template <class T>
OdString compoundText(const T& value) {
  return CompoundOf<T>::text(value);
}

// Leaves `value` as it was when the entry is missing or is not a compound of that kind.
template <class T>
bool readCompound(ECfgGroup group, const OdString& name, T& value) {
  OdString text;
  T read = value;
  if (!Config::read(group, name, text) || !CompoundOf<T>::parse(text, read)) return false;
  value = read;
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

}  // namespace

// --- Existence ---

bool Config::hasGroup(const OdString& path) {
  return internal::withPath(path, false,
                            [](SettingsArea& area, const OdString& at) { return area.hasGroup(at); });
}

bool Config::hasGroup(ECfgGroup group) { return has(group, OdString(), true); }

bool Config::hasGroup(ECfgGroup group, const OdString& name) { return has(group, name, true); }

bool Config::hasEntry(ECfgGroup group, const OdString& name) { return has(group, name, false); }

ECfgType Config::entryType(ECfgGroup group, const OdString& name) {
  ECfgType type = eCfgTypeUnknown;
  internal::withArea(group, false, [&](SettingsArea& area) {
    type = static_cast<ECfgType>(area.entryType(name));
    return type != eCfgTypeUnknown;
  });
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
  return internal::withArea(group, false, [&](SettingsArea& area) { return area.readNumber(name, value); });
}

bool Config::read(ECfgGroup group, const OdString& name, OdString& value) {
  return internal::withArea(group, false, [&](SettingsArea& area) { return area.readText(name, value); });
}

bool Config::read(ECfgGroup group, const OdString& name, double& value) {
  return internal::withArea(group, false,
                            [&](SettingsArea& area) { return readDoubleIn(area, name, value); });
}

bool Config::read(ECfgGroup group, const OdString& name, tagPOINT& value) {
  return readCompound(group, name, value);
}
bool Config::read(ECfgGroup group, const OdString& name, wxSize& value) {
  return readCompound(group, name, value);
}
bool Config::read(ECfgGroup group, const OdString& name, tagRECT& value) {
  return readCompound(group, name, value);
}
bool Config::read(ECfgGroup group, const OdString& name, wxRect& value) {
  return readCompound(group, name, value);
}
bool Config::read(ECfgGroup group, const OdString& name, wxPoint& value) {
  return readCompound(group, name, value);
}
bool Config::read(ECfgGroup group, const OdString& name, OdGePoint2d& value) {
  return readCompound(group, name, value);
}
bool Config::read(ECfgGroup group, const OdString& name, OdGePoint3d& value) {
  return readCompound(group, name, value);
}

bool Config::read(const OdString& path, long& value) {
  return internal::withPath(
      path, false, [&](SettingsArea& area, const OdString& at) { return area.readNumber(at, value); });
}

bool Config::read(const OdString& path, double& value) {
  return internal::withPath(
      path, false, [&](SettingsArea& area, const OdString& at) { return readDoubleIn(area, at, value); });
}

bool Config::read(const OdString& path, OdString& value) {
  return internal::withPath(path, false,
                            [&](SettingsArea& area, const OdString& at) { return area.readText(at, value); });
}

// --- Writing ---

bool Config::writeBool(ECfgGroup group, const OdString& name, bool value) {
  return writeLong(group, name, value ? 1 : 0);
}

bool Config::writeShort(ECfgGroup group, const OdString& name, short value) {
  return writeLong(group, name, value);
}

bool Config::writeLong(ECfgGroup group, const OdString& name, long value) {
  return internal::withArea(group, true, [&](SettingsArea& area) { return area.writeNumber(name, value); });
}

bool Config::writeString(ECfgGroup group, const OdString& name, const OdString& value) {
  return internal::withArea(group, true, [&](SettingsArea& area) { return area.writeText(name, value); });
}

bool Config::writeDouble(ECfgGroup group, const OdString& name, double value) {
  return writeString(group, name, doubleText(value));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const tagPOINT& value) {
  return writeString(group, name, compoundText(value));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const wxPoint& value) {
  return writeString(group, name, compoundText(value));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const OdGePoint2d& value) {
  return writeString(group, name, compoundText(value));
}

bool Config::writePoint(ECfgGroup group, const OdString& name, const OdGePoint3d& value) {
  return writeString(group, name, compoundText(value));
}

bool Config::writeSize(ECfgGroup group, const OdString& name, const wxSize& value) {
  return writeString(group, name, compoundText(value));
}

bool Config::writeRect(ECfgGroup group, const OdString& name, const tagRECT& value) {
  return writeString(group, name, compoundText(value));
}

bool Config::writeRect(ECfgGroup group, const OdString& name, const wxRect& value) {
  return writeString(group, name, compoundText(value));
}

bool Config::writeLong(const OdString& path, long value) {
  return internal::withPath(
      path, true, [&](SettingsArea& area, const OdString& at) { return area.writeNumber(at, value); });
}

bool Config::writeDouble(const OdString& path, double value) { return writeString(path, doubleText(value)); }

bool Config::writeString(const OdString& path, const OdString& value) {
  return internal::withPath(
      path, true, [&](SettingsArea& area, const OdString& at) { return area.writeText(at, value); });
}

// --- Structure ---

bool Config::copyGroup(ECfgGroup group, const OdString& from, const OdString& to) {
  return internal::withArea(group, true, [&](SettingsArea& area) { return area.copy(from, to, true); });
}

bool Config::copyEntry(ECfgGroup group, const OdString& from, const OdString& to) {
  return internal::withArea(group, true, [&](SettingsArea& area) { return area.copy(from, to, false); });
}

bool Config::deleteGroup(ECfgGroup group) {
  const ConfigLock lock(configState().mutex);
  if (!internal::knownGroup(group)) return false;
  if (group == eCfgProfile) return deleteProfile(currentProfileName());
  if (internal::isProfileGroup(group)) {
    return internal::withArea(eCfgProfile, true, [&](SettingsArea& area) {
      return area.remove(internal::profileGroupPath(group), true);
    });
  }
  return internal::withPath(keyPath(group, eCfgPathConfig), true,
                            [](SettingsArea& area, const OdString& at) { return area.remove(at, true); });
}

bool Config::deleteGroup(ECfgGroup group, const OdString& name) {
  return internal::withArea(group, true, [&](SettingsArea& area) { return area.remove(name, true); });
}

bool Config::deleteEntry(ECfgGroup group, const OdString& name) {
  return internal::withArea(group, true, [&](SettingsArea& area) { return area.remove(name, false); });
}

bool Config::renameGroup(ECfgGroup group, const OdString& name) {
  const ConfigLock lock(configState().mutex);
  if (!internal::knownGroup(group) || name.isEmpty() || group == eCfgRoot) return false;
  if (group == eCfgProfile) return renameProfile(currentProfileName(), name);
  const OdString path = internal::isProfileGroup(group) ? OdString(internal::profileGroupPath(group))
                                                        : keyPath(group, eCfgPathConfig);
  const OdString parent = internal::splitLastName(path).first;
  const OdString target = parent.isEmpty() ? name : parent + L"/" + name;
  if (internal::isProfileGroup(group)) {
    return internal::withArea(eCfgProfile, true,
                              [&](SettingsArea& area) { return area.rename(path, target, true); });
  }
  return internal::withPath(
      path, true, [&](SettingsArea& area, const OdString& at) { return area.rename(at, target, true); });
}

bool Config::renameGroup(ECfgGroup group, const OdString& from, const OdString& to) {
  return internal::withArea(group, true, [&](SettingsArea& area) {
    const OdString parent = internal::splitLastName(from).first;
    return area.rename(from, parent.isEmpty() ? to : parent + L"/" + to, true);
  });
}

bool Config::renameEntry(ECfgGroup group, const OdString& from, const OdString& to) {
  return internal::withArea(group, true, [&](SettingsArea& area) {
    const OdString parent = internal::splitLastName(from).first;
    return area.rename(from, parent.isEmpty() ? to : parent + L"/" + to, false);
  });
}

// --- Listing ---

bool Config::listGroups(ECfgGroup group, OdArray<OdString>& names, const OdString& sub) {
  return internal::withArea(group, false, [&](SettingsArea& area) {
    return area.list(sub, true, [&](const OdString& n) { names.append(n); });
  });
}

bool Config::listEntries(ECfgGroup group, OdArray<OdString>& names, const OdString& sub) {
  return internal::withArea(group, false, [&](SettingsArea& area) {
    return area.list(sub, false, [&](const OdString& n) { names.append(n); });
  });
}

int Config::countGroups(ECfgGroup group) {
  int count = 0;
  internal::withArea(group, false,
                     [&](SettingsArea& area) { return (count = area.count(OdString(), true)) >= 0; });
  return count;
}

int Config::countEntries(ECfgGroup group) {
  int count = 0;
  internal::withArea(group, false,
                     [&](SettingsArea& area) { return (count = area.count(OdString(), false)) >= 0; });
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
  internal::withArea(group, false, [&](SettingsArea& area) {
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
  internal::withArea(group, true, [&](SettingsArea& area) {
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

}  // namespace ut
