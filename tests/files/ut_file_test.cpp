#include "ut_file.h"
#include "ut_file_locker.h"
#include "ut_system.h"
#include "ut_text_file.h"

#include "files/ut_file_p.h"
#include "platform/posix/files_posix.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

namespace fs = std::filesystem;
using qxtest::od;
using qxtest::TempDir;
using qxtest::writeFile;

std::string read(const OdString& path) {
  std::string bytes;
  EXPECT_TRUE(ut::readEntireFile(path, bytes));
  return bytes;
}

TEST(FileTest, OpenModesAndWholeFiles) {
  TempDir dir;
  const OdString path = od(dir.path() / "f.bin");
  EXPECT_FALSE(ut::File(path, ut::File::eRead).isOpened() || ut::File(path, ut::File::eReadWrite).isOpened());
  EXPECT_TRUE(ut::File(path, ut::File::eWrite).write(std::string("ab\0c", 4)));
  EXPECT_TRUE(ut::File(path, ut::File::eAppend).write("de"));
  {
    ut::File file(path, ut::File::eReadWrite);
    EXPECT_EQ(file.length(), 6);
    ASSERT_TRUE(file.seek(1));
    EXPECT_TRUE(file.write("X"));
  }
  ut::File file(path, ut::File::eRead);
  char buffer[16];
  EXPECT_EQ(file.read(buffer, sizeof buffer), 6);
  EXPECT_EQ(file.read(buffer, sizeof buffer), 0);
  EXPECT_FALSE(file.write("no"));
  EXPECT_TRUE(file.close());
  EXPECT_EQ(file.read(buffer, sizeof buffer), -1);
  EXPECT_EQ(read(path), std::string("aX\0cde", 6));
  EXPECT_FALSE(ut::File(od(dir.path()), ut::File::eRead).isOpened());
  // Whole files, of any size, and the ways to fail at them.
  const std::string bytes(200000, '\xA5');
  EXPECT_TRUE(ut::writeEntireFile(path, bytes));
  EXPECT_EQ(read(path), bytes);
  std::string kept = "kept";
  EXPECT_FALSE(ut::readEntireFile(od(dir.path() / "missing"), kept));
  EXPECT_FALSE(ut::readEntireFile(od(dir.path()), kept));
  EXPECT_EQ(kept, "kept");
  EXPECT_FALSE(ut::writeEntireFile(od(dir.path() / "no" / "such" / "dir"), "x"));
}

TEST(FileTest, CopyRenameRemoveAccessAndExistence) {
  TempDir dir;
  const OdString a = writeFile(dir.path() / "a.txt", "first");
  const OdString b = writeFile(dir.path() / "b.txt", "second");
  const OdString c = od(dir.path() / "c.txt");
  EXPECT_FALSE(ut::copyFile(a, b, false));
  EXPECT_EQ(read(b), "second");
  EXPECT_TRUE(ut::copyFile(a, b));
  EXPECT_EQ(read(b), "first");
  EXPECT_FALSE(ut::copyFile(od(dir.path()), c));
  EXPECT_TRUE(ut::renameFile(b, c));
  EXPECT_FALSE(fs::exists(b.c_str()));
  EXPECT_FALSE(ut::renameFile(a, c, false));
  EXPECT_TRUE(ut::removeFile(c));
  EXPECT_FALSE(ut::removeFile(c) || ut::removeFile(od(dir.path())));
  // Access and existence.
  const OdString file = writeFile(dir.path() / "f.txt", "x");
  EXPECT_TRUE(ut::accessFile(file, ut::eAccessReadWrite));
  EXPECT_TRUE(ut::accessFile(od(dir.path()), ut::eAccessExists));
  EXPECT_FALSE(ut::accessFile(od(dir.path() / "none"), ut::eAccessExists));
  EXPECT_FALSE(ut::accessFile(L"", ut::eAccessExists));
  EXPECT_TRUE(ut::dirExists(od(dir.path())) && !ut::dirExists(file));

  qxtest::ScopedEnv home("HOME", dir.path().string());
  qxtest::ScopedEnv variable("QX_TEST_DIR", dir.path().string());
  OdString expanded;
  EXPECT_TRUE(ut::expandedFileExists(L"$QX_TEST_DIR/f.txt", &expanded));
  EXPECT_EQ(expanded, file);
  EXPECT_TRUE(ut::expandedFileExists(L"~/f.txt") && ut::expandedFileExists(L"${QX_TEST_DIR}/f.txt"));
  EXPECT_FALSE(ut::expandedFileExists(L"$QX_TEST_DIR"));  // a directory
  EXPECT_FALSE(ut::expandedFileExists(L""));

  const OdArray<OdString> dirs{od(dir.path() / "none"), file, od(dir.path())};
  EXPECT_EQ(ut::firstAccessibleDir(dirs), od(dir.path()));
  EXPECT_EQ(ut::firstAccessibleDir(OdArray<OdString>{file}), L"");
}

