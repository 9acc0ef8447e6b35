// File names: `FileName`, the library's value type for a file or directory name (volume, directories,
// name and extension), with the queries and file-system operations that go with a name, and the free path
// functions beside it. Names are parsed and composed in the native format (on POSIX: '/' separates, no
// volumes); wxWidgets' wxFileName does that work, and this family adds temporary names, name validation,
// unique numbering, common paths and comparison.
//
//   ut::FileName name(L"/home/ann/plans/site.dwg");
//   name.getName();                                   // L"site"
//   name.getDirCount();                               // 3
//   name.setExt(L"bak");                              // /home/ann/plans/site.bak
//
//   ut::getFirstNotExistingPath(L"/tmp", L"plan.dwg", 1);  // L"/tmp/plan (1).dwg" when plan.dwg exists
//   ut::validateFileName(L"a/b:c.txt", false, L'_');       // L"a_b_c_txt"
//   ut::FileName::toggleLastPathSeparator(L"/dir/");       // L"/dir"
//   ut::FileName::createTempFileName(L"plot");             // a new empty file, e.g. L"/tmp/plotAb12Cd"
//
// No member throws for a bad name; failures are false or empty results. A FileName is a value: copies
// share nothing, and one FileName may be used by one thread at a time. sameAs() (and equalFilePath)
// normalise both operands in place, even through const. setCwd changes the process's working directory
// and is the only function here that touches process-wide state.

#ifndef QX_UT_FILENAME_H
#define QX_UT_FILENAME_H

#include "OdArray.h"
#include "OdString.h"

#include <memory>

class wxDateTime;
class wxFileName;

namespace ut {

using DateTime = wxDateTime;

// Kinds of application modules, told apart by extension.
enum EAppModuleType {
  eAppModuleNone = 0,
  eAppModuleLsp,
  eAppModuleDes,
  eAppModuleMnl,
  eAppModuleDvb,
  eAppModuleVrx,
  eAppModuleArx,
  eAppModuleDrx,
  eAppModuleDbx,
  eAppModuleDll,
};

class FileName {
 public:
  // What getSize answers when the size cannot be told.
  static constexpr unsigned long long kInvalidSize = ~0ull;

  FileName();
  FileName(const FileName& other);
  FileName(const OdString& fullPath);
  FileName(const wchar_t* fullPath);
  FileName(const OdString& path, const OdString& fullName);
  FileName(const OdString& volume, const OdString& path, const OdString& fullName);
  ~FileName();

  // --- Assignment ---
  void assign(const OdString& fullPath);
  void assign(const OdString& path, const OdString& fullName);
  void assign(const OdString& volume, const OdString& path, const OdString& fullName);
  // The whole of `dir` as directories, with no name.
  void assignDir(const OdString& dir);
  FileName& operator=(const OdString& fullPath);
  FileName& operator=(const wchar_t* fullPath);
  FileName& operator=(const FileName& other);
  void clear();
  void clearExt();

  // --- Directories ---
  bool appendDir(const OdString& dir);
  void removeLastDir();
  void removeFirstDir();
  size_t getDirCount() const;
  OdArray<OdString> getDirs() const;
  // Empty for an index past the last directory.
  OdString getDirAt(size_t index) const;
  OdString getLastDir() const;
  // This name's full path taken as a directory, then `other` below it (`other` itself when absolute).
  FileName operator/(const FileName& other) const;

  // --- Components --- (flags of getPath: wxPATH_GET_VOLUME, wxPATH_GET_SEPARATOR, wxPATH_NO_SEPARATOR)
  void setVolume(const OdString& volume);
  OdString getVolume() const;
  void setPath(const OdString& path);
  OdString getPath(int flags = 1) const;
  void setName(const OdString& name);
  OdString getName() const;
  void setExt(const OdString& ext);
  OdString getExt() const;
  void setFullName(const OdString& fullName);
  OdString getFullName() const;
  OdString getFullPath() const;
  bool hasVolume() const;
  bool hasName() const;
  bool hasExt() const;
  // Whether the extension is `ext` ignoring case; a leading dot in `ext` is allowed.
  bool hasExt(const OdString& ext) const;
  // Whether the volume the name lies on can be reached (true where there are no volumes).
  bool checkVolume() const;

  // --- Queries --- (flags of exists: wxWidgets' wxFILE_EXISTS_* bits)
  bool isOk() const;
  bool isAbsolute() const;
  bool isRelative() const;
  // Whether the name has no name part, so that it stands for a directory.
  bool isDir() const;
  bool dirExists() const;
  // `foundPath`, when given, receives the full path of the file found.
  bool fileExists(OdString* foundPath = nullptr) const;
  bool exists(int flags = 0xFFFF) const;
  bool isDirReadable() const;
  bool isDirWritable() const;
  bool isFileReadable() const;
  bool isFileWritable() const;
  bool isFileExecutable() const;
  unsigned long long getSize() const;
  // Any pointer may be null. On POSIX the creation time is the time of the last status change.
  bool getTimes(DateTime* access, DateTime* modify, DateTime* create) const;
  // On POSIX only the access and modification times can be set; `create` is ignored.
  bool setTimes(const DateTime* access, const DateTime* modify, const DateTime* create) const;

