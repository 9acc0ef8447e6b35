// Document locking: a document opened for editing is held so that no other process (nor another open
// in this one) can take it for editing, while readers still read it; and beside it stand two small lock
// information files, "<name>.dwl" and "<name>.dwl2", that tell other instances who holds it, on which
// machine, since when.
//
//   ut::FileLocker locker;
//   if (locker.lock(L"/projects/site/plan.dwg")) ...     // true; plan.dwl and plan.dwl2 written
//
//   // in another process, or with another locker:
//   ut::FileLocker other;
//   other.lock(L"/projects/site/plan.dwg");               // false while the first holds it
//   ut::FileLocker::hasDwl(L"/projects/site/plan.dwg");   // true
//   OdString info;
//   ut::FileLocker::readLockInfo(L"/projects/site/plan.dwg", info);  // true; info == L"anna, pc7"
//   ut::FileLocker::isLockedByOther(L"/projects/site/plan.dwg");    // true for another user or machine
//
//   locker.unlock();                                      // true; both information files deleted
//
// A "plan.dwl" file holds three lines: the user's login name, the machine's name and the time the lock
// was taken (strftime's "%A, %B %d, %Y %X", e.g. "Monday, March 03, 2025 14:05:09"), in the code page
// of the user's locale, ended by LF but for the last, without a byte-order mark.
//
// Every path is first corrected: "\" and "/" both stand for the separator, and "|" becomes a space.
//
// The lock lives with the process: when the holder ends, however it ends (killed included), the
// document is free at once. The information files are left behind then, and the next lock() replaces
// them. On POSIX the lock binds those who ask for it (these classes, in any process); a program that
// opens the document without asking can still write it.
//
// Nothing here throws or reports: failures are false results. Copies share what they copy (see
// FileLocker). One object belongs to one thread at a time; different objects may be used on different
// threads.

#ifndef QX_UT_FILE_LOCKER_H
#define QX_UT_FILE_LOCKER_H

#include "OdAnsiString.h"
#include "OdString.h"

#include <memory>

namespace ut {

namespace internal {
class LockHandle;
}

// The current user's login name, the machine's name and the local time as a lock information file
// records them, in the code page of the user's locale. Always true.
bool getUserInfo(OdAnsiString& user, OdAnsiString& machine, OdAnsiString& time);

// A document held open for reading and writing, so that no other LockedFileHandle (in any process) can
// open it while this one is open. Copies share the open document: it stays held until every copy is
// closed or destroyed.
class LockedFileHandle {
 public:
  // Closes what this handle held, then opens the existing document `path`. False when it does not exist,
  // may not be written, or is held already.
  [[nodiscard]] bool open(const OdString& path);
  // Lets the document go (when no copy holds it any more). False when nothing was open, or the system
  // reports a failure to close.
  bool close();
  [[nodiscard]] bool isOpened() const;
  // The corrected path given to the last open().
  const OdString& path() const { return m_path; }

 private:
  OdString m_path;
  std::shared_ptr<internal::LockHandle> m_handle;
};

// One lock information file beside a document, kept open from create() to remove(). Copies share the
// file: it is deleted when the last of them removes it or is destroyed.
class LockInfoFile {
 public:
  // The file's extension and content; the text is filled with the user's, the machine's name and the time.
  enum EFileType {
    eDwl = 0,   // "dwl": "%s\n%s\n%s", user, machine and time
    eDwl2 = 1,  // "dwl2": an XML text with user, machine and time in <whprops>
    eDbl = 2,   // "dbl": "[UserInfo]\nUserName=%s\nMachine=%s", user and machine
  };

  // The information file of `documentPath`: its extension replaced by that of `type`
  // ("/a/plan.dwg" gives "/a/plan.dwl" for eDwl). Empty for an empty path.
  static OdString pathFor(const OdString& documentPath, EFileType type);

  // Removes the file this object held, then writes the new one for `documentPath`, replacing any file of
  // that name, and keeps it open. isOpened() tells whether it was written.
  void create(const OdString& documentPath, const OdAnsiString& user, const OdAnsiString& machine,
              const OdAnsiString& time, EFileType type);
  // Closes the file and deletes it (when no copy holds it any more), unless another process has put a
  // file of its own in its place; clears the path.
  void remove();
  [[nodiscard]] bool isOpened() const;
  const OdString& path() const { return m_path; }

 private:
  OdString m_path;
  std::shared_ptr<internal::LockHandle> m_handle;
};

// A document's lock: the document held open, and its "dwl" and "dwl2" information files.
//
// Copying: a copy of a locked FileLocker shares its lock. Neither can release it alone: unlock() on one
// of them only lets that one go, and the document stays locked, its information files in place, until
// the last of them unlocks, locks another document or is destroyed. So a copy never releases the lock
// that the first locker took. Moving hands the lock over and leaves the source unlocked.
class FileLocker {
 public:
  FileLocker();
  // Calls lock(path).
  explicit FileLocker(const OdString& path);
  FileLocker(const FileLocker&);
  FileLocker(FileLocker&&) noexcept;
  FileLocker& operator=(const FileLocker&);
  FileLocker& operator=(FileLocker&&) noexcept;
  // Releases a held lock as unlock() does.
  ~FileLocker();

  // Releases the lock this locker holds, then locks `path`: opens the document and writes its "dwl" and
  // "dwl2" files. False, with no information file written, when the document does not exist, may not be
  // written, or is locked already; a failure to write the information files still leaves it locked.
  [[nodiscard]] bool lock(const OdString& path);
  // Deletes the information files and lets the document go. True when no lock is held afterwards (also
  // when none was held).
  bool unlock();
  [[nodiscard]] bool isLocked() const;
  // Whether lock(path) would succeed now: false while this locker holds a lock, or when the document
  // cannot be opened for locking.
  [[nodiscard]] bool canLock(const OdString& path) const;

  // Same as hasDwl(path).
  [[nodiscard]] static bool isLocked(const OdString& path);
  // Whether the "dwl" file of `path` exists; false while `path` lies on a network share that does not
  // answer (isNetworkPathAvailable of ut_file.h).
  [[nodiscard]] static bool hasDwl(const OdString& path);
  // Whether the "dwl" file of `path` names another user, or the same user on another machine (names
  // compared ignoring case). False when there is no such file or it cannot be read.
  [[nodiscard]] static bool isLockedByOther(const OdString& path);
  // "user, machine" from the "dwl" file of `path` (only "user" when it has one line); false when it
  // cannot be read.
  static bool readLockInfo(const OdString& path, OdString& info);
  // readLockFileInfo of the "dwl" file of `path`.
  static bool readLockInfo(const OdString& path, OdString& user, OdString& machine, OdString& time);

 private:
  LockedFileHandle m_document;
  LockInfoFile m_dwl;
  LockInfoFile m_dwl2;
};

// The first three lines of the lock information file `infoFilePath` ("dwl" layout): user, machine and
// time, each set only when the file has that line. False when the file does not exist, cannot be read,
// or lies on a network share that does not answer.
bool readLockFileInfo(const OdString& infoFilePath, OdString& user, OdString& machine, OdString& time);

}  // namespace ut

#endif