TEST(FileTest, AppendFolderJoinsWithOneSeparator) {
  const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> cases[] = {
      {L"/a", L"b", L"/a/b/"}, {L"/a/", L"b", L"/a/b/"}, {L"/a/", L"/b/", L"/a/b/"},
      {L"", L"b", L"b/"},      {L"/a", L"", L"/a/"},     {L"", L"", L"/"}};
  for (const auto& [path, folder, joined] : cases)
    EXPECT_EQ(ut::appendFolder(path, folder), joined)
        << testing::PrintToString(OdString(path)) << " " << testing::PrintToString(OdString(folder));
}

TEST(FileTest, ContentComparisons) {
  TempDir dir;
  // Each row: two files' bytes; whether they are equal, equal ignoring case, and equal once sorted.
  const std::tuple<std::string, std::string, bool, bool, bool> cases[] = {
      {"a\nb\n", "a\nb\n", true, true, true},       {"a\nb\n", "a\r\nb", false, true, true},
      {"A\nb\n", "a\nB\n", false, true, false},     {"a\nb\n", "b\na\n", false, false, true},
      {"a\nb\n", "a\nb\nc\n", false, false, false}, {"", "", true, true, true}};
  for (const auto& [first, second, equal, noCase, afterSort] : cases) {
    SCOPED_TRACE(testing::PrintToString(first) + " " + testing::PrintToString(second));
    const OdString a = writeFile(dir.path() / "a", first), b = writeFile(dir.path() / "b", second);
    EXPECT_EQ(ut::filesAreEqual(a, b), equal);
    EXPECT_EQ(ut::filesAreEqualNoCase(a, b), noCase);
    EXPECT_EQ(ut::filesAreEqualAfterSort(a, b), afterSort);
  }
  const OdString missing = od(dir.path() / "missing");
  EXPECT_FALSE(ut::filesAreEqual(missing, missing) || ut::filesAreEqualNoCase(missing, missing) ||
               ut::filesAreEqualAfterSort(missing, missing));
}

TEST(DirTest, ListsEntriesByPattern) {
  TempDir dir;
  for (const char* name : {"a.dwg", "b.dwg", "c.txt", "sub/d.dwg", ".hidden.dwg"})
    writeFile(dir.path() / name, "x");
  ut::Dir listing(od(dir.path()));
  ASSERT_TRUE(listing.isOpened());
  std::vector<std::wstring> names;
  OdString name;
  for (bool more = listing.getFirst(name, L"*.dwg", ut::Dir::eFiles); more; more = listing.getNext(name))
    names.push_back(name.str());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::wstring>{L"a.dwg", L"b.dwg"}));
  EXPECT_TRUE(listing.getFirst(name, L"s*", ut::Dir::eDirs));
  EXPECT_EQ(name, L"sub");

  OdArray<OdString> paths;
  EXPECT_EQ(ut::Dir::getAllFiles(od(dir.path()), paths, L"*.dwg"), 4u);
  EXPECT_EQ(ut::Dir::getAllFiles(od(dir.path()), paths, L"*.dwg", false), 3u);
  EXPECT_FALSE(ut::Dir(od(dir.path() / "none")).isOpened());
  EXPECT_EQ(ut::Dir::getAllFiles(od(dir.path() / "none"), paths), 0u);
}

TEST(SystemTest, ExecutableAndConfigurationFolders) {
  const OdString folder = ut::getExecutableFolder();
  ASSERT_FALSE(folder.isEmpty());
  EXPECT_EQ(folder[folder.getLength() - 1], L'/');
  EXPECT_TRUE(fs::exists(fs::path(folder.c_str()) / "ut_file_test"));
  qxtest::ScopedEnv config("XDG_CONFIG_HOME", "/somewhere");
  EXPECT_EQ(ut::getUserConfigDir(), L"/somewhere/Korvani/");
}

// --- Network roots ---------------------------------------------------------------------------------------

