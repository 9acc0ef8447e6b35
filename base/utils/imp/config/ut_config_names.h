// The names an enumeration of a wxWidgets configuration object's current group walks.

#ifndef QX_UT_CONFIG_NAMES_H
#define QX_UT_CONFIG_NAMES_H

#include <wx/confbase.h>

#include <vector>

namespace ut::internal {

// The groups (or, with `groups` false, the entries) of the group `config` stands at, in its order.
inline std::vector<wxString> configNames(const wxConfigBase& config, bool groups) {
  std::vector<wxString> result;
  wxString name;
  long index = 0;
  bool more = groups ? config.GetFirstGroup(name, index) : config.GetFirstEntry(name, index);
  for (; more; more = groups ? config.GetNextGroup(name, index) : config.GetNextEntry(name, index)) {
    result.push_back(name);
  }
  return result;
}

}  // namespace ut::internal

#endif
