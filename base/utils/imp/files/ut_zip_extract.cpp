// Reading archives: wxWidgets' zip stream reads and inflates on the caller's thread; files that fit in
// memory are checked there and handed to worker threads, which write them while the stream goes on with
// the next entry. Larger files are written under a temporary name and renamed when their sums have been
// checked, so that a damaged entry never leaves half a file. A file or link standing where a file goes
// is replaced, never written through; a folder there is kept, and the entry fails.

#include "ut_zip.h"

#include "core/ut_assert_p.h"
#include "core/ut_utf8.h"
#include "core/ut_wx.h"
#include "files/ut_zip_p.h"
#include "platform/files.h"
#include "platform/text.h"

#include <wx/log.h>
#include <wx/strconv.h>
#include <wx/wfstream.h>
#include <wx/zipstrm.h>

#include <cstdio>
#include <limits>
#include <set>

namespace ut {

namespace internal {

namespace {

// Files up to this size are read whole and written by a worker thread.
constexpr wxFileOffset kWholeFile = 1 << 20;
// Worker threads start with this many files written; smaller archives are written on the caller's
// thread alone.
constexpr size_t kWorkersFrom = 16;

std::string utf8(const wxString& text) { return std::string(text.utf8_str()); }
std::string quoted(const OdString& path) {
  std::string bytes;
  (void)encodeUtf8(path.view(), bytes);
  return "\"" + bytes + "\"";
}

// Names that the archive does not flag as UTF-8: UTF-8 where they are well-formed (Info-ZIP writes them
// so on Linux), else code page 437, the format's own.
class EntryNameConv : public wxMBConv {
 public:
  size_t ToWChar(wchar_t* dst, size_t dstLen, const char* src, size_t srcLen) const override {
    const size_t count = wxConvUTF8.ToWChar(dst, dstLen, src, srcLen);
    return count != wxCONV_FAILED ? count : m_cp437.ToWChar(dst, dstLen, src, srcLen);
  }
  size_t FromWChar(char* dst, size_t dstLen, const wchar_t* src, size_t srcLen) const override {
    return wxConvUTF8.FromWChar(dst, dstLen, src, srcLen);
  }
  wxMBConv* Clone() const override { return new EntryNameConv; }

 private:
  wxCSConv m_cp437{wxFONTENCODING_CP437};
};

class StringOutputStream : public wxOutputStream {
 public:
  std::string bytes;

