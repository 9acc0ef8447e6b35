// System information the other families build on: where the running program lies and where the user's
// configuration is kept.
//
//   OdString qsb = ut::getExecutableFolder() + L"qsb.json";     // beside the executable
//   OdString config = ut::getUserConfigDir() + L"config";        // ~/.config/Korvani/config

#ifndef QX_UT_SYSTEM_H
#define QX_UT_SYSTEM_H

#include "OdString.h"

namespace ut {

// The folder of the running executable, ending with a separator; empty when it cannot be found.
OdString getExecutableFolder();
// The folder for the company's configuration files: $XDG_CONFIG_HOME/<company>/, else
// ~/.config/<company>/ (the company of Config::regCompany), ending with a separator.
OdString getUserConfigDir();

}  // namespace ut

#endif