  // --- Transformation --- (flags of normalize: wxWidgets' wxPATH_NORM_* bits; an empty cwd means the
  // current working directory)
  // The default, 0x16, is dots, tilde and absolute.
  bool normalize(int flags = 0x16, const OdString& cwd = OdString());
  bool makeAbsolute(const OdString& cwd = OdString());
  bool makeRelativeTo(const OdString& base = OdString());
  // The path from the root of its volume: "/a/b.txt" becomes "a/b.txt".
  bool makeRelativeToRoot();
  // Gives each existing component the spelling the file system has for it where it differs only in
  // case. True when the name then stands for an existing entry.
  bool correctCase();

  // --- Directory operations --- (flags of mkdir: wxPATH_MKDIR_FULL; of rmdir: wxPATH_RMDIR_*)
  bool mkdir(int perm = 0777, int flags = 0) const;
  bool rmdir(int flags = 0) const;
  static bool mkdir(const OdString& dir, int perm = 0777, int flags = 0);
  static bool rmdir(const OdString& dir, bool recursive = false);
  // Removes everything inside `dir` and keeps the directory.
  static bool clearDir(const OdString& dir);

  // --- Static queries ---
  static bool dirExists(const OdString& dir);
  static bool fileExists(const OdString& file);
  static bool isDirWritable(const OdString& dir);
  // True for an existing file that may not be written.
  static bool isFileReadOnly(const OdString& file);
  static unsigned long long getSize(const OdString& file);
  static bool setCwd(const OdString& cwd);
  static OdString getCwd(const OdString& volume = OdString());
  // The "TEMPPREFIX" setting, else the system's temporary directory; ends in a separator.
  static OdString getTempDir();
  static OdString getHomeDir();
  static bool isPathSeparator(wchar_t c);
  static wchar_t getPathSeparator();
  static OdString getPathSeparators();
  static OdString getVolumeSeparator();
  // Absolute in the native format, or starting with "//" (a network name on any platform).
  static bool isCrossPlatformAbsolute(const OdString& path);
  static EAppModuleType appModuleType(const OdString& path);

  // --- Static string functions ---
  // Creates a new empty file whose name starts with `prefix` and returns its full path; a relative
  // prefix lies under getTempDir(), and missing directories are created. Empty when nothing could be
  // created.
  static OdString createTempFileName(const OdString& prefix);
  static void splitPath(const OdString& fullPath, OdString* path, OdString* name, OdString* ext);
  static bool makeRelativePath(const OdString& path, const OdString& base, OdString& result);
  // Drops a trailing native separator, or appends one when there is none.
  static OdString toggleLastPathSeparator(const OdString& path);

  // --- Comparison ---
  // Both compare as wxWidgets does, the string after correcting its separators.
  bool operator==(const OdString& other) const;
  bool operator==(const FileName& other) const;
  // Normalises both names in place (dots, "~", case, absolute against the working directory), then
  // compares their full paths character by character.
  bool sameAs(const FileName& other) const;

 private:
  std::unique_ptr<wxFileName> m_name;
};

// Whether two path strings name the same file (FileName::sameAs).
bool equalFilePath(const OdString& a, const OdString& b);
// `name` with the characters no file name may hold replaced by `replacement`. Without `allowPath` the
// dot and every path and volume separator of any platform are replaced too; with it they stay.
OdString validateFileName(const OdString& name, bool allowPath, wchar_t replacement);
// When `name` is an existing file (not a directory), sets `path` to its full path and answers true.
bool verifyAbsolutePath(OdString& path, FileName& name);
// The login name of the account that owns the file.
bool getFileOwner(const OdString& path, OdString& owner);
// The characters a native file name may not hold.
OdString getForbiddenCharacters();
// `dir` joined with `name` when that does not exist, else the first free numbered variant: "plan.dwg"
// gives "plan (1).dwg" (from `firstNumber`), "plan (3).dwg" goes on at "plan (4).dwg", "plan7.dwg" at
// "plan8.dwg". Empty for an empty `dir` or `name`, and when the numbers run out.
OdString getFirstNotExistingPath(const OdString& dir, const OdString& name, int firstNumber);
// The volume and leading directories two names share; both must be absolute or both relative, else the
// result is empty. Equal names give the whole name. The volume is taken from `a` without comparing it.
FileName getCommonPath(const FileName& a, const FileName& b);
OdString getAbsolutePath(const OdString& path, const OdString& base);
bool isPathAbsolute(const OdString& path);

}  // namespace ut

#endif
