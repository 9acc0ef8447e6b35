// Profile files: registration files that hold one profile under the profiles group,
// HKEY_CURRENT_USER\Software\Korvani\VeltoCAD\<version>\<language>\Profiles\<profile>.

#ifndef QX_UT_PROFILE_FILE_H
#define QX_UT_PROFILE_FILE_H

#include "OdString.h"
#include "ut_config_storage.h"

#include <memory>
#include <optional>

namespace ut {
class ProfileManagerBase;
}

namespace ut::internal {

// A store over a profile file. load() answers the profile the file holds (a group named after it),
// or an empty pointer for a file that cannot be read, is not a registration file, names a key outside
// the profiles group or holds more than one profile. save() writes a profile tree as the file: its
// strings as strings, its numbers as dwords, each group's entries before its sub-groups.
std::shared_ptr<ConfigStorageBase> profileFileStorage(const OdString& file);

struct ProfileFileHead {
  OdString name;
  std::optional<OdString> description;
};
// The profile a file holds and its description, read without building the tree.
std::optional<ProfileFileHead> readProfileFileHead(const OdString& file);

// Imports a profile file through `manager`, under `name` and with `description` when they are not
// empty; failures are reported under "ut::importProfileArg".
bool importProfileFile(ProfileManagerBase& manager, const OdString& file, const OdString& name,
                       const OdString& description);

}  // namespace ut::internal

#endif
