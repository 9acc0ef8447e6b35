#include "ut_zip.h"

#include "core/ut_assert_p.h"
#include "core/ut_utf8.h"
#include "core/ut_wx.h"
#include "files/ut_zip_p.h"
#include "platform/files.h"
#include "platform/text.h"

#include <wx/filename.h>
#include <wx/log.h>
#include <wx/wfstream.h>

#include <algorithm>
#include <cstdio>
#include <set>

namespace ut {

namespace {

using internal::report;
using internal::ZipItem;
using platform::DirectoryEntry;
using platform::FileKind;
using platform::FileStamp;

std::string utf8(std::wstring_view text) {
  std::string bytes;
  (void)internal::encodeUtf8(text, bytes);
  return bytes;
}

std::string quoted(const OdString& path) { return "\"" + utf8(path.view()) + "\""; }

bool sameFile(const FileStamp& a, const FileStamp& b) { return a.volume == b.volume && a.file == b.file; }

// The name a file or folder named by the caller goes into the archive under: its last part, from its
// absolute form where the path ends in "." or "..".
std::wstring ownName(const std::wstring& path) {
  const std::wstring last = path.substr(path.find_last_of(wxFILE_SEP_PATH) + 1);
  if (!last.empty() && last != L"." && last != L"..") return last;
  wxFileName dir = wxFileName::DirName(wxString(path));
  dir.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_ABSOLUTE);
  return dir.GetDirCount() ? dir.GetDirs().Last().ToStdWstring() : std::wstring();
}

// Gathers the files and folders of an archive, reporting under the operation's name what it leaves out.
class ItemCollector {
 public:
  ItemCollector(const char* operation, std::vector<FileStamp> skipped)
      : m_operation(operation), m_skipped(std::move(skipped)) {}

  // Adds a file or folder named by the caller under its own name; false when there is none (reported).
  bool add(const OdString& given) {
    std::wstring path = platform::correctPathSeparators(given).str();
    while (path.size() > 1 && path.back() == wxFILE_SEP_PATH) path.pop_back();
    const std::optional<FileStamp> stamp = platform::fileStamp(OdString(path));
    if (path.empty() || !stamp) return report(m_operation, "No file or folder " + quoted(OdString(path)));
    const std::string name = utf8(ownName(path));
    if (!m_topNames.insert(name).second) {
      leaveOut(path, "its name is in the archive already");
      return true;
    }
    const FileKind kind = platform::fileKind(OdString(path), true);
    if (kind == FileKind::eDirectory) addFolder(path, name.empty() ? name : name + "/", *stamp, {});
    else if (kind == FileKind::eFile) addFile(path, name, *stamp);
    else leaveOut(path, "it is neither a file nor a folder");
    return true;
  }

  std::vector<ZipItem> items;
  bool incomplete = false;

 private:
  bool leaveOut(const std::wstring& path, const std::string& why) {
    incomplete = true;
    return report(m_operation, "Left out " + quoted(OdString(path)) + ": " + why);
  }

  void addFile(const std::wstring& path, std::string name, const FileStamp& stamp) {
    const std::string source = platform::fileNameToNarrow(path);
    items.push_back(ZipItem{source, std::move(name), false, stamp.size, stamp.modifiedNs / 1000000000});
  }

  // `name` ends in "/", or is empty for the root folder, whose entries stand at the archive's top.
  void addFolder(const std::wstring& path, const std::string& name, const FileStamp& stamp,
                 std::vector<FileStamp> ancestors) {
    const auto isStamp = [&](const FileStamp& ancestor) { return sameFile(ancestor, stamp); };
    if (std::any_of(ancestors.begin(), ancestors.end(), isStamp)) {
      leaveOut(path, "it leads back into a folder that contains it");
      return;
    }
    std::vector<DirectoryEntry> entries;
    if (!platform::listDirectory(OdString(path), entries)) {
      leaveOut(path, "the folder cannot be read: " + platform::lastErrorText());
      return;
    }
    std::sort(entries.begin(), entries.end(), [](auto& a, auto& b) { return a.name < b.name; });
    if (!name.empty())
      items.push_back(ZipItem{platform::fileNameToNarrow(path), name, true, 0, stamp.modifiedNs / 1000000000});
    ancestors.push_back(stamp);
    const std::wstring folder = path.back() == wxFILE_SEP_PATH ? path : path + wxFILE_SEP_PATH;
    for (const DirectoryEntry& entry : entries)
      addEntry(folder + entry.name, name + utf8(entry.name), entry, ancestors);
  }

