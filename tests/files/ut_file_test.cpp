#include "ut_file.h"
#include "ut_system.h"
#include "ut_text_file.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

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

}  // namespace
