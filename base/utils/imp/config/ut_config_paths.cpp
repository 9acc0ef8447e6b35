#include "config/ut_config_paths_p.h"

#include "config/ut_config_storage_p.h"
#include "core/ut_identity.h"
#include "ut_filename.h"
#include "ut_system.h"

#include <cwctype>
#include <mutex>
#include <optional>

#ifndef QX_BUILD_VARIANT
#define QX_BUILD_VARIANT ""
#endif

namespace ut::internal {

namespace {

constexpr int kMajorVersion = 26;
constexpr const wchar_t* kPlatformTag = L"x64";
constexpr const wchar_t* kBuildVariant = L"" QX_BUILD_VARIANT;

OdString companyKey(const OdString& separator, bool underSoftware) {
  return underSoftware ? L"Software" + separator + companyName() : companyName();
}

OdString versionKeyPath(const OdString& separator, bool underSoftware) {
  return companyKey(separator, underSoftware) + separator + productName() + separator + versionKey() +
         separator;
}

// A folder named like a language code: two lower-case letters, "_", two upper-case ones.
bool isLanguageCode(const OdString& name) {
  return name.getLength() == 5 && name[2] == L'_' && iswlower(name[0]) && iswlower(name[1]) &&
         iswupper(name[3]) && iswupper(name[4]);
}

}  // namespace

ProductRoots productRoots(const OdString& separator, bool underSoftware) {
  ProductRoots roots;
  roots.company = companyKey(separator, underSoftware);
  roots.product = roots.company + separator + productName();
  roots.version = versionKeyPath(separator, underSoftware);
  roots.language = roots.version + currentLanguage() + separator;
  roots.profiles = roots.language + L"Profiles" + separator;
  roots.konvertor = roots.company + separator + kKonvertorProduct;
  return roots;
}

OdString versionKey() {
  OdString key;
  key.format(L"V%d%ls%ls", kMajorVersion, kPlatformTag, kBuildVariant);
  return key;
}

OdString currentLanguage() {
  static std::mutex mutex;
  static std::optional<OdString> language;
  const std::lock_guard lock(mutex);
  if (language) return *language;
  OdString stored;
  if (StoreArea(versionKeyPath(L"/", true), false).readText(L"CURVER", stored) && !stored.isEmpty()) {
    return *(language = stored);
  }
  OdString folder = getExecutableFolder();
  const wchar_t separator = FileName::getPathSeparator();
  folder.trimRight(separator);
  const OdString name = folder.mid(folder.reverseFind(separator) + 1);
  return *(language = isLanguageCode(name) ? name : OdString(L"en_US"));
}

}  // namespace ut::internal