 protected:
  size_t OnSysWrite(const void* data, size_t size) override {
    bytes.append(static_cast<const char*>(data), size);
    return size;
  }
};

// Why an entry's name, as wxWidgets reads it, could lead out of the target folder, or names nothing;
// empty when it is safe, with the parts of the name below the folder in `parts`.
std::string unsafeName(const wxZipEntry& entry, std::vector<wxString>& parts) {
  wxString part;
  const wxString name = entry.GetInternalName() + '/';
  for (const wxUniChar c : name) {
    if (c == '\0') return "has a NUL in its name";
    if (c != '/' && c != '\\') {
      part += c;
    } else if (part == "..") {
      return "climbs out with \"..\"";
    } else {
      if (!part.empty() && part != ".") parts.push_back(part);
      part.clear();
    }
  }
  if (parts.empty()) return "has no name";
  if (parts[0].length() > 1 && parts[0][1] == ':' && wxIsalpha(parts[0][0])) return "names a drive";
  return {};
}

int64_t entryTime(const wxZipEntry& entry) {
  const wxDateTime time = entry.GetDateTime();
  return time.IsValid() ? static_cast<int64_t>(time.GetTicks()) : -1;
}

// Makes the stream usable for the next entry after one failed.
void recover(wxZipInputStream& zip) {
  zip.Reset();
  zip.CloseEntry();
  zip.Reset();
}

// The open entry's bytes to `out`: true when they all came, matched the archive's size and sum, and
// went out. Never reads more than the archive says the entry holds.
bool copyEntry(wxZipInputStream& zip, const wxZipEntry& entry, wxOutputStream& out) {
  const wxFileOffset declared = entry.GetSize();
  std::vector<char> buffer(declared >= 0 && declared < kWholeFile ? declared + 1 : kWholeFile);
  wxFileOffset total = 0;
  bool ok = true;
  while (ok && zip.GetLastError() == wxSTREAM_NO_ERROR) {
    const size_t count = zip.Read(buffer.data(), buffer.size()).LastRead();
    total += static_cast<wxFileOffset>(count);
    ok = (declared < 0 || total <= declared) && out.Write(buffer.data(), count).LastWrite() == count &&
         (count > 0 || zip.GetLastError() != wxSTREAM_NO_ERROR);
  }
  ok = ok && zip.GetLastError() == wxSTREAM_EOF;
  if (!ok) recover(zip);
  return ok;
}

bool openAndCopy(wxZipInputStream& zip, wxZipEntry& entry, wxOutputStream& out) {
  if (zip.OpenEntry(entry)) return copyEntry(zip, entry, out);
  recover(zip);
  return false;
}

// Puts `bytes` at `path` with the entry's time. Runs on worker threads, so it uses no wxWidgets. The
// error's text, or empty.
std::string writeWhole(const OdString& path, const std::string& bytes, int64_t time) {
  return platform::putFile(path, bytes, time) ? std::string() : platform::lastErrorText();
}

}  // namespace

// An archive open for reading, from a file or a seekable stream, with the entries of its central
// directory.
struct ArchiveReader {
  explicit ArchiveReader(const OdString& path)
      : path(path),
        file(std::make_unique<wxFFileInputStream>(toWx(path))),
        stream(*file),
        zip(stream, conv) {}
  explicit ArchiveReader(wxInputStream& stream) : stream(stream), zip(stream, conv) {}

  std::string name() const {
    return path.isEmpty() ? std::string("the archive stream") : "the archive " + quoted(path);
  }

  // Reads every entry; false (reported under `operation`) when the archive cannot be read.
  bool readEntries(const char* operation) {
    if (file && platform::fileKind(path, true) != platform::FileKind::eFile)
      return report(operation, "No archive " + quoted(path));
    if (!stream.IsOk()) return report(operation, "Cannot open " + name());
    while (wxZipEntry* entry = zip.GetNextEntry()) entries.emplace_back(entry);
    return zip.GetLastError() == wxSTREAM_EOF || report(operation, "Damaged: " + name());
  }

  // Whether every entry stays below the target folder and is a file or folder; false (reported) at the
  // first that does not.
  bool checkNames(const char* operation) {
    std::vector<StoredEntry> stored;
    if (!readStoredEntries(stream, stored) || stored.size() != entries.size())
      return report(operation, "Damaged: the directory of " + name());
    for (size_t i = 0; i < entries.size(); ++i) {
      std::vector<wxString> parts;
      std::string why = unsafeName(*entries[i], parts);
      if (why.empty() && stored[i].isLink) why = "is a symbolic link";
      if (why.empty() && (stored[i].name.starts_with('/') || stored[i].name.starts_with('\\')))
        why = "has an absolute name";
      if (!why.empty())
        return report(operation, "Refused " + name() + ": its entry \"" +
                                     utf8(entries[i]->GetName(wxPATH_UNIX)) + "\" " + why);
    }
    return true;
  }

  // The file entry named `wanted`, or null (reported).
  wxZipEntry* findFile(const OdString& wanted, const char* operation) {
    const wxString internal = wxZipEntry::GetInternalName(toWx(wanted), wxPATH_UNIX);
    for (const auto& entry : entries) {
      if (!entry->IsDir() && entry->GetInternalName() == internal) return entry.get();
    }
    report(operation, "No file " + quoted(wanted) + " in " + name());
    return nullptr;
  }

  // Copies `entry` to `out`; false (reported) when it is damaged.
  bool copy(wxZipEntry& entry, wxOutputStream& out, const char* operation) {
    if (openAndCopy(zip, entry, out)) return true;
    return report(operation, "Damaged: the entry \"" + utf8(entry.GetName(wxPATH_UNIX)) + "\" of " + name());
  }

