#include "ut_file_locker.h"

#include "files/ut_file_p.h"
#include "test_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <regex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using qxtest::ChildProcess;
using qxtest::fileBytes;
using qxtest::TempDir;
using ut::FileLocker;
using ut::LockInfoFile;

OdString od(const fs::path& path) { return path.wstring().c_str(); }

fs::path writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

ino_t inodeOf(const fs::path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// A document "plan.dwg" in a fresh directory, with the names of its information files.
struct Document {
  TempDir dir;
  fs::path path = writeFile(dir.path() / "plan.dwg", "drawing");
  fs::path dwl = dir.path() / "plan.dwl";
  fs::path dwl2 = dir.path() / "plan.dwl2";
  OdString od() const { return ::od(path); }
  bool hasInfoFiles() const { return fs::exists(dwl) && fs::exists(dwl2); }
};

TEST(FileLockerTest, LockWritesTheInformationFilesAndUnlockDeletesThem) {
  Document doc;
  FileLocker locker;
  ASSERT_TRUE(locker.lock(doc.od()));
  EXPECT_TRUE(locker.isLocked());
  OdAnsiString user, machine, time;
  EXPECT_TRUE(ut::getUserInfo(user, machine, time));
  EXPECT_FALSE(user.isEmpty());
  // The time of the lock, as the "C" locale writes "%A, %B %d, %Y %X".
  const std::string dwl = fileBytes(doc.dwl);
  const std::smatch match = [&] {
    std::smatch m;
    std::regex_match(dwl, m, std::regex("([^\n]*)\n([^\n]*)\n([A-Z][a-z]+day, [A-Z][a-z]+ \\d\\d, \\d{4} \\d\\d:\\d\\d:\\d\\d)"));
    return m;
  }();
  ASSERT_FALSE(match.empty()) << dwl;
  EXPECT_EQ(match[1], user.str());
  EXPECT_EQ(match[2], machine.str());
  EXPECT_EQ(fileBytes(doc.dwl2), "<?xml version=\"1.0\"?>\n<whprops>\n<username>" + user.str() +
                                     "</username>\n<machinename>" + machine.str() +
                                     "</machinename>\n<fullname></fullname>\n<datetime>" + match[3].str() +
                                     "</datetime>\n</whprops>\n");
  // Shared information: everyone may read it, as far as the umask allows.
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(fs::status(doc.dwl).permissions(), static_cast<fs::perms>(0666 & ~mask));
  EXPECT_TRUE(locker.unlock());
  EXPECT_FALSE(locker.isLocked());
  EXPECT_FALSE(fs::exists(doc.dwl));
  EXPECT_FALSE(fs::exists(doc.dwl2));
  EXPECT_TRUE(locker.unlock());  // nothing held: nothing to do
  EXPECT_EQ(std::distance(fs::directory_iterator(doc.dir.path()), {}), 1);  // no temporary left either
}

TEST(FileLockerTest, InformationFileTemplates) {
  struct Row {
    LockInfoFile::EFileType type;
    const char* name;
    std::string bytes;
  };
  const Row rows[] = {
      {LockInfoFile::eDwl, "a.dwl", "anna\nPC7\nnow"},
      {LockInfoFile::eDwl2, "a.dwl2",
       "<?xml version=\"1.0\"?>\n<whprops>\n<username>anna</username>\n<machinename>PC7</machinename>\n"
       "<fullname></fullname>\n<datetime>now</datetime>\n</whprops>\n"},
      {LockInfoFile::eDbl, "a.dbl", "[UserInfo]\nUserName=anna\nMachine=PC7"},
  };
  TempDir dir;
  writeFile(dir.path() / "a.dwl", "left behind by a crash");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    LockInfoFile file;
    file.create(od(dir.path() / "a.dwg"), "anna", "PC7", "now", row.type);
    ASSERT_TRUE(file.isOpened());
    EXPECT_EQ(file.path(), od(dir.path() / row.name));
    EXPECT_EQ(fileBytes(dir.path() / row.name), row.bytes);
    file.remove();
    EXPECT_FALSE(file.isOpened());
    EXPECT_TRUE(file.path().isEmpty());
    EXPECT_FALSE(fs::exists(dir.path() / row.name));
  }
  // A file put in the place of ours by someone else is theirs: remove() leaves it.
  LockInfoFile file;
  file.create(od(dir.path() / "b.dwg"), "anna", "PC7", "now", LockInfoFile::eDwl);
  writeFile(dir.path() / "b.tmp", "theirs");
  fs::rename(dir.path() / "b.tmp", dir.path() / "b.dwl");
  file.remove();
  EXPECT_EQ(fileBytes(dir.path() / "b.dwl"), "theirs");
  // No name, no file.
  file.create(OdString(), "anna", "PC7", "now", LockInfoFile::eDwl);
  EXPECT_FALSE(file.isOpened());
  file.create(od(dir.path() / "missing" / "c.dwg"), "anna", "PC7", "now", LockInfoFile::eDwl);
  EXPECT_FALSE(file.isOpened());
}

