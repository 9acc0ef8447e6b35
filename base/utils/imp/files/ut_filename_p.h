// Inside the file names family: where the temporary directory's setting comes from. The configuration,
// which lies above the files, installs the source when it starts, so that FileName::getTempDir() reads
// the current profile's "TEMPPREFIX" on every call without the files knowing of the configuration.

#ifndef QX_UT_FILENAME_P_H
#define QX_UT_FILENAME_P_H

#include "OdString.h"

#include <functional>

namespace ut::internal {

// Gives the temporary directory the host chose, or an empty string for the system's own. An empty
// function removes the source.
using TempDirSource = std::function<OdString()>;
void setTempDirSource(TempDirSource source);

}  // namespace ut::internal

#endif
