// Files and directories: whole-file reading and writing, copy, rename and remove, access tests, folder
// joining, content comparison, two small classes for an open file (`File`) and a directory's listing
// (`Dir`), and a guard against network shares whose server has stopped answering. Every failure is a
// result (false, -1, an empty string); nothing here throws, and only the guard reports (see below).
//
//   std::string bytes;
//   if (ut::readEntireFile(L"/tmp/plan.dwg", bytes)) ...
//   ut::copyFile(L"/tmp/plan.dwg", L"/tmp/plan.bak");
//   ut::appendFolder(L"/opt/veltocad", L"fonts");          // L"/opt/veltocad/fonts/"
//   ut::expandedFileExists(L"$HOME/.profile");             // true when it exists
//   ut::isNetworkPathAvailable(L"/mnt/nfs/plan.dwg");      // false while that share's server is silent
//
//   ut::File file(L"/tmp/log.txt", ut::File::eAppend);
//   file.write("one more line\n");
//
//   ut::Dir dir(L"/opt/veltocad/fonts");
//   OdString name;
//   for (bool more = dir.getFirst(name, L"*.shx"); more; more = dir.getNext(name)) ...

#ifndef QX_UT_FILE_H
#define QX_UT_FILE_H

#include "OdArray.h"
#include "OdString.h"

#include <memory>
#include <string>
#include <string_view>

class wxDir;
class wxFile;

namespace ut {

// One open file, closed by the destructor.
class File {
 public:
  enum EOpenMode {
    eRead,       // an existing file, from its start
    eWrite,      // created, or truncated when it exists
    eReadWrite,  // an existing file, created when missing; nothing truncated
    eAppend,     // created when missing; every write goes to the end
  };

  File();
  File(const OdString& path, EOpenMode mode);
  File(File&&) noexcept;
  File& operator=(File&&) noexcept;
  ~File();

  // Closes what was open first.
  bool open(const OdString& path, EOpenMode mode = eRead);
  bool close();
  bool isOpened() const;
  const OdString& path() const { return m_path; }

  // The number of bytes read, 0 at the end of the file, -1 on failure.
  long long read(void* buffer, size_t size);
  // The rest of the file, from the current position to its end; false when a read fails (`bytes` then
  // holds nothing new).
  bool readAll(std::string& bytes);
  // All of `size` bytes, or false.
  bool write(const void* data, size_t size);
  bool write(std::string_view bytes) { return write(bytes.data(), bytes.size()); }
  bool flush();
  bool seek(unsigned long long offset);
  // -1 when the file is not open or its length cannot be told.
  long long length() const;
  // The open file for functions that take wxWidgets' own type; null when nothing is open.
  wxFile* wx() const { return m_file.get(); }

 private:
  std::unique_ptr<wxFile> m_file;
  OdString m_path;
};

// The entries of one directory, one at a time.
class Dir {
 public:
  enum EFlags { eFiles = 1, eDirs = 2, eHidden = 4, eDefault = eFiles | eDirs | eHidden };

  explicit Dir(const OdString& path);
  ~Dir();
  Dir(const Dir&) = delete;
  Dir& operator=(const Dir&) = delete;

  bool isOpened() const;
  // Names, not paths, of the entries that match `pattern` ("*.dwg"; empty for every name); "." and ".."
  // never. getFirst starts over; both answer false when no entry is left.
  bool getFirst(OdString& name, const OdString& pattern = OdString(), int flags = eDefault);
  bool getNext(OdString& name);

  // Appends the paths of the files under `dir` whose names match `pattern`, its sub-directories included
  // with `recursive`, in the order the directory gives them. The number of paths appended.
  static size_t getAllFiles(const OdString& dir, OdArray<OdString>& paths,
                            const OdString& pattern = OdString(), bool recursive = true);

 private:
  std::unique_ptr<wxDir> m_dir;
};

// The whole file; false when it cannot be opened or read (`bytes` then holds nothing new).
bool readEntireFile(const OdString& file, std::string& bytes);
// Replaces the file's content, creating the file; false when it cannot be created or written.
bool writeEntireFile(const OdString& file, std::string_view bytes);

// Copies content and permissions; an existing target is replaced only with `overwrite`.
bool copyFile(const OdString& from, const OdString& to, bool overwrite = true);
// Renames, or copies and removes where the two lie on different file systems.
bool renameFile(const OdString& from, const OdString& to, bool overwrite = true);
bool removeFile(const OdString& file);

// The modes of accessFile, those of the C library's _access.
enum EAccess { eAccessExists = 0, eAccessWrite = 2, eAccessRead = 4, eAccessReadWrite = 6 };
// Whether the file or directory exists and the process may use it as `mode` asks.
bool accessFile(const OdString& path, int mode);
bool dirExists(const OdString& path);
// Whether the name, after expanding environment variables ($NAME, ${NAME}) and a leading "~", is an
// existing file. `expanded`, when given, receives the expanded name either way.
bool expandedFileExists(const OdString& path, OdString* expanded = nullptr);
// The first of `dirs` that exists as a directory and allows `mode`; empty when none does.
OdString firstAccessibleDir(const OdArray<OdString>& dirs, int mode = eAccessReadWrite);
// `path` and `folder` joined by exactly one separator, ending in a separator: ("/a/", "b") gives "/a/b/".
// An empty `path` gives `folder` and a separator.
OdString appendFolder(const OdString& path, const OdString& folder);

// False while `path` lies on a network share (an NFS, SMB, SSHFS or similar mount) that is marked
// unavailable; true for every other path, local ones without asking anything. A share whose server does
// not answer a probe within two seconds is marked for five minutes, and each marking is reported through
// the assertion callbacks ("The network path with root directory '/mnt/nfs' is not available at the
// moment and will be ignored for the next 5 minute(s) or until restart."). So a caller never waits here
// longer than the probe's two seconds, and may skip a path that would have made it wait for the server's
// own time-out. A share that answered is not asked again for ten seconds. The share is found from the
// path as it is spelt ("." and ".." resolved, a relative path taken from the working directory); a
// symbolic link into a share is not followed. Any thread may call it.
bool isNetworkPathAvailable(const OdString& path);

// Whether two files hold the same bytes. False when either cannot be read. The comparisons of text
// files, line by line, are in ut_text_file.h.
bool filesAreEqual(const OdString& a, const OdString& b);

}  // namespace ut

#endif