TEST(FileLockerTest, ADocumentThatCannotBeLocked) {
  Document doc;
  TempDir empty;
  FileLocker locker;
  EXPECT_FALSE(locker.lock(od(empty.path() / "missing.dwg")));
  EXPECT_FALSE(locker.lock(od(empty.path())));
  EXPECT_TRUE(fs::is_empty(empty.path()));
  EXPECT_FALSE(locker.canLock(od(empty.path() / "missing.dwg")));
  if (geteuid() != 0) {  // root may write any file
    fs::permissions(doc.path, fs::perms::owner_read);
    EXPECT_FALSE(locker.canLock(doc.od()));
    EXPECT_FALSE(locker.lock(doc.od()));
    EXPECT_FALSE(doc.hasInfoFiles());
  }
}

TEST(FileLockerTest, ALockedDocumentIsHeldAgainstEveryOtherOpen) {
  Document doc;
  FileLocker holder(doc.od());
  ASSERT_TRUE(holder.isLocked());
  EXPECT_FALSE(holder.canLock(doc.od()));  // a locker that holds a lock cannot take another
  const ino_t dwl = inodeOf(doc.dwl);
  FileLocker other;
  EXPECT_FALSE(other.canLock(doc.od()));
  EXPECT_FALSE(other.lock(doc.od()));
  EXPECT_FALSE(other.isLocked());
  ut::LockedFileHandle handle;
  EXPECT_FALSE(handle.open(doc.od()));
  EXPECT_FALSE(handle.close());
  EXPECT_EQ(inodeOf(doc.dwl), dwl);  // the failed attempts left the holder's files alone
  EXPECT_EQ(fileBytes(doc.path), "drawing");  // readers still read
  EXPECT_TRUE(FileLocker::isLocked(doc.od()));
  EXPECT_FALSE(FileLocker::isLockedByOther(doc.od()));
  holder.unlock();
  EXPECT_TRUE(other.canLock(doc.od()));
  EXPECT_FALSE(FileLocker::hasDwl(doc.od()));
  ASSERT_TRUE(handle.open(doc.od()));
  EXPECT_TRUE(handle.isOpened());
  EXPECT_TRUE(handle.close());
  EXPECT_FALSE(handle.isOpened());
}

TEST(FileLockerTest, PathsAreCorrectedBeforeUse) {
  TempDir dir;
  const fs::path document = writeFile(dir.path() / "site plan.dwg", "drawing");
  std::wstring windowsStyle = document.wstring();
  std::replace(windowsStyle.begin(), windowsStyle.end(), L'/', L'\\');
  windowsStyle.replace(windowsStyle.rfind(L' '), 1, L"|");  // "|" stands for a space
  FileLocker locker;
  ASSERT_TRUE(locker.lock(windowsStyle.c_str()));
  EXPECT_TRUE(fs::exists(dir.path() / "site plan.dwl"));
  EXPECT_FALSE(FileLocker().canLock(od(document)));
  EXPECT_TRUE(FileLocker::hasDwl(windowsStyle.c_str()));
  EXPECT_EQ(LockInfoFile::pathFor(windowsStyle.c_str(), LockInfoFile::eDwl2), od(dir.path() / "site plan.dwl2"));
}

