#include "ut_file.h"

#include "core/ut_nocase.h"
#include "core/ut_wx.h"

#include <wx/dir.h>
#include <wx/file.h>
#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/log.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace ut {

using internal::fromWx;
using internal::toWx;

namespace {

wxFile::OpenMode wxModeOf(File::EOpenMode mode) {
  switch (mode) {
    case File::eRead:
      return wxFile::read;
    case File::eWrite:
      return wxFile::write;
    case File::eReadWrite:
      return wxFile::read_write;
    case File::eAppend:
      return wxFile::write_append;
  }
  return wxFile::read;
}

bool isSeparator(wchar_t c) { return wxFileName::IsPathSeparator(c); }

}  // namespace

// --- File ----------------------------------------------------------------------------------------------

File::File() = default;

File::File(const OdString& path, EOpenMode mode) { open(path, mode); }

File::File(File&&) noexcept = default;
File& File::operator=(File&&) noexcept = default;
File::~File() = default;

bool File::open(const OdString& path, EOpenMode mode) {
  close();
  const wxLogNull quiet;
  auto file = std::make_unique<wxFile>();
  // A directory opens for reading on POSIX but cannot be read; it is not a file here.
  if (wxDirExists(toWx(path)) || !file->Open(toWx(path), wxModeOf(mode))) return false;
  m_file = std::move(file);
  m_path = path;
  return true;
}

bool File::close() {
  if (!m_file) return false;
  const wxLogNull quiet;
  const bool closed = m_file->Close();
  m_file.reset();
  m_path.empty();
  return closed;
}

bool File::isOpened() const { return m_file != nullptr; }

long long File::read(void* buffer, size_t size) {
  if (!m_file) return -1;
  const wxLogNull quiet;
  const ssize_t count = m_file->Read(buffer, size);
  return count == wxInvalidOffset ? -1 : count;
}

// Straight into the string, in one piece where the length is known; a file that grows meanwhile is
// read to its end all the same.
bool File::readAll(std::string& bytes) {
  std::string content(static_cast<size_t>(std::max(length(), 0LL)) + 1, '\0');
  size_t filled = 0;
  for (long long count; (count = read(content.data() + filled, content.size() - filled)) != 0;) {
    if (count < 0) return false;
    filled += static_cast<size_t>(count);
    if (filled == content.size()) content.resize(content.size() * 2);
  }
  content.resize(filled);
  bytes = std::move(content);
  return true;
}

bool File::write(const void* data, size_t size) {
  if (!m_file) return false;
  const wxLogNull quiet;
  return m_file->Write(data, size) == size;
}

bool File::flush() {
  const wxLogNull quiet;
  return m_file && m_file->Flush();
}

bool File::seek(unsigned long long offset) {
  const wxLogNull quiet;
  return m_file && m_file->Seek(static_cast<wxFileOffset>(offset)) != wxInvalidOffset;
}

long long File::length() const {
  if (!m_file) return -1;
  const wxLogNull quiet;
  return m_file->Length();
}

// --- Dir -----------------------------------------------------------------------------------------------

Dir::Dir(const OdString& path) {
  const wxLogNull quiet;
  if (wxDirExists(toWx(path))) m_dir = std::make_unique<wxDir>(toWx(path));
  if (m_dir && !m_dir->IsOpened()) m_dir.reset();
}

Dir::~Dir() = default;

bool Dir::isOpened() const { return m_dir != nullptr; }

bool Dir::getFirst(OdString& name, const OdString& pattern, int flags) {
  const wxLogNull quiet;
  wxString found;
  if (!m_dir || !m_dir->GetFirst(&found, toWx(pattern), flags & eDefault)) return false;
  name = fromWx(found);
  return true;
}

bool Dir::getNext(OdString& name) {
  const wxLogNull quiet;
  wxString found;
  if (!m_dir || !m_dir->GetNext(&found)) return false;
  name = fromWx(found);
  return true;
}

size_t Dir::getAllFiles(const OdString& dir, OdArray<OdString>& paths, const OdString& pattern,
                        bool recursive) {
  const wxLogNull quiet;
  if (!wxDirExists(toWx(dir))) return 0;
  wxArrayString found;
  const size_t count = wxDir::GetAllFiles(toWx(dir), &found, toWx(pattern),
                                          wxDIR_FILES | wxDIR_HIDDEN | (recursive ? wxDIR_DIRS : 0));
  for (const wxString& path : found) paths.append(fromWx(path));
  return count;
}

// --- Whole files ---------------------------------------------------------------------------------------

bool readEntireFile(const OdString& file, std::string& bytes) {
  File in(file, File::eRead);
  return in.isOpened() && in.readAll(bytes);
}

bool writeEntireFile(const OdString& file, std::string_view bytes) {
  File out(file, File::eWrite);
  return out.write(bytes) && out.close();
}

bool copyFile(const OdString& from, const OdString& to, bool overwrite) {
  const wxLogNull quiet;
  return !wxDirExists(toWx(from)) && wxCopyFile(toWx(from), toWx(to), overwrite);
}

bool renameFile(const OdString& from, const OdString& to, bool overwrite) {
  const wxLogNull quiet;
  return wxRenameFile(toWx(from), toWx(to), overwrite);
}

bool removeFile(const OdString& file) {
  const wxLogNull quiet;
  return !wxDirExists(toWx(file)) && wxRemoveFile(toWx(file));
}

// --- Tests and names -----------------------------------------------------------------------------------

bool accessFile(const OdString& path, int mode) {
  return !path.isEmpty() && wxAccess(toWx(path), static_cast<mode_t>(mode)) == 0;
}

bool dirExists(const OdString& path) { return !path.isEmpty() && wxDirExists(toWx(path)); }

bool expandedFileExists(const OdString& path, OdString* expanded) {
  wxFileName name(toWx(path));
  name.Normalize(wxPATH_NORM_ENV_VARS | wxPATH_NORM_TILDE);
  const wxString full = path.isEmpty() ? wxString() : name.GetFullPath();
  if (expanded) *expanded = fromWx(full);
  return !full.empty() && wxFileExists(full);
}

OdString firstAccessibleDir(const OdArray<OdString>& dirs, int mode) {
  for (const OdString& dir : dirs) {
    if (dirExists(dir) && accessFile(dir, mode)) return dir;
  }
  return OdString();
}

OdString appendFolder(const OdString& path, const OdString& folder) {
  const wchar_t separator = wxFileName::GetPathSeparator();
  std::wstring_view tail = folder.view();
  while (!tail.empty() && isSeparator(tail.front())) tail.remove_prefix(1);
  OdString joined = path;
  if (!joined.isEmpty() && !isSeparator(joined[joined.getLength() - 1])) joined += separator;
  joined += OdString(tail);
  if (joined.isEmpty() || !isSeparator(joined[joined.getLength() - 1])) joined += separator;
  return joined;
}

// --- Comparison ----------------------------------------------------------------------------------------

bool filesAreEqual(const OdString& a, const OdString& b) {
  File first(a, File::eRead), second(b, File::eRead);
  if (!first.isOpened() || !second.isOpened() || first.length() != second.length()) return false;
  std::array<char, 1 << 16> left, right;
  for (;;) {
    const long long count = first.read(left.data(), left.size());
    if (count < 0 || second.read(right.data(), static_cast<size_t>(count)) != count) return false;
    if (count == 0) return true;
    if (std::memcmp(left.data(), right.data(), static_cast<size_t>(count)) != 0) return false;
  }
}

}  // namespace ut
