// The profile verbs of qxreg ("qxreg profile ...") and its main job, printing the current profile.

#ifndef QX_TOOLS_QXREG_PROFILE_H
#define QX_TOOLS_QXREG_PROFILE_H

#include "qxreg_cli.h"

namespace qxreg {

// The family "profile" with its verbs.
const Verb& profileVerb();

// Loads the configuration as the application does at start-up, creating the "Default" profile on the first
// run, saves it, and prints the current profile's name and settings. Answers the exit code.
int printCurrentProfile();

}  // namespace qxreg

#endif