TEST(FileLockerTest, ReadingTheInformation) {
  struct Row {
    std::string dwl;
    OdString info;
    OdString user, machine, time;
  };
  const Row rows[] = {
      {"anna\nPC7\nMonday", L"anna, PC7", L"anna", L"PC7", L"Monday"},
      {"anna\r\nPC7\r\n", L"anna, PC7", L"anna", L"PC7", L"(kept)"},
      {"anna", L"anna", L"anna", L"(kept)", L"(kept)"},
      {"", L"", L"(kept)", L"(kept)", L"(kept)"},
      {"J\xC3\xBCrgen\nPC7\nt\nextra", L"J\u00FCrgen, PC7", L"J\u00FCrgen", L"PC7", L"t"},
  };
  Document doc;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.dwl);
    writeFile(doc.dwl, row.dwl);
    OdString info, user = L"(kept)", machine = L"(kept)", time = L"(kept)";
    EXPECT_TRUE(FileLocker::readLockInfo(doc.od(), info));
    EXPECT_EQ(info, row.info);
    EXPECT_TRUE(FileLocker::readLockInfo(doc.od(), user, machine, time));
    EXPECT_EQ(user, row.user);
    EXPECT_EQ(machine, row.machine);
    EXPECT_EQ(time, row.time);
  }
  fs::remove(doc.dwl);
  OdString info = L"(kept)", user = L"(kept)";
  EXPECT_FALSE(FileLocker::readLockInfo(doc.od(), info));
  EXPECT_FALSE(ut::readLockFileInfo(od(doc.dwl), user, user, user));
  EXPECT_FALSE(ut::readLockFileInfo(od(doc.dir.path()), user, user, user));
  EXPECT_EQ(info, L"(kept)");
  EXPECT_EQ(user, L"(kept)");
}

TEST(FileLockerTest, LockedByOtherComparesUserAndMachineIgnoringCase) {
  OdAnsiString user, machine, time;
  (void)ut::getUserInfo(user, machine, time);
  const auto upper = [](std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
  };
  struct Row {
    std::string dwl;
    bool byOther;
  };
  const Row rows[] = {
      {upper(user.str()) + "\n" + upper(machine.str()) + "\nt", false},
      {"someone-else\n" + machine.str() + "\nt", true},
      {user.str() + "\nanother-machine\nt", true},
      {user.str(), true},
  };
  Document doc;
  EXPECT_FALSE(FileLocker::isLockedByOther(doc.od()));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.dwl);
    writeFile(doc.dwl, row.dwl);
    EXPECT_EQ(FileLocker::isLockedByOther(doc.od()), row.byOther);
  }
}

TEST(FileLockerTest, CopiesShareTheLockAndMovesHandItOver) {
  Document doc;
  FileLocker first(doc.od());
  FileLocker copy(first);
  EXPECT_TRUE(copy.isLocked());
  EXPECT_TRUE(first.unlock());
  EXPECT_FALSE(first.isLocked());
  EXPECT_FALSE(first.lock(doc.od()));  // the copy still holds it
  EXPECT_TRUE(doc.hasInfoFiles());
  FileLocker moved(std::move(copy));
  EXPECT_FALSE(copy.isLocked());
  EXPECT_TRUE(moved.isLocked());
  copy = moved;
  moved = FileLocker();
  EXPECT_TRUE(doc.hasInfoFiles());
  EXPECT_FALSE(FileLocker().canLock(doc.od()));
  // Assigning to a locker lets its own lock go first; the last share releases it.
  Document other;
  copy = FileLocker(other.od());
  EXPECT_FALSE(doc.hasInfoFiles());
  EXPECT_TRUE(FileLocker().canLock(doc.od()));
  EXPECT_TRUE(other.hasInfoFiles());
  // Locking another document releases the first.
  ASSERT_TRUE(copy.lock(doc.od()));
  EXPECT_FALSE(other.hasInfoFiles());
  EXPECT_TRUE(FileLocker().canLock(other.od()));
}

