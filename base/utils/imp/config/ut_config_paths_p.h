// Where the product's settings lie: the keys from the company down to the profiles group, which the
// configuration and its profile manager both build on.
//
//   productRoots(L"\\", true).profiles;   // "Software\Korvani\VeltoCAD\V26x64\en_US\Profiles\"
//
// Thread safety: every function may be called from any thread.

#ifndef QX_UT_CONFIG_PATHS_P_H
#define QX_UT_CONFIG_PATHS_P_H

#include "OdString.h"

namespace ut::internal {

// The product's keys, the names joined by `separator`: the company's ("Software<sep>Korvani", or
// "Korvani" without `underSoftware`) and the product's without a separator at the end; the version's,
// the language's and the profiles group's with one; the add-on product's key beside the product's.
struct ProductRoots {
  OdString company;
  OdString product;
  OdString version;
  OdString language;
  OdString profiles;
  OdString konvertor;
};
[[nodiscard]] ProductRoots productRoots(const OdString& separator, bool underSoftware);

// "V26x64" and the build's suffix.
[[nodiscard]] OdString versionKey();
// The language code: the "CURVER" entry of the version's key, else the name of the executable's folder
// when it is one ("de_DE"), else "en_US". Read once.
[[nodiscard]] OdString currentLanguage();

}  // namespace ut::internal

#endif
