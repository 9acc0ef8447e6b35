// Who the configuration belongs to: the company and the product whose names its keys and folders
// carry, kept in one place. The host may rename them (Config::setRegCompany, Config::setRegProduct);
// the registry's own files keep the default company's folder whatever it does.
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

// The company's name or, with `legalName` and where one was given, its legal name.
[[nodiscard]] OdString companyName(bool legalName = false);
void setCompanyName(const OdString& name, const OdString& legalName);
[[nodiscard]] OdString productName();
void setProductName(const OdString& name);

}  // namespace ut::internal

#endif