  const OdString path;
  EntryNameConv conv;
  const std::unique_ptr<wxFFileInputStream> file;
  wxInputStream& stream;
  wxZipInputStream zip;
  std::vector<std::unique_ptr<wxZipEntry>> entries;
};

// Writes entries below a target folder. Folders are made and checked on the caller's thread, each
// once; files that fit in memory go to worker threads, larger ones are written as they are read.
class Extractor {
 public:
  Extractor(const OdString& root, const char* operation) : m_root(root), m_operation(operation) {}

  // Extracts the entry whose name has the (checked) `parts`; false when it could not be (reported).
  bool extract(wxZipInputStream& zip, wxZipEntry& entry, const std::vector<wxString>& parts) {
    if (!makeFolders(parts, entry.IsDir() ? parts.size() : parts.size() - 1)) return false;
    if (entry.IsDir()) return true;
    const OdString path = pathOf(parts);
    if (!zip.OpenEntry(entry)) {
      recover(zip);
      return failed(path, "the entry is damaged");
    }
    if (entry.GetSize() >= 0 && entry.GetSize() <= kWholeFile) return writeInMemory(zip, entry, path);
    return writeStreamed(zip, entry, path);
  }

  // Waits for the files handed to worker threads; false when any of them could not be written (reported).
  bool finish() {
    for (auto& [path, write] : m_writes) {
      const std::string error = write.get();
      if (!error.empty()) m_writesOk = failed(path, error);
    }
    m_writes.clear();
    m_pending.clear();
    return m_writesOk;
  }

 private:
  bool failed(const OdString& path, const std::string& why) {
    return report(m_operation, "Cannot extract " + quoted(path) + ": " + why);
  }

  OdString pathOf(const std::vector<wxString>& parts,
                  size_t count = std::numeric_limits<size_t>::max()) const {
    OdString path = m_root;
    for (size_t i = 0; i < parts.size() && i < count; ++i) (path += wxFILE_SEP_PATH) += fromWx(parts[i]);
    return path;
  }

  // Makes the folders of the first `count` parts below the root; each must be a real folder, not a file
  // or a link that could lead elsewhere.
  bool makeFolders(const std::vector<wxString>& parts, size_t count) {
    for (size_t i = 1; i <= count; ++i) {
      const OdString folder = pathOf(parts, i);
      if (m_folders.count(folder.str())) continue;
      if (platform::fileKind(folder, false) == platform::FileKind::eMissing)
        platform::makeDirectories(folder, platform::Sharing::eReadableByAll);
      if (platform::fileKind(folder, false) != platform::FileKind::eDirectory)
        return failed(folder, "it is not a folder, and cannot be made one");
      m_folders.insert(folder.str());
    }
    return true;
  }

  bool writeInMemory(wxZipInputStream& zip, wxZipEntry& entry, const OdString& path) {
    StringOutputStream content;
    content.bytes.reserve(static_cast<size_t>(entry.GetSize()));
    if (!copyEntry(zip, entry, content)) return failed(path, "the entry is damaged");
    const int64_t time = entryTime(entry);
    if (++m_inMemory < kWorkersFrom) {
      const std::string error = writeWhole(path, content.bytes, time);
      return error.empty() || failed(path, error);
    }
    if (!m_pool) m_pool = std::make_unique<WorkerPool>();
    // An entry of a name written before waits for that write, so that the later one wins.
    if (m_pending.count(path.str())) finish();
    m_pending.insert(path.str());
    m_writes.emplace_back(path, m_pool->submit([path, bytes = std::move(content.bytes), time] {
      return writeWhole(path, bytes, time);
    }));
    return true;
  }

