#include "ut_system.h"

#include "core/ut_identity.h"
#include "platform/system.h"

namespace ut {

OdString getExecutableFolder() { return platform::executableFolder(); }

OdString getUserConfigDir() { return platform::userConfigDir(internal::companyName()); }

}  // namespace ut
