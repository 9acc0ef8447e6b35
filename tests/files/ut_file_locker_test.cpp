#include "ut_file_locker.h"

#include "test_support.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <tuple>

namespace {

namespace fs = std::filesystem;
using qxtest::fileBytes;
using ut::FileLocker;
using ut::LockInfoFile;

using qxtest::od;

fs::path writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

// A document "site plan.dwg" in a directory of its own, and its information files.
struct Document {
  qxtest::TempDir dir;
  fs::path path = writeFile(dir.path() / "site plan.dwg", "drawing");
  fs::path dwl = dir.path() / "site plan.dwl";
  OdString od() const { return ::od(path); }
  bool hasInfoFiles() const { return fs::exists(dwl) || fs::exists(dir.path() / "site plan.dwl2"); }
};

TEST(FileLockerTest, InformationFileTemplates) {
  const std::tuple<LockInfoFile::EFileType, const char*, std::string> rows[] = {
      {LockInfoFile::eDwl, "a.dwl", "anna\nPC7\nnow"},
      {LockInfoFile::eDwl2, "a.dwl2",
       "<?xml version=\"1.0\"?>\n<whprops>\n<username>anna</username>\n<machinename>PC7</machinename>\n"
       "<fullname></fullname>\n<datetime>now</datetime>\n</whprops>\n"},
      {LockInfoFile::eDbl, "a.dbl", "[UserInfo]\nUserName=anna\nMachine=PC7"}};
  qxtest::TempDir dir;
  LockInfoFile file;
  for (const auto& [type, name, bytes] : rows) {
    file.create(od(dir.path() / "a.dwg"), "anna", "PC7", "now", type);
    EXPECT_EQ(fileBytes(dir.path() / name), bytes);
  }
  EXPECT_FALSE(fs::exists(dir.path() / "a.dwl"));  // each create() removed the file before
  // A file put in the place of ours is someone else's: remove() leaves it.
  fs::rename(writeFile(dir.path() / "theirs", "theirs"), dir.path() / "a.dbl");
  file.remove();
  EXPECT_EQ(fileBytes(dir.path() / "a.dbl"), "theirs");
}

TEST(FileLockerTest, ALockHoldsAgainstEveryOtherLockAndTellsWhoHoldsIt) {
  Document doc;
  FileLocker locker;
  EXPECT_FALSE(locker.lock(od(doc.dir.path() / "missing.dwg")) || locker.lock(od(doc.dir.path())));
  EXPECT_EQ(std::distance(fs::directory_iterator(doc.dir.path()), {}), 1);  // the failed locks left nothing
  std::wstring windowsStyle = doc.path.wstring();  // "\" for the separator, "|" for the space
  std::replace(windowsStyle.begin(), windowsStyle.end(), L'/', L'\\');
  std::replace(windowsStyle.begin(), windowsStyle.end(), L' ', L'|');
  FileLocker holder(windowsStyle.c_str());
  OdAnsiString user, machine, time;
  EXPECT_TRUE(ut::getUserInfo(user, machine, time));
  // The time as the "C" locale writes "%A, %B %d, %Y %X"; the file for all to read, as the umask allows.
  EXPECT_TRUE(std::regex_match(fileBytes(doc.dwl),
                               std::regex(user.str() + "\n" + machine.str() +
                                          "\n[A-Z][a-z]+day, [A-Z][a-z]+ \\d\\d, \\d{4} [\\d:]{8}")));
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(fs::status(doc.dwl).permissions(), static_cast<fs::perms>(0666 & ~mask));
  EXPECT_FALSE(locker.canLock(doc.od()) || locker.lock(doc.od()) || locker.lock(od(doc.dwl)));
  EXPECT_EQ(fileBytes(doc.path), "drawing");  // readers still read
  EXPECT_TRUE(FileLocker::isLocked(doc.od()) && holder.unlock() && holder.unlock());
  EXPECT_EQ(std::distance(fs::directory_iterator(doc.dir.path()), {}), 1);  // only the document is left
  EXPECT_TRUE(locker.canLock(doc.od()));
}

TEST(FileLockerTest, ReadingTheInformation) {
  // Each row: the "dwl" file; readLockInfo's "info", and its three fields ("-" where the file has none).
  const std::tuple<std::string, OdString, OdString> rows[] = {
      {"anna\r\nPC7\r\nMonday\nmore", L"anna, PC7", L"anna|PC7|Monday"}, {"", L"", L"-|-|-"}};
  Document doc;
  for (const auto& [dwl, info, fields] : rows) {
    writeFile(doc.dwl, dwl);
    OdString read, user = L"-", machine = L"-", time = L"-";
    EXPECT_TRUE(FileLocker::readLockInfo(doc.od(), read) &&
                FileLocker::readLockInfo(doc.od(), user, machine, time));
    EXPECT_EQ(read, info);
    EXPECT_EQ(user + L"|" + machine + L"|" + time, fields);
  }
  // Held by another user, or by the same user on another machine; names compare ignoring case.
  OdAnsiString user, machine, time;
  (void)ut::getUserInfo(user, machine, time);
  std::string self = user.str() + "\n" + machine.str();
  std::transform(self.begin(), self.end(), self.begin(), [](unsigned char c) { return std::toupper(c); });
  for (const auto& [dwl, byOther] : {std::pair(self, false), std::pair("someone\n" + machine.str(), true),
                                     std::pair(user.str() + "\nanother", true)}) {
    writeFile(doc.dwl, dwl);
    EXPECT_EQ(FileLocker::isLockedByOther(doc.od()), byOther) << dwl;
  }
  fs::remove(doc.dwl);
  OdString kept = L"kept";
  EXPECT_FALSE(FileLocker::readLockInfo(doc.od(), kept) || FileLocker::isLockedByOther(doc.od()));
  EXPECT_EQ(kept, L"kept");
}

TEST(FileLockerTest, CopiesShareTheLock) {
  Document doc, other;
  FileLocker first(doc.od());
  FileLocker copy(first);
  EXPECT_TRUE(first.unlock());  // lets its own share go, no more
  EXPECT_FALSE(FileLocker().canLock(doc.od()));
  EXPECT_TRUE(doc.hasInfoFiles());
  copy = FileLocker(other.od());  // the last share goes: the document is free, its files gone
  EXPECT_FALSE(doc.hasInfoFiles());
  EXPECT_TRUE(FileLocker().canLock(doc.od()));
}

TEST(FileLockerProcessTest, AKilledHolderFreesTheDocumentAtOnce) {
  Document doc;
  qxtest::ChildProcess holder({QX_LOCK_CHILD_PATH, doc.path.string()});
  ASSERT_EQ(holder.read(), "locked");
  FileLocker locker;
  EXPECT_FALSE(locker.lock(doc.od()));
  fs::create_hard_link(doc.dwl, doc.dir.path() / "left");
  holder.kill();
  ASSERT_TRUE(locker.lock(doc.od()));
  EXPECT_FALSE(fs::equivalent(doc.dwl, doc.dir.path() / "left"));  // what the holder left is replaced
}

TEST(FileLockerProcessTest, TwoProcessesRacingNeverBothHoldTheLock) {
  Document doc;
  const fs::path counter = writeFile(doc.dir.path() / "counter", "0");
  const std::vector<std::string> args = {QX_LOCK_CHILD_PATH, doc.path.string(), counter.string(), "1000"};
  qxtest::ChildProcess first(args), second(args);
  qxtest::runSideBySide(first, second);
  EXPECT_EQ(first.wait() + second.wait(), 0);
  EXPECT_EQ(fileBytes(counter), "2000");  // no take overlapped another and lost its count
  EXPECT_FALSE(doc.hasInfoFiles());
}

}  // namespace
