// Inside the Config facade: its process-wide state, its groups and the areas they resolve to, shared by
// its sources (ut_config.cpp: identity, paths and life; ut_config_values.cpp: values, structure, lists;
// ut_config_profiles.cpp: profiles).
//
// Thread safety: the state is guarded by its recursive mutex, which every member of Config takes.

#ifndef QX_UT_CONFIG_P_H
#define QX_UT_CONFIG_P_H

#include "config/ut_config_area.h"
#include "config/ut_config_storage_p.h"
#include "ut_config.h"
#include "ut_profile.h"

#include <array>
#include <memory>
#include <mutex>

namespace ut::internal {

inline constexpr size_t kGroupCount = 25;

struct ConfigState {
  std::recursive_mutex mutex;
  // Paths of the groups outside profiles, in "/" form, made on first use.
  std::array<OdString, kGroupCount> fixedPaths;
  std::unique_ptr<ProfileManagerBase> manager;
  bool expandStrings = false;
};

ConfigState& configState();
using ConfigLock = std::lock_guard<std::recursive_mutex>;

inline ProfileManagerBase* profileManager() { return configState().manager.get(); }

// Whether `group` is one of the 25; an unknown one is reported under "ut::keyPath".
bool knownGroup(ECfgGroup group);
inline bool isProfileGroup(ECfgGroup group) { return group >= eCfgProfile && group <= eCfg3dMouseMenu; }
// The path of a profile group below the profile ("Config/Plot/"); "" for the others.
const wchar_t* profileGroupPath(ECfgGroup group);

// The node of a profile group inside the current profile, made with `create` where missing.
ConfigNodePtr profileGroupNode(ECfgGroup group, bool create);

// Runs `op` on the area of `group`: the current profile's tree for a profile group, else the store
// (changes committed when `op` succeeds).
template <class Op>
bool withArea(ECfgGroup group, bool write, Op&& op) {
  const ConfigLock lock(configState().mutex);
  if (!knownGroup(group)) return false;
  if (isProfileGroup(group)) {
    TreeArea area(profileGroupNode(group, write));
    return op(static_cast<SettingsArea&>(area));
  }
  StoreArea area(Config::keyPath(group, eCfgPathConfig), write);
  return op(static_cast<SettingsArea&>(area)) && area.commit();
}

// Where a full path leads: inside the current profile its tree and the path below the profile, else the
// store's root and the path itself.
bool isInCurrentProfile(const OdString& path, OdString& below);

// As withArea for a full path.
template <class Op>
bool withPath(const OdString& path, bool write, Op&& op) {
  const ConfigLock lock(configState().mutex);
  OdString below;
  if (isInCurrentProfile(path, below)) {
    TreeArea area(profileManager()->currentProfile());
    return op(static_cast<SettingsArea&>(area), below);
  }
  StoreArea area(OdString(), write);
  return op(static_cast<SettingsArea&>(area), path) && area.commit();
}

}  // namespace ut::internal

#endif