// The network share's server does not answer: lock information on it counts as absent.
TEST(FileLockerTest, InformationOnASilentShareCountsAsAbsent) {
  Document doc;
  FileLocker locker(doc.od());
  ASSERT_TRUE(locker.isLocked());
  const auto release = std::make_shared<std::promise<void>>();
  ut::internal::NetworkRootSettings settings;
  settings.mountTable = [root = od(doc.dir.path())] {
    return std::make_shared<const ut::platform::MountTable>(ut::platform::MountTable{{L"/", false}, {root, true}});
  };
  settings.probe = [wait = release->get_future().share()](const OdString&) { wait.wait(); };
  settings.probeTimeout = std::chrono::milliseconds(1);
  ut::internal::setNetworkRootSettings(settings);
  {
    qxtest::Reports reports;
    EXPECT_FALSE(FileLocker::hasDwl(doc.od()));
    OdString user;
    EXPECT_FALSE(FileLocker::readLockInfo(doc.od(), user, user, user));
    EXPECT_FALSE(FileLocker::isLockedByOther(doc.od()));
    EXPECT_EQ(reports.lines().size(), 1u);
  }
  release->set_value();
  ut::internal::setNetworkRootSettings({});
  EXPECT_TRUE(FileLocker::hasDwl(doc.od()));
}

// Real processes: the lock holds against another process, and dies with its holder.
TEST(FileLockerProcessTest, AKilledHolderFreesTheDocumentAtOnce) {
  Document doc;
  ChildProcess holder({QX_LOCK_CHILD_PATH, "hold", doc.path.string()});
  ASSERT_EQ(holder.read(), "locked");
  FileLocker locker;
  EXPECT_FALSE(locker.canLock(doc.od()));
  EXPECT_FALSE(locker.lock(doc.od()));
  EXPECT_TRUE(FileLocker::hasDwl(doc.od()));
  const ino_t left = inodeOf(doc.dwl);
  holder.kill();
  EXPECT_TRUE(doc.hasInfoFiles());  // left behind
  ASSERT_TRUE(locker.lock(doc.od()));
  EXPECT_NE(inodeOf(doc.dwl), left);  // and replaced
  locker.unlock();
  EXPECT_FALSE(doc.hasInfoFiles());
  // A holder that lets go on its own.
  ChildProcess polite({QX_LOCK_CHILD_PATH, "hold", doc.path.string()});
  ASSERT_EQ(polite.read(), "locked");
  polite.writeLine("release");
  EXPECT_EQ(polite.read(), "unlocked");
  EXPECT_EQ(polite.wait(), 0);
  EXPECT_FALSE(doc.hasInfoFiles());
  EXPECT_TRUE(locker.canLock(doc.od()));
}

TEST(FileLockerProcessTest, TwoProcessesRacingNeverBothHoldTheLock) {
  constexpr int kTimes = 1000;
  Document doc;
  const fs::path counter = writeFile(doc.dir.path() / "counter", "0");
  const std::vector<std::string> args = {QX_LOCK_CHILD_PATH, "race", doc.path.string(), counter.string(),
                                         std::to_string(kTimes)};
  ChildProcess first(args), second(args);
  qxtest::runSideBySide(first, second);
  EXPECT_EQ(first.wait(), 0);
  EXPECT_EQ(second.wait(), 0);
  EXPECT_EQ(fileBytes(counter), std::to_string(2 * kTimes));  // no increment lost to an overlap
  EXPECT_FALSE(doc.hasInfoFiles());
}

}  // namespace
