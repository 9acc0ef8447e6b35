// Who the configuration belongs to, and which build is running: the company and the product whose names
// its keys and folders carry, and the version that logs and crash reports name, kept in one place. The host
// may rename them (Config::setRegCompany, Config::setRegProduct); the registry's own files keep the default
// company's folder whatever it does.
//
// Thread safety: every function may be called from any thread.

#ifndef QX_UT_IDENTITY_H
#define QX_UT_IDENTITY_H

#include "OdString.h"

namespace ut::internal {

inline constexpr const wchar_t* kDefaultCompany = L"Korvani";
inline constexpr const wchar_t* kDefaultProduct = L"VeltoCAD";
// The add-on product that has a key of its own beside the product's.
inline constexpr const wchar_t* kKonvertorProduct = L"VeltoCAD Konvertor";

// The library's version as log heads and crash reports name it, and the suffix that tells a debug
// build's files apart (empty in release builds).
inline constexpr const char* kVersionText = "26.1.07.0";
inline constexpr const char* kBuildSuffix = QX_BUILD_SUFFIX;

// The company's name or, with `legalName` and where one was given, its legal name.
[[nodiscard]] OdString companyName(bool legalName = false);
void setCompanyName(const OdString& name, const OdString& legalName);
[[nodiscard]] OdString productName();
void setProductName(const OdString& name);

}  // namespace ut::internal

#endif
