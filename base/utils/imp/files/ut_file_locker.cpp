#include "ut_file_locker.h"

#include "core/ut_nocase.h"
#include "platform/files.h"
#include "platform/locks.h"
#include "platform/system.h"
#include "platform/text.h"
#include "ut_file.h"
#include "ut_filename.h"
#include "ut_string.h"
#include "ut_text_file.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace ut {

namespace internal {

// An open document or information file, shared by the copies of the object that opened it. Letting it
// go closes it and, for an information file, deletes the file.
class LockHandle {
 public:
  LockHandle(platform::NativeHandle handle, OdString infoFile)
      : m_handle(handle), m_infoFile(std::move(infoFile)) {}
  ~LockHandle() { (void)letGo(); }
  LockHandle(const LockHandle&) = delete;
  LockHandle& operator=(const LockHandle&) = delete;

  bool letGo() {
    const platform::NativeHandle handle = std::exchange(m_handle, platform::kNoHandle);
    if (handle == platform::kNoHandle) return true;
    return m_infoFile.isEmpty() ? platform::closeHandle(handle)
                                : platform::removeLockInfoFile(handle, m_infoFile);
  }

 private:
  platform::NativeHandle m_handle;
  const OdString m_infoFile;
};

}  // namespace internal

namespace {

using HandleShare = std::shared_ptr<internal::LockHandle>;

// Drops this object's share of `handle`; the last share lets the file go. False when that fails.
bool dropShare(HandleShare& handle) {
  const HandleShare share = std::move(handle);
  return share.use_count() > 1 || share->letGo();
}

constexpr const wchar_t* kExtensions[] = {L"dwl", L"dwl2", L"dbl"};

constexpr std::string_view kTemplates[] = {
    "%s\n%s\n%s",
    "<?xml version=\"1.0\"?>\n"
    "<whprops>\n"
    "<username>%s</username>\n"
    "<machinename>%s</machinename>\n"
    "<fullname></fullname>\n"
    "<datetime>%s</datetime>\n"
    "</whprops>\n",
    "[UserInfo]\nUserName=%s\nMachine=%s",
};

// `text` with each "%s" replaced by the next of `values`, as sprintf would, without reading the values as
// formats.
std::string fill(std::string_view text, std::initializer_list<std::string_view> values) {
  std::string out;
  auto value = values.begin();
  for (size_t at; value != values.end() && (at = text.find("%s")) != std::string_view::npos; ++value) {
    out.append(text.substr(0, at)).append(*value);
    text.remove_prefix(at + 2);
  }
  return out.append(text);
}

// Appends the lines of an information file; false when it cannot be read or its share does not answer.
bool readInfoLines(const OdString& infoFile, OdArray<OdString>& lines) {
  const OdString file = platform::correctPathSeparators(infoFile);
  return !file.isEmpty() && isNetworkPathAvailable(file) && readTextFileContent(lines, file);
}

}  // namespace

bool getUserInfo(OdAnsiString& user, OdAnsiString& machine, OdAnsiString& time) {
  user = convertToAnsi(platform::loginName(), platform::kAnsiCodePage);
  machine = convertToAnsi(platform::hostName(), platform::kAnsiCodePage);
  time = OdAnsiString(platform::formatLocalTime("%A, %B %d, %Y %X"));
  return true;
}

// --- LockedFileHandle ----------------------------------------------------------------------------------

bool LockedFileHandle::open(const OdString& path) {
  close();
  m_path = platform::correctPathSeparators(path);
  const platform::NativeHandle handle = platform::openLockedDocument(m_path);
  if (handle != platform::kNoHandle) m_handle = std::make_shared<internal::LockHandle>(handle, OdString());
  return isOpened();
}

bool LockedFileHandle::close() { return m_handle && dropShare(m_handle); }

bool LockedFileHandle::isOpened() const { return m_handle != nullptr; }

// --- LockInfoFile --------------------------------------------------------------------------------------

OdString LockInfoFile::pathFor(const OdString& documentPath, EFileType type) {
  if (documentPath.isEmpty() || type < eDwl || type > eDbl) return OdString();
  FileName name(platform::correctPathSeparators(documentPath));
  name.setExt(kExtensions[type]);
  return name.getFullPath();
}

