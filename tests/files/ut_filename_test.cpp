#include "ut_filename.h"
#include "ut_config.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>
#include <wx/datetime.h>
#include <wx/filename.h>

#include <filesystem>
#include <fstream>
#include <tuple>
#include <utility>

namespace {

namespace fs = std::filesystem;
using qxtest::od;
using qxtest::TempDir;
using qxtest::writeFile;

// Bad names are results, never a wxWidgets assertion or message (which a GUI host shows as a dialog).
TEST(FileNameTest, BadNamesAreResults) {
  TempDir dir;
  const OdString missing = od(dir.path() / "missing");
  EXPECT_EQ(ut::FileName(od(dir.path()), L"sub/x.txt").getFullPath(), od(dir.path() / "sub" / "x.txt"));
  EXPECT_EQ(ut::FileName(L"", od(dir.path()), L"sub/x.txt").getFullPath(), od(dir.path() / "sub" / "x.txt"));
  ut::FileName name(L"/plans/site.dwg");
  EXPECT_FALSE(name.appendDir(L"") || name.appendDir(L"a/b"));
  EXPECT_EQ(name.getFullPath(), L"/plans/site.dwg");
  EXPECT_FALSE(ut::FileName::mkdir(L"", 0777, 0));
  EXPECT_FALSE(ut::FileName::rmdir(missing, false) || ut::FileName::clearDir(missing) ||
               ut::FileName::setCwd(missing));
  EXPECT_EQ(ut::FileName::getSize(missing), ut::FileName::kInvalidSize);
  EXPECT_FALSE(ut::FileName(missing).getTimes(nullptr, nullptr, nullptr));
}

TEST(FileNameTest, CopiesShareNothing) {
  ut::FileName original(L"/plans/site.dwg");
  ut::FileName copy(original), assigned;
  copy.setExt(L"bak");
  copy.appendDir(L"old");
  assigned = original;
  assigned.setName(L"other");
  EXPECT_EQ(original.getFullPath(), L"/plans/site.dwg");
  EXPECT_EQ(copy.getFullPath(), L"/plans/old/site.bak");
  EXPECT_EQ(assigned.getFullPath(), L"/plans/other.dwg");
}

TEST(FileNameTest, ComponentsAndDirectories) {
  ut::FileName name(L"/home/ann", L"site.plan.dwg");
  EXPECT_EQ(name.getName(), L"site.plan");
  EXPECT_EQ(name.getExt(), L"dwg");
  EXPECT_TRUE(name.hasExt(L".DWG") && !name.hasExt(L"dxf"));
  EXPECT_EQ(name.getDirs().size(), 2u);
  EXPECT_EQ(name.getDirAt(1), L"ann");
  EXPECT_EQ(name.getDirAt(2), L"");
  EXPECT_EQ(name.getPath(), L"/home/ann");
  name.removeFirstDir();
  EXPECT_EQ(name.getFullPath(), L"/ann/site.plan.dwg");
  name.removeLastDir();
  name.removeLastDir();  // nothing left to remove
  EXPECT_EQ(name.getFullPath(), L"/site.plan.dwg");
  EXPECT_EQ((ut::FileName(L"/a/") / ut::FileName(L"b/c.txt")).getFullPath(), L"/a/b/c.txt");
  EXPECT_EQ((ut::FileName(L"/a/b.txt") / ut::FileName(L"c/d.txt")).getFullPath(), L"/a/b.txt/c/d.txt");
  EXPECT_EQ((ut::FileName(L"/a/") / ut::FileName(L"/x/y")).getFullPath(), L"/x/y");
  ut::FileName root(L"/a/b/c.txt");
  EXPECT_TRUE(root.makeRelativeToRoot());
  EXPECT_EQ(root.getFullPath(), L"a/b/c.txt");
}

TEST(FileNameTest, SameAsNormalisesBothOperandsInPlace) {
  const ut::FileName a(L"/tmp/x/../y.txt"), b(L"/tmp/./y.txt");
  EXPECT_TRUE(a.sameAs(b));
  EXPECT_EQ(a.getFullPath(), L"/tmp/y.txt");
  EXPECT_EQ(b.getFullPath(), L"/tmp/y.txt");
  EXPECT_FALSE(ut::equalFilePath(L"/tmp/Y.txt", L"/tmp/y.txt"));  // POSIX names keep their case
  qxtest::ScopedEnv home("HOME", "/home/ann");
  EXPECT_TRUE(ut::equalFilePath(L"~/a.txt", L"/home/ann/b/../a.txt"));
  EXPECT_TRUE(ut::FileName(L"/tmp/y.txt") == OdString(L"\\tmp\\y.txt"));
}

TEST(FileNameTest, ToggleAndAbsoluteTests) {
  EXPECT_EQ(ut::FileName::toggleLastPathSeparator(L"/dir/"), L"/dir");
  EXPECT_EQ(ut::FileName::toggleLastPathSeparator(L"/dir"), L"/dir/");
  EXPECT_EQ(ut::FileName::toggleLastPathSeparator(L""), L"/");
  const std::pair<const wchar_t*, bool> cases[] = {{L"//server/share", true}, {L"/x", true},
                                                   {L"x/y", false},           {L"/", true},
                                                   {L"\\\\server", false},    {L"C:\\x", false}};
  for (const auto& [path, absolute] : cases) {
    SCOPED_TRACE(testing::PrintToString(OdString(path)));
    EXPECT_EQ(ut::FileName::isCrossPlatformAbsolute(path), absolute);
    EXPECT_EQ(ut::isPathAbsolute(path), absolute);
  }
  EXPECT_EQ(ut::getAbsolutePath(L"b/../c.txt", L"/a"), L"/a/c.txt");
}

TEST(FileNameTest, ValidateFileNameReplacesForbiddenCharacters) {
  // Each row: a name, allowPath, and the valid name.
  const std::tuple<const wchar_t*, bool, const wchar_t*> cases[] = {
      {L"a/b:c.txt", false, L"a_b_c_txt"},
      {L"a/b:c.txt", true, L"a/b:c.txt"},
      {L"", true, L""},
      {L"x*y?z\"<>|\\.dwg", true, L"x_y_z____\\.dwg"},
      {L"x*y?z\"<>|\\.dwg", false, L"x_y_z______dwg"}};
  for (const auto& [name, allowPath, valid] : cases)
    EXPECT_EQ(ut::validateFileName(name, allowPath, L'_'), valid) << testing::PrintToString(OdString(name));
  EXPECT_EQ(ut::getForbiddenCharacters(), L"*?");
}

TEST(FileNameTest, AppModuleTypeByExtension) {
  EXPECT_EQ(ut::FileName::appModuleType(L"/a/tool.LSP"), ut::eAppModuleLsp);
  EXPECT_EQ(ut::FileName::appModuleType(L"x.dbx"), ut::eAppModuleDbx);
  EXPECT_EQ(ut::FileName::appModuleType(L"x.dll"), ut::eAppModuleDll);
  EXPECT_EQ(ut::FileName::appModuleType(L"x.dwg"), ut::eAppModuleNone);
  EXPECT_EQ(ut::FileName::appModuleType(L"lsp"), ut::eAppModuleNone);
}

TEST(FileNameTest, FirstNotExistingPathNumbersFreeNames) {
  TempDir dir;
  for (const char* name : {"plan.dwg", "plan (1).dwg", "plan (3).dwg", "plan7.dwg", "plan(2).dwg",
                           "report (a).txt", "x99999999999.dwg"})
    writeFile(dir.path() / name, "x");
  // Each row: a name, the first number, and the free name (empty: an empty result).
  const std::tuple<const wchar_t*, int, const char*> cases[] = {
      {L"free.dwg", 1, "free.dwg"},       {L"report (a).txt", 1, "report (a) (1).txt"},
      {L"plan.dwg", 1, "plan (2).dwg"},   {L"x99999999999.dwg", 1, ""},
      {L"plan.dwg", 5, "plan (5).dwg"},   {L"a/b", 1, "a/b"},
      {L"plan7.dwg", 1, "plan8.dwg"},     {L"", 1, ""},
      {L"plan(2).dwg", 1, "plan(3).dwg"}, {L"plan (3).dwg", 1, "plan (4).dwg"},
  };
  for (const auto& [name, first, expected] : cases) {
    EXPECT_EQ(ut::getFirstNotExistingPath(od(dir.path()), name, first),
              *expected ? od(dir.path() / expected) : OdString())
        << testing::PrintToString(OdString(name));
  }
  EXPECT_EQ(ut::getFirstNotExistingPath(L"", L"plan.dwg", 1), L"");
}

TEST(FileNameTest, CommonPath) {
  const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> cases[] = {
      {L"/a/b/x.txt", L"/a/c/y.txt", L"/a/"},   {L"/a/b/x.txt", L"/a/b/x.txt", L"/a/b/x.txt"},
      {L"/a/b/x.txt", L"/a/b/y.txt", L"/a/b/"}, {L"/a/b/x.txt", L"/a/b/c/x.txt", L"/a/b/"},
      {L"/a/b/x.txt", L"a/b/x.txt", L""},       {L"a/b/x.txt", L"a/c/x.txt", L"a/"},
      {L"/a/x.txt", L"/b/x.txt", L"/"}};
  for (const auto& [a, b, common] : cases)
    EXPECT_EQ(ut::getCommonPath(a, b).getFullPath(), common)
        << testing::PrintToString(OdString(a)) << " " << testing::PrintToString(OdString(b));
}

TEST(FileNameTest, FileSystemQueriesAndOperations) {
  TempDir dir;
  writeFile(dir.path() / "Sub" / "Plan.DWG", "x");
  ut::FileName misspelt(od(dir.path() / "sub" / "plan.dwg"));
  EXPECT_FALSE(misspelt.fileExists());
  EXPECT_TRUE(misspelt.correctCase());
  OdString found;
  EXPECT_TRUE(misspelt.fileExists(&found));
  EXPECT_EQ(found, od(dir.path() / "Sub" / "Plan.DWG"));
  EXPECT_EQ(misspelt.getSize(), 1u);

  const wxDateTime when(1, wxDateTime::Feb, 2020, 10, 30);
  wxDateTime modified;
  EXPECT_TRUE(misspelt.setTimes(&when, &when, nullptr));
  EXPECT_TRUE(misspelt.getTimes(nullptr, &modified, nullptr));
  EXPECT_EQ(modified, when);

  OdString path = L"unchanged";
  ut::FileName folder(od(dir.path() / "Sub"));
  EXPECT_FALSE(ut::verifyAbsolutePath(path, folder));
  EXPECT_TRUE(ut::verifyAbsolutePath(path, misspelt));
  EXPECT_EQ(path, found);

  const OdString deep = od(dir.path() / "p" / "q" / "r");
  EXPECT_FALSE(ut::FileName::mkdir(deep));
  EXPECT_TRUE(ut::FileName::mkdir(deep, 0777, wxPATH_MKDIR_FULL));
  writeFile(dir.path() / "p" / "q" / "f.txt", "x");
  EXPECT_TRUE(ut::FileName::clearDir(od(dir.path() / "p")));
  EXPECT_TRUE(fs::is_empty(dir.path() / "p"));
  EXPECT_TRUE(ut::FileName::rmdir(od(dir.path() / "Sub"), true));
  EXPECT_FALSE(ut::FileName::dirExists(od(dir.path() / "Sub")));
  // A file's owner is its user's login name.
  OdString owner;
  ASSERT_TRUE(ut::getFileOwner(writeFile(dir.path() / "mine.txt", "x"), owner));
  EXPECT_EQ(owner, OdString(fs::path(getpwuid(geteuid())->pw_name).wstring().c_str()));
  EXPECT_FALSE(ut::getFileOwner(od(dir.path() / "missing.txt"), owner));
}

// The temporary folder is the TEMPPREFIX setting, else the system's, and ends in a separator; relative
// prefixes of temporary files are placed under it.
TEST(TempFileTest, TempFilesGoUnderTheSettingElseTheSystemsTempDir) {
  TempDir dir;
  const qxtest::ScopedEnv hive("VELTOCAD_REGISTRY_DIR", dir.path().string());
  const qxtest::ScopedEnv tmp("TMPDIR", (dir.path() / "system").string());
  ASSERT_TRUE(ut::initConfig(nullptr));
  fs::create_directory(dir.path() / "system");
  EXPECT_EQ(ut::FileName::getTempDir(), od(dir.path() / "system" / ""));
  ASSERT_TRUE(ut::Config::writeString(ut::eCfgConfig, L"TEMPPREFIX", od(dir.path() / "mine")));
  EXPECT_EQ(ut::FileName::getTempDir(), od(dir.path() / "mine" / ""));
  const std::pair<OdString, fs::path> cases[] = {
      {L"plot", dir.path() / "mine"},
      {L"sub\\deeper/plot", dir.path() / "mine" / "sub" / "deeper"},
      {od(dir.path() / "abs" / "plot"), dir.path() / "abs"}};
  for (const auto& [prefix, folder] : cases) {
    SCOPED_TRACE(testing::PrintToString(prefix));
    const fs::path created = ut::FileName::createTempFileName(prefix).c_str();
    EXPECT_TRUE(fs::is_regular_file(created));
    EXPECT_EQ(created.parent_path(), folder);
    EXPECT_EQ(created.filename().string().rfind("plot", 0), 0u);
  }
}

}  // namespace
