// Zip archives: files and folders packed into a standard zip archive (deflated at zlib's level 6, names
// in UTF-8, Zip64 where an archive needs it) and taken out again, over wxWidgets' zip streams. Python's
// zipfile and Info-ZIP read what these functions write, and these functions read what they write.
//
//   ut::zipFolder(L"/tmp/job.zip", L"/home/ann/drawings");     // ut::eZipOk
//   OdArray<OdString> names;
//   ut::getZippedFolderEntries(L"/tmp/job.zip", names);
//   // names: "drawings/", "drawings/plan.dwg", "drawings/xref/", "drawings/xref/site.dwg"
//   ut::unzipFolder(L"/tmp/job.zip", L"/tmp/restore");       // true: /tmp/restore/drawings/plan.dwg, ...
//
//   ut::zipFile(L"/tmp/plan.zip", L"/home/ann/drawings/plan.dwg");  // one entry, "plan.dwg"
//   wxMemoryOutputStream bytes;
//   ut::unzipOneFile(L"/tmp/plan.zip", bytes);                       // true; bytes: the plan
//
//   ut::UnzippingHelper job(L"/tmp/job.zip", L"/tmp/restore");       // in steps, for a progress bar
//   if (job.init(100))
//     for (unsigned pack = 0; pack < job.packCount(); ++pack) ok &= job.unzipPackOfEntries(pack);
//
// Names. An entry of a folder is named by its path below the folder's parent, with "/" between the
// parts: zipping "/home/ann/drawings" gives "drawings/plan.dwg". Every folder has an entry of its own,
// ending in "/", so that empty folders come back. Files named one by one are entries of their own name
// (a folder among them brings its tree, named as above). Entries come folder by folder, sorted by name.
// A symbolic link is zipped as what it points to; a link to a folder that contains it is left out.
//
// Writing. An archive is written under a temporary name beside its path and takes the place of what
// stood there only when it is complete: a failed call leaves an existing archive as it was. Files are
// read and compressed on all of the machine's cores; the archive itself is written on the caller's
// thread. A file or folder that cannot be read is left out and reported; the result says so.
//
// Extracting. Files are written whole or not at all, with the time the archive gives them; an existing
// file of the same name is replaced only by the complete new one (an existing folder is kept). Nothing
// is made a symbolic link, and nothing is written through one. An archive that names an entry outside
// the target folder (an absolute name, a drive letter, ".." with either slash) or holds a symbolic link
// is refused before anything is written. A stream that cannot seek cannot be looked ahead in: from it an
// entry named with ".." or a drive is skipped, a leading slash is dropped (wxWidgets reads the name so),
// and a link comes out as a file that holds its target's name. A damaged entry costs only itself: the
// others are extracted, and the result is false. Files are written on all of the machine's cores; the
// archive is read on the caller's thread.
//
// Failures are reported through the assertion callbacks (ut_assert.h) under the function's name, such
// as "ut::zipFolder", with the path concerned. Every function runs on the caller's thread and may be
// called from any thread; a call's worker threads end before it returns. An UnzippingHelper belongs to
// one thread.

#ifndef QX_UT_ZIP_H
#define QX_UT_ZIP_H

#include "OdArray.h"
#include "OdString.h"

#include <cstddef>
#include <memory>

class wxInputStream;
class wxOutputStream;

namespace ut {

// How a call that writes an archive ended; zipStatusMessage gives the text of each.
enum EZipStatus {
  eZipOk = 0,            // every file and folder asked for is in the archive
  eZipNothingToZip = 1,  // no file or folder was named; nothing written
  eZipNotFound = 2,      // no file or folder named exists; nothing written
  eZipWriteFailed = 3,   // the archive could not be written whole; nothing left at its path changed
  eZipIncomplete = 4,    // the archive was written without some of the files or folders, each reported
};

// "The archive was written.", "No file or folder was named.", ...
OdString zipStatusMessage(EZipStatus status);

// An archive at `zipPath` holding `file` under its own name.
EZipStatus zipFile(const OdString& zipPath, const OdString& file);
// An archive holding each of `files` under its own name; a folder brings its tree. A second file or
// folder of a name already taken is left out and reported.
EZipStatus zipFiles(const OdString& zipPath, const OdArray<OdString>& files);
// An archive holding `folder` and everything below it, named from the folder's own name down.
EZipStatus zipFolder(const OdString& zipPath, const OdString& folder);

// Appends the names of the archive's entries in their order, folders ending in "/"; false (and nothing
// appended) when the archive cannot be read.
[[nodiscard]] bool getZippedFolderEntries(const OdString& zipPath, OdArray<OdString>& entries);

// Extracts every entry below `folder`, which is made when missing. True when every entry was extracted.
bool unzipFolder(const OdString& zipPath, const OdString& folder);
// The same from a stream, which need not be seekable (see above for what a stream that cannot seek
// allows).
bool unzipFolder(wxInputStream& zip, const OdString& folder);

// Writes the file entry named `entry` (as getZippedFolderEntries names it) to `out`, or to the file
// `outPath`, which is replaced only by the whole, checked content. False when there is no such file entry
// or it is damaged.
bool unzipEntry(const OdString& zipPath, const OdString& entry, wxOutputStream& out);
bool unzipEntry(const OdString& zipPath, const OdString& entry, const OdString& outPath);
// Writes the archive's one file (as zipFile writes it) to `out`; false when the archive holds no file or
// more than one.
bool unzipOneFile(const OdString& zipPath, wxOutputStream& out);

// Extracts an archive in packs of entries, so that a caller can show progress or stop between packs.
// A pack is a run of consecutive entries in the archive's order; packs may be extracted in any order,
// and each once or again.
class UnzippingHelper {
 public:
  UnzippingHelper(const OdString& zipPath, const OdString& folder);
  ~UnzippingHelper();
  UnzippingHelper(const UnzippingHelper&) = delete;
  UnzippingHelper& operator=(const UnzippingHelper&) = delete;

  // Reads the archive's directory, checks every entry's name, makes the target folder and divides the
  // entries into packs of `entriesPerPack` (the last may be smaller). False, with nothing written, when
  // the archive cannot be read or names an entry outside the folder, or `entriesPerPack` is 0.
  bool init(size_t entriesPerPack);
  size_t entryCount() const;
  size_t packCount() const;
  // Extracts the entries of pack number `pack`; true when every one of them was extracted.
  bool unzipPackOfEntries(unsigned int pack);

 private:
  struct Archive;
  std::unique_ptr<Archive> m_archive;
};

}  // namespace ut

#endif
