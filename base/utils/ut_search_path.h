// Search paths: folder lists in one string, separated by ";", as the support-file, font and template
// paths keep them. Elements compare ignoring case, empty elements mean nothing and are dropped when a
// path is split, and a folder is corrected to the native separator ("\" becomes "/", "|" a space).
//
//   OdArray<OdString> folders;
//   ut::splitSearchPath(folders, L";;fonts\\shx;my|fonts;");   // "fonts/shx", "my fonts"
//   ut::cleanupSearchPath(L"/a;/A/;;/b");                      // L"/a;/b"
//   OdString path = L"/a";
//   ut::addPathToSearchPath(path, L"/b", 260);                 // true, path == L"/a;/b"
//   ut::prependPathToSearchPath(path, L"/c", false, 260);      // true, path == L"/c;/a;/b"

#ifndef QX_UT_SEARCH_PATH_H
#define QX_UT_SEARCH_PATH_H

#include "OdArray.h"
#include "OdString.h"

namespace ut {

// Appends the non-empty elements of `path`, each corrected to native separators.
void splitSearchPath(OdArray<OdString>& out, const OdString& path);
// The path without empty elements and without later duplicates; two elements are duplicates when they
// are equal ignoring case and trailing separators. The first spelling stays.
OdString cleanupSearchPath(const OdString& path);
// Appends `folder` (corrected) unless it is already an element; true when it is there afterwards. A
// folder that would make the path longer than `maxLength` is refused: false, the path unchanged. An empty
// folder answers true.
bool addPathToSearchPath(OdString& path, const OdString& folder, int maxLength);
// Puts `folder` (corrected) in front, as addPathToSearchPath appends it, with two differences that callers
// rely on: the folder is always followed by ";" (so an empty path becomes "folder;"), and a path that
// starts with ";" counts one character more against the limit. With `unlimited` the limit is 32767.
bool prependPathToSearchPath(OdString& path, const OdString& folder, bool unlimited, int maxLength);

}  // namespace ut

#endif