class NetworkRootTest : public testing::Test {
 protected:
  // The test's directory as a network share, with a local disk mounted inside it. Its server answers at
  // once or, when `silent`, once serverBack() is called; the clock moves when advance() moves it.
  void install(bool silent, std::chrono::milliseconds probeTimeout) {
    ut::internal::NetworkRootSettings settings;
    settings.mountTable = [share = share()] {
      return std::make_shared<const ut::platform::MountTable>(
          ut::platform::MountTable{{L"/", false}, {share, true}, {share + L"/disk", false}});
    };
    settings.probe = [asked = m_asked, back = m_back.get_future().share()](const OdString&) {
      ++*asked;
      back.wait();
    };
    settings.now = [elapsed = m_elapsed] {
      return std::chrono::steady_clock::time_point(std::chrono::seconds(*elapsed));
    };
    settings.probeTimeout = probeTimeout;
    ut::internal::setNetworkRootSettings(settings);
    if (!silent) serverBack();
  }
  void serverBack() { m_back.set_value(); }
  // A probe still waiting is let go when the promise goes.
  void TearDown() override { ut::internal::setNetworkRootSettings({}); }
  void advance(std::chrono::seconds by) { *m_elapsed += by.count(); }
  OdString share() const { return od(m_share.path()); }

  TempDir m_share;
  std::shared_ptr<std::atomic<int>> m_asked = std::make_shared<std::atomic<int>>(0);

 private:
  std::promise<void> m_back;
  std::shared_ptr<std::atomic<long long>> m_elapsed = std::make_shared<std::atomic<long long>>(0);
};

TEST_F(NetworkRootTest, OnlyPathsOnAShareAskItsServerWhichIsTrustedForTenSeconds) {
  install(false, std::chrono::seconds(60));
  // Each row: seconds since the row before, a path, and how many probes have been made after it.
  const std::tuple<int, OdString, int> cases[] = {
      {0, share() + L"2/plan.dwg", 0},   {0, share() + L"/disk/plan.dwg", 0},
      {0, share() + L"/../plan.dwg", 0}, {0, share(), 1},
      {9, share() + L"/plan.dwg", 1},    {1, share() + L"/./disk/../plan.dwg", 2}};
  for (const auto& [seconds, path, asked] : cases) {
    advance(std::chrono::seconds(seconds));
    EXPECT_TRUE(ut::isNetworkPathAvailable(path));
    EXPECT_EQ(*m_asked, asked) << testing::PrintToString(path);
  }
}

TEST_F(NetworkRootTest, ASilentShareIsReportedAndIgnoredForFiveMinutes) {
  install(true, std::chrono::milliseconds(20));
  const OdString path = writeFile(m_share.path() / "plan.dwl", "anna\nPC7\nnow");
  qxtest::Reports reports;
  std::atomic<int> available = 0;
  std::vector<std::thread> callers;  // callers at once share one probe and one report
  for (int i = 0; i < 4; ++i) callers.emplace_back([&] { available += ut::isNetworkPathAvailable(path); });
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(available, 0);
  EXPECT_EQ(reports.lines(),
            std::vector<std::string>{"ut::isNetworkPathAvailable: The network path with root directory '" +
                                     m_share.path().string() +
                                     "' is not available at the moment and will be ignored "
                                     "for the next 5 minute(s) or until restart."});
  // Lock information on it counts as absent.
  OdString user;
  EXPECT_FALSE(ut::FileLocker::hasDwl(share() + L"/plan.dwg") ||
               ut::readLockFileInfo(path, user, user, user));
  advance(std::chrono::seconds(299));
  EXPECT_FALSE(ut::isNetworkPathAvailable(path));
  // Five minutes on, the first probe still hangs: the share is marked again without a second thread.
  advance(std::chrono::seconds(1));
  EXPECT_FALSE(ut::isNetworkPathAvailable(path));
  EXPECT_EQ(reports.lines().size(), 2u);
  // The server is back; its late answer counts once the period is over (the probe's thread may need a
  // moment to take it in).
  serverBack();
  EXPECT_FALSE(ut::isNetworkPathAvailable(path));
  do advance(std::chrono::minutes(5));
  while (!ut::isNetworkPathAvailable(path));
  EXPECT_EQ(*m_asked, 1);
}

TEST(MountTableTest, ReadsMountPointsAndTellsNetworkFileSystems) {
  std::wstring found;
  for (const auto& mount :
       ut::platform::posix::parseMountInfo("27 1 254:1 / / rw shared:1 - ext4 /dev/vda rw\n"
                                           "40 27 0:40 / /mnt/a\\040b rw shared:5 master:2 - nfs4 srv:/a rw\n"
                                           "42 27 0:42 / /mnt/\\303\\274 rw - fuse.sshfs ann@srv: rw\n"
                                           "46 27 0:46 / /mnt/\\377 rw - nfs s:/x rw\n"
                                           "47 27 0:47 / /mnt/last rw - tmpfs tmpfs rw")) {
    found += mount.path.str() + (mount.network ? L"* " : L" ");
  }
  EXPECT_EQ(found, L"/ /mnt/a b* /mnt/\u00FC* /mnt/last ");
  // The process's own table stays the same table while nothing is mounted.
  const auto own = ut::platform::mountTable();
  EXPECT_TRUE(!own->empty() && ut::platform::mountTable() == own);
}

}  // namespace
