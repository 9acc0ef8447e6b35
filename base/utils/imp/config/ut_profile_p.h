// Inside the profiles: the settings a new profile starts with, and profile files, registration files
// that hold one profile under the profiles group,
// HKEY_CURRENT_USER\Software\Korvani\VeltoCAD\<version>\<language>\Profiles\<profile>. `profilesPath` is the
// profiles group's path in the tree's own form ("Software/Korvani/VeltoCAD/V26x64/en_US/Profiles/").

#ifndef QX_UT_PROFILE_P_H
#define QX_UT_PROFILE_P_H

#include "OdString.h"
#include "config/ut_config_area.h"
#include "ut_config_storage.h"

#include <memory>
#include <optional>

namespace ut {
class ProfileManagerBase;
}

namespace ut::internal {

// Writes the settings a new profile starts with into `area`, each name prefixed with `group`.
void writeShapeDefaults(SettingsArea& area, const OdString& group);

// A store over a profile file. load() answers the profile the file holds (a group named after it),
// or an empty pointer for a file that cannot be read, is not a registration file, names a key outside
// the profiles group or holds more than one profile. save() writes a profile tree as the file: its
// strings as strings, its numbers as dwords, each group's entries before its sub-groups.
std::shared_ptr<ConfigStorageBase> profileFileStorage(const OdString& file, const OdString& profilesPath);

struct ProfileFileHead {
  OdString name;
  std::optional<OdString> description;
};
// The profile a file holds and its description, read without building the tree.
std::optional<ProfileFileHead> readProfileFileHead(const OdString& file, const OdString& profilesPath);

// Imports a profile file through `manager` (into its profiles group), under `name` and with
// `description` when they are not empty; failures are reported under "ut::importProfileArg".
bool importProfileFile(ProfileManagerBase& manager, const OdString& file, const OdString& name,
                       const OdString& description);

}  // namespace ut::internal

#endif
