#include "ut_filename.h"

#include "files/ut_filename_p.h"

#include "core/ut_nocase.h"
#include "core/ut_wx.h"
#include "platform/files.h"
#include "ut_file.h"

#include <wx/datetime.h>
#include <wx/dir.h>
#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/log.h>

#include <algorithm>
#include <climits>
#include <cwctype>
#include <mutex>

namespace ut {

using internal::fromWx;
using internal::toWx;

namespace {

constexpr int kSameAsFlags = wxPATH_NORM_DOTS | wxPATH_NORM_TILDE | wxPATH_NORM_CASE | wxPATH_NORM_ABSOLUTE;

constexpr const wchar_t* kModuleExtensions[] = {L"lsp", L"des", L"mnl", L"dvb", L"vrx",
                                                L"arx", L"drx", L"dbx", L"dll"};

OdString withoutLeadingDot(const OdString& ext) { return ext.left(1) == L"." ? ext.mid(1) : ext; }

wchar_t lastChar(const OdString& s) { return s.isEmpty() ? L'\0' : s[s.getLength() - 1]; }

bool holdsSeparator(const wxString& name) {
  return name.find_first_of(wxFileName::GetPathSeparators()) != wxString::npos;
}

// `fullName` in the folder `dir`. Folders in the name ("sub/x.txt") are folders below `dir`, and an
// absolute name stands alone: wxFileName's own two-part form refuses both with an assertion.
wxFileName inFolder(const wxString& dir, const wxString& fullName) {
  if (!holdsSeparator(fullName)) return wxFileName(dir, fullName);
  if (dir.empty() || wxFileName(fullName).IsAbsolute()) return wxFileName(fullName);
  wxString joined = dir;
  while (!joined.empty() && wxFileName::IsPathSeparator(joined.Last())) joined.RemoveLast();
  return wxFileName(joined + wxFileName::GetPathSeparator() + fullName);
}

// The spelling an entry of `dir` has when it matches `name` ignoring case; `name` when none does.
wxString entrySpelling(const wxString& dir, const wxString& name) {
  if (wxFileName::Exists(wxFileName(dir, name).GetFullPath())) return name;
  wxDir listing(dir.empty() ? wxString(L".") : dir);
  wxString entry;
  for (bool more = listing.IsOpened() && listing.GetFirst(&entry, wxString(), wxDIR_DEFAULT); more;
       more = listing.GetNext(&entry)) {
    if (internal::equalNoCase(entry.wc_str(), name.wc_str())) return entry;
  }
  return name;
}

}  // namespace

// --- Construction and assignment -----------------------------------------------------------------------

FileName::FileName() : m_name(std::make_unique<wxFileName>()) {}
FileName::FileName(const FileName& other) : m_name(std::make_unique<wxFileName>(*other.m_name)) {}
FileName::FileName(const OdString& fullPath) : FileName() { assign(fullPath); }
FileName::FileName(const wchar_t* fullPath) : FileName(OdString(fullPath)) {}
FileName::FileName(const OdString& path, const OdString& fullName) : FileName() { assign(path, fullName); }
FileName::FileName(const OdString& volume, const OdString& path, const OdString& fullName) : FileName() {
  assign(volume, path, fullName);
}
FileName::~FileName() = default;

void FileName::assign(const OdString& fullPath) { m_name->Assign(toWx(fullPath)); }
void FileName::assign(const OdString& path, const OdString& fullName) {
  *m_name = inFolder(toWx(path), toWx(fullName));
}
void FileName::assign(const OdString& volume, const OdString& path, const OdString& fullName) {
  const wxFileName named = inFolder(toWx(path), toWx(fullName));
  m_name->Assign(toWx(volume), named.GetPath(), named.GetName(), named.GetExt(), named.HasExt());
}
void FileName::assignDir(const OdString& dir) { m_name->AssignDir(toWx(dir)); }

FileName& FileName::operator=(const OdString& fullPath) {
  assign(fullPath);
  return *this;
}

FileName& FileName::operator=(const wchar_t* fullPath) { return *this = OdString(fullPath); }

FileName& FileName::operator=(const FileName& other) {
  if (this != &other) *m_name = *other.m_name;
  return *this;
}

void FileName::clear() { m_name->Clear(); }
void FileName::clearExt() { m_name->ClearExt(); }

// --- Directories ---------------------------------------------------------------------------------------

// One folder, never a path of several, which wxFileName refuses with an assertion.
bool FileName::appendDir(const OdString& dir) {
  const wxString folder = toWx(dir);
  return !folder.empty() && !holdsSeparator(folder) && m_name->AppendDir(folder);
}

void FileName::removeLastDir() {
  if (m_name->GetDirCount() > 0) m_name->RemoveLastDir();
}

void FileName::removeFirstDir() {
  if (m_name->GetDirCount() > 0) m_name->RemoveDir(0);
}

size_t FileName::getDirCount() const { return m_name->GetDirCount(); }

OdArray<OdString> FileName::getDirs() const {
  OdArray<OdString> dirs;
  for (const wxString& dir : m_name->GetDirs()) dirs.append(fromWx(dir));
  return dirs;
}

OdString FileName::getDirAt(size_t index) const {
  return index < m_name->GetDirCount() ? fromWx(m_name->GetDirs()[index]) : OdString();
}

OdString FileName::getLastDir() const { return getDirAt(getDirCount() - 1); }

FileName FileName::operator/(const FileName& other) const {
  if (other.isAbsolute()) return other;
  FileName joined;
  joined.assignDir(getFullPath());
  for (const wxString& dir : other.m_name->GetDirs()) joined.m_name->AppendDir(dir);
  joined.setFullName(other.getFullName());
  return joined;
}

// --- Components ----------------------------------------------------------------------------------------

void FileName::setVolume(const OdString& volume) { m_name->SetVolume(toWx(volume)); }
OdString FileName::getVolume() const { return fromWx(m_name->GetVolume()); }
void FileName::setPath(const OdString& path) { m_name->SetPath(toWx(path)); }
OdString FileName::getPath(int flags) const { return fromWx(m_name->GetPath(flags)); }
void FileName::setName(const OdString& name) { m_name->SetName(toWx(name)); }
OdString FileName::getName() const { return fromWx(m_name->GetName()); }
void FileName::setExt(const OdString& ext) { m_name->SetExt(toWx(ext)); }
OdString FileName::getExt() const { return fromWx(m_name->GetExt()); }
void FileName::setFullName(const OdString& fullName) { m_name->SetFullName(toWx(fullName)); }
OdString FileName::getFullName() const { return fromWx(m_name->GetFullName()); }
OdString FileName::getFullPath() const { return fromWx(m_name->GetFullPath()); }
bool FileName::hasVolume() const { return m_name->HasVolume(); }
bool FileName::hasName() const { return m_name->HasName(); }
bool FileName::hasExt() const { return m_name->HasExt(); }

bool FileName::hasExt(const OdString& ext) const {
  return m_name->HasExt() && internal::equalNoCase(m_name->GetExt().wc_str(), withoutLeadingDot(ext).view());
}

bool FileName::checkVolume() const {
  if (!hasVolume()) return true;
  return wxDirExists(m_name->GetVolume() + wxFileName::GetVolumeSeparator() + wxFileName::GetPathSeparator());
}

// --- Queries -------------------------------------------------------------------------------------------

bool FileName::isOk() const { return m_name->IsOk(); }
bool FileName::isAbsolute() const { return m_name->IsAbsolute(); }
bool FileName::isRelative() const { return m_name->IsRelative(); }
bool FileName::isDir() const { return m_name->IsDir(); }
bool FileName::dirExists() const { return m_name->DirExists(); }

bool FileName::fileExists(OdString* foundPath) const {
  if (!m_name->FileExists()) return false;
  if (foundPath) *foundPath = getFullPath();
  return true;
}

bool FileName::exists(int flags) const { return m_name->Exists(flags); }
bool FileName::isDirReadable() const { return m_name->IsDirReadable(); }
bool FileName::isDirWritable() const { return m_name->IsDirWritable(); }
bool FileName::isFileReadable() const { return m_name->IsFileReadable(); }
bool FileName::isFileWritable() const { return m_name->IsFileWritable(); }
bool FileName::isFileExecutable() const { return m_name->IsFileExecutable(); }

unsigned long long FileName::getSize() const { return getSize(getFullPath()); }

bool FileName::getTimes(DateTime* access, DateTime* modify, DateTime* create) const {
  const wxLogNull quiet;
  return m_name->GetTimes(access, modify, create);
}

bool FileName::setTimes(const DateTime* access, const DateTime* modify, const DateTime* create) const {
  const wxLogNull quiet;
  return m_name->SetTimes(access, modify, create);
}

// --- Transformation ------------------------------------------------------------------------------------

bool FileName::normalize(int flags, const OdString& cwd) {
  const wxLogNull quiet;
  return m_name->Normalize(flags, toWx(cwd));
}

bool FileName::makeAbsolute(const OdString& cwd) {
  const wxLogNull quiet;
  return m_name->MakeAbsolute(toWx(cwd));
}

bool FileName::makeRelativeTo(const OdString& base) {
  const wxLogNull quiet;
  return m_name->MakeRelativeTo(toWx(base));
}

bool FileName::makeRelativeToRoot() {
  if (!isAbsolute()) return false;
  m_name->SetVolume(wxString());
  return m_name->MakeRelativeTo(wxFileName::GetPathSeparator());
}

bool FileName::correctCase() {
  const wxLogNull quiet;
  wxFileName corrected(*m_name);
  corrected.SetFullName(wxString());
  while (corrected.GetDirCount() > 0) corrected.RemoveLastDir();
  const auto directory = [&corrected] { return corrected.GetPath(wxPATH_GET_VOLUME | wxPATH_GET_SEPARATOR); };
  for (const wxString& dir : m_name->GetDirs()) corrected.AppendDir(entrySpelling(directory(), dir));
  if (m_name->HasName() || m_name->HasExt()) {
    corrected.SetFullName(entrySpelling(directory(), m_name->GetFullName()));
  }
  *m_name = corrected;
  return m_name->Exists();
}

// --- Directory operations ------------------------------------------------------------------------------

bool FileName::mkdir(int perm, int flags) const { return mkdir(getPath(), perm, flags); }

bool FileName::rmdir(int flags) const {
  const wxLogNull quiet;
  return m_name->Rmdir(flags);
}

bool FileName::mkdir(const OdString& dir, int perm, int flags) {
  const wxLogNull quiet;
  return wxFileName::Mkdir(toWx(dir), perm, flags);
}

bool FileName::rmdir(const OdString& dir, bool recursive) {
  const wxLogNull quiet;
  return wxFileName::Rmdir(toWx(dir), recursive ? wxPATH_RMDIR_RECURSIVE : 0);
}

bool FileName::clearDir(const OdString& dir) {
  Dir listing(dir);
  if (!listing.isOpened()) return false;
  bool cleared = true;
  OdArray<OdString> names;
  OdString name;
  for (bool more = listing.getFirst(name); more; more = listing.getNext(name)) names.append(name);
  for (const OdString& entry : names) {
    const OdString path = FileName(dir, entry).getFullPath();
    cleared &= dirExists(path) ? rmdir(path, true) : removeFile(path);
  }
  return cleared;
}

// --- Static queries ------------------------------------------------------------------------------------

bool FileName::dirExists(const OdString& dir) { return wxFileName::DirExists(toWx(dir)); }
bool FileName::fileExists(const OdString& file) { return wxFileName::FileExists(toWx(file)); }
bool FileName::isDirWritable(const OdString& dir) { return wxFileName::IsDirWritable(toWx(dir)); }

bool FileName::isFileReadOnly(const OdString& file) {
  return fileExists(file) && !wxFileName::IsFileWritable(toWx(file));
}

unsigned long long FileName::getSize(const OdString& file) {
  const wxLogNull quiet;
  const wxULongLong size = wxFileName::GetSize(toWx(file));
  return size == wxInvalidSize ? kInvalidSize : size.GetValue();
}

bool FileName::setCwd(const OdString& cwd) {
  const wxLogNull quiet;
  return wxFileName::SetCwd(toWx(cwd));
}

OdString FileName::getCwd(const OdString& volume) { return fromWx(wxFileName::GetCwd(toWx(volume))); }

namespace {

struct TempDirSetting {
  std::mutex mutex;
  internal::TempDirSource source;
};

TempDirSetting& tempDirSetting() {
  static TempDirSetting setting;
  return setting;
}

OdString chosenTempDir() {
  TempDirSetting& setting = tempDirSetting();
  internal::TempDirSource source;
  {
    const std::lock_guard lock(setting.mutex);
    source = setting.source;
  }
  return source ? source() : OdString();
}

}  // namespace

void internal::setTempDirSource(TempDirSource source) {
  TempDirSetting& setting = tempDirSetting();
  const std::lock_guard lock(setting.mutex);
  setting.source = std::move(source);
}

OdString FileName::getTempDir() {
  OdString dir = chosenTempDir();
  if (dir.isEmpty()) {
    wxFileName system = wxFileName::DirName(wxFileName::GetTempDir());
    system.Normalize(wxPATH_NORM_LONG);
    dir = fromWx(system.GetPath(wxPATH_GET_VOLUME));
  }
  if (!dir.isEmpty() && !isPathSeparator(lastChar(dir))) dir += getPathSeparator();
  return dir;
}

OdString FileName::getHomeDir() { return fromWx(wxFileName::GetHomeDir()); }
bool FileName::isPathSeparator(wchar_t c) { return c != L'\0' && wxFileName::IsPathSeparator(c); }
wchar_t FileName::getPathSeparator() { return wxFileName::GetPathSeparator(); }
OdString FileName::getPathSeparators() { return fromWx(wxFileName::GetPathSeparators()); }
OdString FileName::getVolumeSeparator() { return fromWx(wxFileName::GetVolumeSeparator()); }

bool FileName::isCrossPlatformAbsolute(const OdString& path) {
  return wxFileName(toWx(path)).IsAbsolute() || (path.getLength() > 1 && path.left(2) == L"//");
}

EAppModuleType FileName::appModuleType(const OdString& path) {
  const FileName name(path);
  for (size_t i = 0; i < std::size(kModuleExtensions); ++i) {
    if (name.hasExt(kModuleExtensions[i])) return static_cast<EAppModuleType>(eAppModuleLsp + i);
  }
  return eAppModuleNone;
}

// --- Static string functions ---------------------------------------------------------------------------

OdString FileName::createTempFileName(const OdString& prefix) {
  const wxLogNull quiet;
  const OdString corrected = platform::correctPathSeparators(prefix);
  const int split = corrected.reverseFind(getPathSeparator());
  OdString dir = split < 0 ? OdString() : corrected.left(split);
  const OdString namePrefix = corrected.mid(split + 1);
  const OdString volumeSeparator = getVolumeSeparator();
  if (!volumeSeparator.isEmpty() && lastChar(dir) == volumeSeparator[0]) dir += getPathSeparator();
  wxFileName directory = wxFileName::DirName(toWx(dir));
  if (!directory.IsAbsolute()) {
    const wxArrayString relative = directory.GetDirs();
    directory.AssignDir(toWx(getTempDir()));
    for (const wxString& sub : relative) directory.AppendDir(sub);
  }
  if (!directory.DirExists()) directory.Mkdir(0777, wxPATH_MKDIR_FULL);
  const wxString created = wxFileName::CreateTempFileName(
      directory.GetPath(wxPATH_GET_VOLUME | wxPATH_GET_SEPARATOR) + toWx(namePrefix));
  if (!created.empty() && wxFileName::FileExists(created)) return fromWx(created);
  return fromWx(wxFileName::CreateTempFileName(toWx(prefix)));
}

void FileName::splitPath(const OdString& fullPath, OdString* path, OdString* name, OdString* ext) {
  wxString dir, base, extension;
  wxFileName::SplitPath(toWx(fullPath), &dir, &base, &extension);
  if (path) *path = fromWx(dir);
  if (name) *name = fromWx(base);
  if (ext) *ext = fromWx(extension);
}

bool FileName::makeRelativePath(const OdString& path, const OdString& base, OdString& result) {
  FileName name(path);
  if (!name.makeRelativeTo(base)) return false;
  result = name.getFullPath();
  return true;
}

OdString FileName::toggleLastPathSeparator(const OdString& path) {
  const wchar_t separator = getPathSeparator();
  return lastChar(path) == separator ? path.left(path.getLength() - 1) : path + separator;
}

// --- Comparison ----------------------------------------------------------------------------------------

bool FileName::operator==(const OdString& other) const {
  return *m_name == toWx(platform::correctPathSeparators(other));
}

bool FileName::operator==(const FileName& other) const { return *m_name == *other.m_name; }

bool FileName::sameAs(const FileName& other) const {
  const wxLogNull quiet;
  m_name->Normalize(kSameAsFlags);
  other.m_name->Normalize(kSameAsFlags);
  return m_name->GetFullPath() == other.m_name->GetFullPath();
}

// --- Free functions ------------------------------------------------------------------------------------

bool equalFilePath(const OdString& a, const OdString& b) { return FileName(a).sameAs(FileName(b)); }

OdString validateFileName(const OdString& name, bool allowPath, wchar_t replacement) {
  wxString separators = L".";
  wxString forbidden;
  for (const wxPathFormat format : {wxPATH_NATIVE, wxPATH_UNIX, wxPATH_MAC, wxPATH_DOS, wxPATH_VMS}) {
    separators += wxFileName::GetVolumeSeparator(format) + wxFileName::GetPathSeparators(format);
    forbidden += wxFileName::GetForbiddenChars(format);
  }
  const auto isIn = [](const wxString& set, wchar_t c) { return set.find(c) != wxString::npos; };
  const bool keepSeparators = allowPath && wxFileName(toWx(name)).IsOk();
  OdString valid = name;
  for (int i = 0; i < valid.getLength(); ++i) {
    const wchar_t c = valid[i];
    const bool isSeparator = isIn(separators, c);
    if (isSeparator ? !keepSeparators : isIn(forbidden, c)) valid.setAt(i, replacement);
  }
  return valid;
}

bool verifyAbsolutePath(OdString& path, FileName& name) {
  if (!name.fileExists()) return false;
  path = name.getFullPath();
  return true;
}

bool getFileOwner(const OdString& path, OdString& owner) { return platform::fileOwner(path, owner); }

OdString getForbiddenCharacters() { return fromWx(wxFileName::GetForbiddenChars()); }

namespace {

// "plan (3)" → base "plan (", counter 3, tail ")"; "plan7" → "plan", 7, ""; "plan" → "plan (", first, ")".
struct NumberedStem {
  OdString base;
  long long counter;
  OdString tail;
};

NumberedStem numberedStem(const OdString& stem, int firstNumber) {
  const bool closed = lastChar(stem) == L')';
  const OdString open = closed ? stem.left(stem.getLength() - 1) : stem;
  int digits = open.getLength();
  while (digits > 0 && std::iswdigit(open[digits - 1])) --digits;
  if (digits == open.getLength()) return {stem + L" (", firstNumber, L")"};
  long long counter = 0;
  for (int i = digits; i < open.getLength() && counter < INT_MAX; ++i)
    counter = counter * 10 + (open[i] - L'0');
  return {open.left(digits), counter, closed ? L")" : L""};
}

}  // namespace

OdString getFirstNotExistingPath(const OdString& dir, const OdString& name, int firstNumber) {
  if (dir.isEmpty() || name.isEmpty()) return OdString();
  const wxFileName joined = inFolder(toWx(dir), toWx(name));
  if (!joined.Exists()) return fromWx(joined.GetFullPath());
  const wxString ext = joined.HasExt() ? L"." + joined.GetExt() : wxString();
  const NumberedStem stem = numberedStem(fromWx(joined.GetName()), firstNumber);
  for (long long counter = stem.counter; counter < INT_MAX; ++counter) {
    const OdString candidateName = stem.base + OdString().format(L"%lld", counter) + stem.tail + fromWx(ext);
    const wxFileName candidate(joined.GetPath(wxPATH_GET_VOLUME), toWx(candidateName));
    if (!candidate.Exists()) return fromWx(candidate.GetFullPath());
  }
  return OdString();
}

FileName getCommonPath(const FileName& a, const FileName& b) {
  FileName common;
  if (a.isAbsolute() != b.isAbsolute()) return common;
  common.setVolume(a.getVolume());
  if (a.isAbsolute()) common.makeAbsolute(L"/");
  const size_t count = std::min(a.getDirCount(), b.getDirCount());
  size_t taken = 0;
  while (taken < count && a.getDirAt(taken) == b.getDirAt(taken)) common.appendDir(a.getDirAt(taken++));
  if (taken == a.getDirCount() && a.getDirCount() == b.getDirCount() && a.getFullName() == b.getFullName()) {
    common.setFullName(a.getFullName());
  }
  return common;
}

OdString getAbsolutePath(const OdString& path, const OdString& base) {
  FileName name(path);
  name.makeAbsolute(base);
  return name.getFullPath();
}

bool isPathAbsolute(const OdString& path) { return FileName(path).isAbsolute(); }

}  // namespace ut
