#include "ut_search_path.h"

#include "core/ut_nocase.h"
#include "platform/files.h"
#include "ut_string.h"

#include <algorithm>
#include <unordered_set>

namespace ut {

namespace {

constexpr int kUnlimitedLength = 0x7FFF;

bool contains(const OdString& path, const OdString& folder) {
  OdArray<OdString> elements;
  splitSearchPath(elements, path);
  return std::any_of(elements.begin(), elements.end(), [&](const OdString& element) {
    return internal::equalNoCase(element.view(), folder.view());
  });
}

// The form in which two elements are duplicates: no trailing separators, lower case.
std::wstring duplicateKey(const OdString& element) {
  OdString key = element;
  key.trimRight(L'\\');
  key.trimRight(L'/');
  return toLowerCase(key).str();
}

}  // namespace

void splitSearchPath(OdArray<OdString>& out, const OdString& path) {
  OdArray<OdString> pieces;
  splitByChar(pieces, path, L';');
  for (const OdString& piece : pieces) out.append(platform::correctPathSeparators(piece));
}

OdString cleanupSearchPath(const OdString& path) {
  OdArray<OdString> elements;
  splitSearchPath(elements, path);
  std::unordered_set<std::wstring> seen;
  OdString cleaned;
  for (const OdString& element : elements) {
    if (seen.insert(duplicateKey(element)).second) cleaned += element + L";";
  }
  return cleaned.trimRight(L';');
}

bool addPathToSearchPath(OdString& path, const OdString& folder, int maxLength) {
  if (folder.isEmpty()) return true;
  const OdString corrected = platform::correctPathSeparators(folder);
  if (contains(path, corrected)) return true;
  const bool needsSeparator = !path.isEmpty() && path[path.getLength() - 1] != L';';
  if (corrected.getLength() + path.getLength() + (needsSeparator ? 1 : 0) > maxLength) return false;
  if (needsSeparator) path += L';';
  path += corrected;
  return true;
}

bool prependPathToSearchPath(OdString& path, const OdString& folder, bool unlimited, int maxLength) {
  if (folder.isEmpty()) return true;
  const OdString corrected = platform::correctPathSeparators(folder);
  if (contains(path, corrected)) return true;
  const int leadingSeparator = !path.isEmpty() && path[0] == L';' ? 1 : 0;
  const int limit = unlimited ? kUnlimitedLength : maxLength;
  if (path.getLength() + corrected.getLength() + leadingSeparator > limit) return false;
  path = (leadingSeparator ? corrected : corrected + L";") + path;
  return true;
}

}  // namespace ut