  bool writeStreamed(wxZipInputStream& zip, wxZipEntry& entry, const OdString& path) {
    platform::PendingFile pending(path);
    if (pending.temporaryPath().isEmpty()) return failed(path, platform::lastErrorText());
    bool copied = false;
    {
      wxFFileOutputStream out(toWx(pending.temporaryPath()));
      copied = out.IsOk() && copyEntry(zip, entry, out) && out.Close();
    }
    if (!copied) return failed(path, "the entry is damaged, or the file cannot be written");
    if (entryTime(entry) >= 0) platform::setModificationTime(pending.temporaryPath(), entryTime(entry));
    return pending.commit() || failed(path, platform::lastErrorText());
  }

  const OdString m_root;
  const char* m_operation;
  std::set<std::wstring> m_folders;
  std::set<std::wstring> m_pending;
  size_t m_inMemory = 0;
  bool m_writesOk = true;
  std::vector<std::pair<OdString, std::future<std::string>>> m_writes;
  std::unique_ptr<WorkerPool> m_pool;  // last, so that its threads end before what they write from
};

}  // namespace internal

using internal::ArchiveReader;
using internal::Extractor;
using internal::report;

namespace {

OdString targetFolder(const OdString& folder, const char* operation) {
  const OdString root = platform::correctPathSeparators(folder);
  if (!root.isEmpty() && platform::makeDirectories(root, platform::Sharing::eReadableByAll) &&
      platform::fileKind(root, true) == platform::FileKind::eDirectory)
    return root;
  report(operation, "Cannot make the folder " + internal::quoted(root));
  return OdString();
}

std::unique_ptr<ArchiveReader> openArchive(const OdString& zipPath, const char* operation) {
  auto reader = std::make_unique<ArchiveReader>(platform::correctPathSeparators(zipPath));
  return reader->readEntries(operation) ? std::move(reader) : nullptr;
}

bool extractEntries(ArchiveReader& reader, const OdString& root, size_t begin, size_t end,
                    const char* operation) {
  Extractor extractor(root, operation);
  bool ok = true;
  for (size_t i = begin; i < end && i < reader.entries.size(); ++i) {
    std::vector<wxString> parts;
    (void)internal::unsafeName(*reader.entries[i], parts);  // checked when the archive was opened
    ok &= extractor.extract(reader.zip, *reader.entries[i], parts);
  }
  return extractor.finish() && ok;
}

// Checks the names of all of an archive's entries, then extracts them.
bool extractAll(ArchiveReader& reader, const OdString& folder, const char* operation) {
  if (!reader.checkNames(operation)) return false;
  const OdString root = targetFolder(folder, operation);
  return !root.isEmpty() && extractEntries(reader, root, 0, reader.entries.size(), operation);
}

}  // namespace

struct UnzippingHelper::Archive {
  OdString zipPath;
  OdString folder;
  OdString root;
  size_t perPack = 0;
  std::unique_ptr<ArchiveReader> reader;
};

UnzippingHelper::UnzippingHelper(const OdString& zipPath, const OdString& folder)
    : m_archive(std::make_unique<Archive>()) {
  m_archive->zipPath = zipPath;
  m_archive->folder = folder;
}

UnzippingHelper::~UnzippingHelper() = default;

bool UnzippingHelper::init(size_t entriesPerPack) {
  const char* operation = "ut::UnzippingHelper::init";
  const wxLogNull quiet;
  Archive& archive = *m_archive;
  archive.reader.reset();
  archive.perPack = entriesPerPack;
  if (entriesPerPack == 0) return report(operation, "A pack must hold at least one entry");
  archive.reader = openArchive(archive.zipPath, operation);
  if (!archive.reader || !archive.reader->checkNames(operation)) {
    archive.reader.reset();
    return false;
  }
  archive.root = targetFolder(archive.folder, operation);
  if (archive.root.isEmpty()) archive.reader.reset();
  return archive.reader != nullptr;
}

size_t UnzippingHelper::entryCount() const {
  return m_archive->reader ? m_archive->reader->entries.size() : 0;
}

size_t UnzippingHelper::packCount() const {
  const size_t entries = entryCount();
  return entries ? (entries - 1) / m_archive->perPack + 1 : 0;
}

bool UnzippingHelper::unzipPackOfEntries(unsigned int pack) {
  const char* operation = "ut::UnzippingHelper::unzipPackOfEntries";
  if (pack >= packCount()) return report(operation, "No pack " + std::to_string(pack));
  const wxLogNull quiet;
  const size_t begin = pack * m_archive->perPack;
  return extractEntries(*m_archive->reader, m_archive->root, begin, begin + m_archive->perPack, operation);
}

bool getZippedFolderEntries(const OdString& zipPath, OdArray<OdString>& entries) {
  const wxLogNull quiet;
  const auto reader = openArchive(zipPath, "ut::getZippedFolderEntries");
  if (!reader) return false;
  for (const auto& entry : reader->entries) entries.append(internal::fromWx(entry->GetName(wxPATH_UNIX)));
  return true;
}

bool unzipFolder(const OdString& zipPath, const OdString& folder) {
  const char* operation = "ut::unzipFolder";
  const wxLogNull quiet;
  const auto reader = openArchive(zipPath, operation);
  return reader && extractAll(*reader, folder, operation);
}

bool unzipFolder(wxInputStream& stream, const OdString& folder) {
  const char* operation = "ut::unzipFolder";
  const wxLogNull quiet;
  if (stream.IsSeekable()) {
    ArchiveReader reader(stream);
    return reader.readEntries(operation) && extractAll(reader, folder, operation);
  }
  const OdString root = targetFolder(folder, operation);
  if (root.isEmpty()) return false;
  internal::EntryNameConv conv;
  wxZipInputStream zip(stream, conv);
  Extractor extractor(root, operation);
  bool ok = true;
  while (std::unique_ptr<wxZipEntry> entry{zip.GetNextEntry()}) {
    std::vector<wxString> parts;
    const std::string why = internal::unsafeName(*entry, parts);
    if (why.empty())
      ok &= extractor.extract(zip, *entry, parts);
    else
      ok = report(operation,
                  "Skipped the entry \"" + internal::utf8(entry->GetName(wxPATH_UNIX)) + "\": it " + why);
  }
  if (zip.GetLastError() != wxSTREAM_EOF) ok = report(operation, "Damaged: the archive stream");
  return extractor.finish() && ok;
}

bool unzipEntry(const OdString& zipPath, const OdString& entry, wxOutputStream& out) {
  const char* operation = "ut::unzipEntry";
  const wxLogNull quiet;
  const auto reader = openArchive(zipPath, operation);
  wxZipEntry* found = reader ? reader->findFile(entry, operation) : nullptr;
  return found && reader->copy(*found, out, operation);
}

bool unzipEntry(const OdString& zipPath, const OdString& entry, const OdString& outPath) {
  const char* operation = "ut::unzipEntry";
  const wxLogNull quiet;
  const auto reader = openArchive(zipPath, operation);
  wxZipEntry* found = reader ? reader->findFile(entry, operation) : nullptr;
  if (!found) return false;
  const OdString target = platform::correctPathSeparators(outPath);
  platform::PendingFile pending(target);
  bool copied = false;
  if (!pending.temporaryPath().isEmpty()) {
    wxFFileOutputStream out(internal::toWx(pending.temporaryPath()));
    copied = out.IsOk() && reader->copy(*found, out, operation) && out.Close();
  }
  return (copied && pending.commit()) || report(operation, "Cannot write " + internal::quoted(target));
}

bool unzipOneFile(const OdString& zipPath, wxOutputStream& out) {
  const char* operation = "ut::unzipOneFile";
  const wxLogNull quiet;
  const auto reader = openArchive(zipPath, operation);
  if (!reader) return false;
  std::vector<wxZipEntry*> files;
  for (const auto& entry : reader->entries)
    if (!entry->IsDir()) files.push_back(entry.get());
  if (files.size() != 1)
    return report(operation, "Not one file but " + std::to_string(files.size()) + " in " + reader->name());
  return reader->copy(*files[0], out, operation);
}

}  // namespace ut