  void addEntry(const std::wstring& path, const std::string& name, const DirectoryEntry& entry,
                const std::vector<FileStamp>& ancestors) {
    const auto isSkipped = [&](const FileStamp& skipped) { return sameFile(skipped, entry.stamp); };
    if (std::any_of(m_skipped.begin(), m_skipped.end(), isSkipped)) return;
    if (entry.kind == FileKind::eFile) addFile(path, name, entry.stamp);
    else if (entry.kind == FileKind::eDirectory) addFolder(path, name + "/", entry.stamp, ancestors);
    else if (entry.kind == FileKind::eMissing) leaveOut(path, "it is a link to nothing");
    else leaveOut(path, "it is neither a file nor a folder");
  }

  const char* m_operation;
  std::vector<FileStamp> m_skipped;  // the archive being written and the one it replaces
  std::set<std::string> m_topNames;
};

// Writes the archive of whatever `collect` gathers, under a temporary name that takes the archive's
// place when it is complete.
template <class Collect>
EZipStatus writeArchive(const char* operation, const OdString& zipPath, Collect collect) {
  const wxLogNull quiet;
  const OdString target = platform::correctPathSeparators(zipPath);
  platform::PendingFile pending(target);
  if (pending.temporaryPath().isEmpty()) {
    report(operation, "Cannot create the archive " + quoted(target) + ": " + platform::lastErrorText());
    return eZipWriteFailed;
  }
  std::vector<FileStamp> skipped;
  for (const OdString& archive : {pending.temporaryPath(), target})
    if (const auto stamp = platform::fileStamp(archive)) skipped.push_back(*stamp);
  ItemCollector collector(operation, std::move(skipped));
  if (!collect(collector)) return eZipNotFound;
  bool written = false;
  {
    wxFFileOutputStream out(internal::toWx(pending.temporaryPath()));
    if (out.IsOk()) std::setvbuf(out.GetFile()->fp(), nullptr, _IOFBF, 1 << 20);
    written = out.IsOk() && internal::writeZipItems(out, collector.items, operation, collector.incomplete) &&
              out.Close();
  }
  if (!written || !pending.commit()) {
    report(operation, "Cannot write the archive " + quoted(target));
    return eZipWriteFailed;
  }
  return collector.incomplete ? eZipIncomplete : eZipOk;
}

// An archive of the one file or folder `path`, which must be of the kind asked for.
EZipStatus zipOne(const char* operation, const OdString& zipPath, const OdString& path, FileKind kind) {
  if (platform::fileKind(platform::correctPathSeparators(path), true) != kind) {
    report(operation, (kind == FileKind::eFile ? "No file " : "No folder ") + quoted(path));
    return eZipNotFound;
  }
  return writeArchive(operation, zipPath, [&](ItemCollector& collector) { return collector.add(path); });
}

}  // namespace

OdString zipStatusMessage(EZipStatus status) {
  switch (status) {
    case eZipOk:
      return L"The archive was written.";
    case eZipNothingToZip:
      return L"No file or folder was named.";
    case eZipNotFound:
      return L"The file or folder to zip does not exist.";
    case eZipWriteFailed:
      return L"The archive could not be written.";
    case eZipIncomplete:
      return L"The archive was written, but some files or folders could not be read.";
  }
  return L"Unknown zip status.";
}

EZipStatus zipFile(const OdString& zipPath, const OdString& file) {
  return zipOne("ut::zipFile", zipPath, file, FileKind::eFile);
}

EZipStatus zipFiles(const OdString& zipPath, const OdArray<OdString>& files) {
  const char* operation = "ut::zipFiles";
  if (files.isEmpty()) {
    report(operation, "No file or folder to zip into " + quoted(zipPath));
    return eZipNothingToZip;
  }
  return writeArchive(operation, zipPath, [&](ItemCollector& collector) {
    size_t found = 0;
    for (const OdString& file : files) found += collector.add(file);
    collector.incomplete |= found < files.size();
    return found > 0;
  });
}

EZipStatus zipFolder(const OdString& zipPath, const OdString& folder) {
  return zipOne("ut::zipFolder", zipPath, folder, FileKind::eDirectory);
}

}  // namespace ut
