#include "ut_file.h"
#include "ut_system.h"
#include "ut_text_file.h"

#include "files/ut_file_p.h"
#include "platform/posix/files_posix.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

namespace fs = std::filesystem;
using qxtest::TempDir;

OdString od(const fs::path& path) { return path.wstring().c_str(); }

OdString write(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
  return od(path);
}

std::string read(const OdString& path) {
  std::string bytes;
  EXPECT_TRUE(ut::readEntireFile(path, bytes));
  return bytes;
}

TEST(FileTest, OpenModesAndWholeFiles) {
  TempDir dir;
  const OdString path = od(dir.path() / "f.bin");
  EXPECT_FALSE(ut::File(path, ut::File::eRead).isOpened());
  EXPECT_FALSE(ut::File(path, ut::File::eReadWrite).isOpened());
  EXPECT_TRUE(ut::File(path, ut::File::eWrite).write(std::string("ab\0c", 4)));
  EXPECT_TRUE(ut::File(path, ut::File::eAppend).write("de"));
  EXPECT_EQ(read(path), std::string("ab\0cde", 6));
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
  const OdString a = write(dir.path() / "a.txt", "first");
  const OdString b = write(dir.path() / "b.txt", "second");
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
  EXPECT_FALSE(ut::removeFile(c));
  EXPECT_FALSE(ut::removeFile(od(dir.path())));
  // Access and existence.
  const OdString file = write(dir.path() / "f.txt", "x");
  EXPECT_TRUE(ut::accessFile(file, ut::eAccessReadWrite));
  EXPECT_TRUE(ut::accessFile(od(dir.path()), ut::eAccessExists));
  EXPECT_FALSE(ut::accessFile(od(dir.path() / "none"), ut::eAccessExists));
  EXPECT_FALSE(ut::accessFile(L"", ut::eAccessExists));
  EXPECT_TRUE(ut::dirExists(od(dir.path())));
  EXPECT_FALSE(ut::dirExists(file));

  qxtest::ScopedEnv home("HOME", dir.path().string());
  qxtest::ScopedEnv variable("QX_TEST_DIR", dir.path().string());
  OdString expanded;
  EXPECT_TRUE(ut::expandedFileExists(L"$QX_TEST_DIR/f.txt", &expanded));
  EXPECT_EQ(expanded, file);
  EXPECT_TRUE(ut::expandedFileExists(L"~/f.txt"));
  EXPECT_TRUE(ut::expandedFileExists(L"${QX_TEST_DIR}/f.txt"));
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
    const OdString a = write(dir.path() / "a", first), b = write(dir.path() / "b", second);
    EXPECT_EQ(ut::filesAreEqual(a, b), equal);
    EXPECT_EQ(ut::filesAreEqualNoCase(a, b), noCase);
    EXPECT_EQ(ut::filesAreEqualAfterSort(a, b), afterSort);
  }
  const OdString missing = od(dir.path() / "missing");
  EXPECT_FALSE(ut::filesAreEqual(missing, missing));
  EXPECT_FALSE(ut::filesAreEqualNoCase(missing, missing));
  EXPECT_FALSE(ut::filesAreEqualAfterSort(missing, missing));
}