void LockInfoFile::create(const OdString& documentPath, const OdAnsiString& user, const OdAnsiString& machine,
                          const OdAnsiString& time, EFileType type) {
  remove();
  m_path = pathFor(documentPath, type);
  if (m_path.isEmpty()) return;
  const platform::NativeHandle handle =
      platform::createLockInfoFile(m_path, fill(kTemplates[type], {user.str(), machine.str(), time.str()}));
  if (handle != platform::kNoHandle) m_handle = std::make_shared<internal::LockHandle>(handle, m_path);
}

void LockInfoFile::remove() {
  if (m_handle) (void)dropShare(m_handle);
  m_path.empty();
}

bool LockInfoFile::isOpened() const { return m_handle != nullptr; }

// --- FileLocker ----------------------------------------------------------------------------------------

FileLocker::FileLocker() = default;

FileLocker::FileLocker(const OdString& path) { (void)lock(path); }

FileLocker::FileLocker(const FileLocker&) = default;

FileLocker::FileLocker(FileLocker&&) noexcept = default;

FileLocker& FileLocker::operator=(const FileLocker& other) {
  if (this != &other) {
    unlock();
    m_document = other.m_document;
    m_dwl = other.m_dwl;
    m_dwl2 = other.m_dwl2;
  }
  return *this;
}

FileLocker& FileLocker::operator=(FileLocker&& other) noexcept {
  if (this != &other) {
    unlock();
    m_document = std::move(other.m_document);
    m_dwl = std::move(other.m_dwl);
    m_dwl2 = std::move(other.m_dwl2);
  }
  return *this;
}

FileLocker::~FileLocker() { unlock(); }

// The document is opened before the user's information is gathered, so that a lock that fails costs
// little: processes that race for a document try it often.
bool FileLocker::lock(const OdString& path) {
  unlock();
  if (!m_document.open(path)) return false;
  OdAnsiString user, machine, time;
  getUserInfo(user, machine, time);
  m_dwl.create(m_document.path(), user, machine, time, LockInfoFile::eDwl);
  m_dwl2.create(m_document.path(), user, machine, time, LockInfoFile::eDwl2);
  return m_document.isOpened();
}

// The information files go first: once the document is free, another process may lock it at once and
// write files of its own, which must not be deleted here.
bool FileLocker::unlock() {
  if (!m_document.isOpened()) return true;
  m_dwl.remove();
  m_dwl2.remove();
  m_document.close();
  return !m_document.isOpened();
}

bool FileLocker::isLocked() const { return m_document.isOpened(); }

bool FileLocker::canLock(const OdString& path) const {
  LockedFileHandle probe;
  return !isLocked() && probe.open(path) && probe.close();
}

bool FileLocker::isLocked(const OdString& path) { return hasDwl(path); }

bool FileLocker::hasDwl(const OdString& path) {
  const OdString dwl = LockInfoFile::pathFor(path, LockInfoFile::eDwl);
  return !dwl.isEmpty() && isNetworkPathAvailable(dwl) && FileName::fileExists(dwl);
}

bool FileLocker::isLockedByOther(const OdString& path) {
  OdString user, machine, time;
  if (!readLockInfo(path, user, machine, time)) return false;
  return !internal::equalNoCase(user.view(), platform::loginName().view()) ||
         !internal::equalNoCase(machine.view(), platform::hostName().view());
}

bool FileLocker::readLockInfo(const OdString& path, OdString& info) {
  OdArray<OdString> lines;
  if (!readInfoLines(LockInfoFile::pathFor(path, LockInfoFile::eDwl), lines)) return false;
  info = lines.isEmpty() ? OdString() : lines[0];
  if (lines.size() > 1) info += L", " + lines[1];
  return true;
}

bool FileLocker::readLockInfo(const OdString& path, OdString& user, OdString& machine, OdString& time) {
  return readLockFileInfo(LockInfoFile::pathFor(path, LockInfoFile::eDwl), user, machine, time);
}

bool readLockFileInfo(const OdString& infoFilePath, OdString& user, OdString& machine, OdString& time) {
  OdArray<OdString> lines;
  if (!readInfoLines(infoFilePath, lines)) return false;
  OdString* const fields[] = {&user, &machine, &time};
  for (size_t i = 0; i < lines.size() && i < std::size(fields); ++i) *fields[i] = lines[i];
  return true;
}

}  // namespace ut