TEST(DirTest, ListsEntriesByPattern) {
  TempDir dir;
  for (const char* name : {"a.dwg", "b.dwg", "c.txt", "sub/d.dwg", ".hidden.dwg"})
    write(dir.path() / name, "x");
  ut::Dir listing(od(dir.path()));
  ASSERT_TRUE(listing.isOpened());
  std::vector<std::wstring> names;
  OdString name;
  for (bool more = listing.getFirst(name, L"*.dwg", ut::Dir::eFiles); more; more = listing.getNext(name)) {
    names.push_back(name.str());
  }
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

// Shares that the test makes up: where they are mounted, whether their server answers, and the time.
class NetworkRootTest : public testing::Test {
 protected:
  using Clock = ut::internal::NetworkRootSettings::Clock;

  void SetUp() override { install(std::chrono::seconds(60)); }

  void TearDown() override {
    answer();
    std::unique_lock lock(m_server->mutex);
    m_server->changed.wait(lock, [this] { return m_server->answered == m_server->asked; });
    lock.unlock();
    ut::internal::setNetworkRootSettings({});
  }

  // The local root, a share on /net, and a local disk mounted inside the share.
  void install(std::chrono::milliseconds probeTimeout) {
    ut::internal::NetworkRootSettings settings;
    settings.mountTable = [] {
      return std::make_shared<const ut::platform::MountTable>(
          ut::platform::MountTable{{L"/", false}, {L"/net", true}, {L"/net/disk", false}});
    };
    settings.probe = [server = m_server](const OdString&) {
      std::unique_lock lock(server->mutex);
      ++server->asked;
      server->changed.wait(lock, [&] { return !server->silent; });
      ++server->answered;
      server->changed.notify_all();
    };
    settings.now = [elapsed = m_elapsed] { return Clock::time_point() + std::chrono::seconds(*elapsed); };
    settings.probeTimeout = probeTimeout;
    ut::internal::setNetworkRootSettings(settings);
  }

  void silence() { setSilent(true); }
  void answer() { setSilent(false); }
  void advance(std::chrono::seconds by) { *m_elapsed += by.count(); }
  int asked() {
    const std::lock_guard lock(m_server->mutex);
    return m_server->asked;
  }

  static constexpr const char* kReport =
      "ut::isNetworkPathAvailable: The network path with root directory '/net' is not available at the moment "
      "and will be ignored for the next 5 minute(s) or until restart.";

 private:
  struct Server {
    std::mutex mutex;
    std::condition_variable changed;
    bool silent = false;
    int asked = 0;
    int answered = 0;
  };

  void setSilent(bool silent) {
    const std::lock_guard lock(m_server->mutex);
    m_server->silent = silent;
    m_server->changed.notify_all();
  }

  std::shared_ptr<Server> m_server = std::make_shared<Server>();
  std::shared_ptr<std::atomic<long long>> m_elapsed = std::make_shared<std::atomic<long long>>(0);
};

TEST_F(NetworkRootTest, OnlyPathsOnAShareAskItsServer) {
  // Each row: a path, and whether it lies on the share.
  const std::tuple<const wchar_t*, bool> cases[] = {
      {L"/home/ann/plan.dwg", false}, {L"/network/plan.dwg", false}, {L"/net/disk/plan.dwg", false},
      {L"/net/../home/plan.dwg", false}, {L"/net", true},           {L"/net/plans/plan.dwg", true},
      {L"/net/./disk/../plan.dwg", true}};
  for (const auto& [path, onShare] : cases) {
    SCOPED_TRACE(testing::PrintToString(OdString(path)));
    const int before = asked();
    EXPECT_TRUE(ut::isNetworkPathAvailable(path));
    EXPECT_EQ(asked() - before, onShare ? 1 : 0);
    advance(std::chrono::minutes(1));  // past the time an answer is trusted
  }
}

TEST_F(NetworkRootTest, AnAnswerIsTrustedForTenSeconds) {
  EXPECT_TRUE(ut::isNetworkPathAvailable(L"/net/a.dwg"));
  advance(std::chrono::seconds(9));
  EXPECT_TRUE(ut::isNetworkPathAvailable(L"/net/b.dwg"));
  EXPECT_EQ(asked(), 1);
  advance(std::chrono::seconds(1));
  EXPECT_TRUE(ut::isNetworkPathAvailable(L"/net/b.dwg"));
  EXPECT_EQ(asked(), 2);
}

TEST_F(NetworkRootTest, ASilentShareIsReportedAndIgnoredForFiveMinutes) {
  install(std::chrono::milliseconds(1));
  silence();
  qxtest::Reports reports;
  EXPECT_FALSE(ut::isNetworkPathAvailable(L"/net/a.dwg"));
  EXPECT_EQ(reports.lines(), std::vector<std::string>{kReport});
  advance(std::chrono::seconds(299));
  EXPECT_FALSE(ut::isNetworkPathAvailable(L"/net/b.dwg"));
  EXPECT_TRUE(ut::isNetworkPathAvailable(L"/home/b.dwg"));
  EXPECT_EQ(reports.lines().size(), 1u);
  // Five minutes on, the first probe still hangs: the share is marked again without a second thread.
  advance(std::chrono::seconds(1));
  EXPECT_FALSE(ut::isNetworkPathAvailable(L"/net/b.dwg"));
  EXPECT_EQ(reports.lines().size(), 2u);
  EXPECT_EQ(asked(), 1);
  // The server is back; its late answer counts once the period is over (the probe's thread may need a
  // moment to take it in).
  answer();
  EXPECT_FALSE(ut::isNetworkPathAvailable(L"/net/b.dwg"));
  do advance(std::chrono::minutes(5));
  while (!ut::isNetworkPathAvailable(L"/net/b.dwg"));
  EXPECT_EQ(asked(), 1);
}

TEST_F(NetworkRootTest, CallersAtOnceShareOneProbeAndOneReport) {
  install(std::chrono::milliseconds(50));
  silence();
  qxtest::Reports reports;
  std::atomic<int> available = 0;
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) callers.emplace_back([&] { available += ut::isNetworkPathAvailable(L"/net/a"); });
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(available, 0);
  EXPECT_EQ(asked(), 1);
  EXPECT_EQ(reports.lines().size(), 1u);
}

TEST(MountTableTest, ReadsMountPointsAndTellsNetworkFileSystems) {
  const std::string mountInfo =
      "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
      "27 1 254:1 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
      "40 27 0:40 / /mnt/plans\\040and\\040more rw shared:5 master:2 - nfs4 srv:/plans rw,vers=4.2\n"
      "41 27 0:41 / /mnt/smb rw - cifs //srv/share rw\n"
      "42 27 0:42 / /home/ann/remote rw - fuse.sshfs ann@srv: rw\n"
      "43 27 0:43 / /mnt/\\303\\274 rw - fuse.rclone gdrive: rw\n"
      "broken line\n"
      "44 27 0:44 / relative rw - nfs srv:/x rw\n"
      "45 27 0:45 / /mnt/nodash rw nfs srv:/x rw\n"
      "46 27 0:46 / /mnt/bad\\377 rw - nfs srv:/x rw\n"
      "47 27 0:47 / /mnt/last rw - tmpfs tmpfs rw";
  const ut::platform::MountTable table = ut::platform::posix::parseMountInfo(mountInfo);
  std::vector<std::pair<std::wstring, bool>> found;
  for (const ut::platform::MountPoint& mount : table) found.emplace_back(mount.path.str(), mount.network);
  EXPECT_EQ(found, (std::vector<std::pair<std::wstring, bool>>{{L"/proc", false},
                                                               {L"/", false},
                                                               {L"/mnt/plans and more", true},
                                                               {L"/mnt/smb", true},
                                                               {L"/home/ann/remote", true},
                                                               {L"/mnt/\u00FC", true},
                                                               {L"/mnt/last", false}}));
  // The process's own table holds its root, and a local path is available without a probe.
  const auto own = ut::platform::mountTable();
  EXPECT_TRUE(std::any_of(own->begin(), own->end(), [](const auto& mount) { return mount.path == L"/"; }));
  EXPECT_EQ(ut::platform::mountTable(), own);  // nothing mounted since: the same table
  EXPECT_TRUE(ut::isNetworkPathAvailable(L"/tmp"));
}

}  // namespace
