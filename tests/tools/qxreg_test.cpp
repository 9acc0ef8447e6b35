// The command-line tool qxreg, run as a child process on hives of each test's own.

#include "test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kKey = "HKCU\\Software\\Korvani\\QxregTest";
const std::string kLongKey = "HKEY_CURRENT_USER\\Software\\Korvani\\QxregTest";

struct Outcome {
  int code;
  std::string out, err;
};

class QxregTest : public testing::Test {
 protected:
  // Runs qxreg with `args`; a child killed by a signal gives 128 and more, which no test expects.
  Outcome qxreg(std::vector<std::string> args) {
    args.insert(args.begin(), QX_QXREG_PATH);
    qxtest::ChildProcess child(args, path("stderr"));
    std::string out = child.read(EOF);
    const int code = child.wait();
    return {code, std::move(out), qxtest::fileBytes(path("stderr"))};
  }

  std::string path(const char* name) const { return (m_dir.path() / name).string(); }

  qxtest::TempDir m_dir;
  qxtest::ScopedEnv m_env{"VELTOCAD_REGISTRY_DIR", m_dir.path().string()};
};

TEST_F(QxregTest, MainJobCreatesTheDefaultProfileOnce) {
  const Outcome first = qxreg({});
  EXPECT_EQ(first.code, 0) << first.err;
  EXPECT_TRUE(first.out.starts_with("Default\n  Config/\n")) << first.out;
  EXPECT_THAT(first.out, HasSubstr("\n    OSMODE = 4263\n"));
  EXPECT_EQ(qxreg({}).out, first.out);
  EXPECT_EQ(qxreg({"profile", "list"}).out, "* Default\n");

  ASSERT_EQ(qxreg({"profile", "describe", "Default", "Main \"one\""}).code, 0);
  EXPECT_THAT(qxreg({}).out, HasSubstr("\n  Description = \"Main \\\"one\\\"\"\n"));
}

TEST_F(QxregTest, ValuesOfEveryTypeRoundTrip) {
  // Each row: a type, the data, and the data as a query shows it.
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {"REG_SZ", "two words", "two words"},      {"REG_EXPAND_SZ", "%HOME%\\bin", "%HOME%\\bin"},
      {"REG_DWORD", "4263", "0x10a7"},           {"REG_QWORD", "0x100000000", "0x100000000"},
      {"REG_BINARY", "00fF10", "00FF10"},        {"REG_MULTI_SZ", "a\\0b c\\0d", "a\\0b c\\0d"},
      {"REG_DWORD", "0xffffffff", "0xffffffff"},
  };
  for (const auto& [type, data, shown] : cases) {
    SCOPED_TRACE(type + " " + data);
    ASSERT_EQ(qxreg({"add", kKey, "/v", "Value", "/t", type, "/d", data, "/f"}).code, 0);
    EXPECT_THAT(qxreg({"query", kKey, "/v", "value"}).out,
                HasSubstr("\n    Value    " + type + "    " + shown + "\n"));
  }
  const std::pair<const char*, const char*> refused[] = {
      {"REG_DWORD", "0x100000000"}, {"REG_DWORD", "-1"}, {"REG_QWORD", "12x"},
      {"REG_BINARY", "abc"},        {"REG_TEXT", "x"},
  };
  for (const auto& [type, data] : refused)
    EXPECT_EQ(qxreg({"add", kKey, "/v", "Bad", "/t", type, "/d", data}).code, 1) << type << " " << data;
  EXPECT_EQ(qxreg({"query", kKey, "/v", "Bad"}).code, 1);
}

TEST_F(QxregTest, OverwritingAndDeletingNeedForce) {
  ASSERT_EQ(qxreg({"add", kKey, "/ve", "/d", "first"}).code, 0);
  for (const char* value : {"Name", "Other"}) ASSERT_EQ(qxreg({"add", kKey, "/v", value}).code, 0);
  ASSERT_EQ(qxreg({"add", kKey + "\\Sub"}).code, 0);
  // Each row: a change, the hint it gives without /f, what a query shows only before it and only after it.
  const std::tuple<std::vector<std::string>, const char*, std::string, const char*> cases[] = {
      {{"add", kKey, "/ve", "/d", "second"}, "use /f", "    first\n", "(Default)    REG_SZ    second\n"},
      {{"delete", kKey, "/v", "name"}, "add /f", "\n    Name    REG_SZ", ""},
      {{"delete", kKey, "/va"}, "add /f", "\n    Other    REG_SZ", ""},
      {{"delete", kKey}, "add /f", kLongKey + "\\Sub\n", ""}};
  for (auto [args, hint, before, after] : cases) {
    SCOPED_TRACE(testing::PrintToString(args));
    const Outcome refused = qxreg(args);
    EXPECT_EQ(refused.code, 1);
    EXPECT_THAT(refused.err, HasSubstr(hint));
    EXPECT_THAT(qxreg({"query", kKey, "/s"}).out, HasSubstr(before));
    args.push_back("/f");
    EXPECT_EQ(qxreg(args).code, 0);
    EXPECT_THAT(qxreg({"query", kKey, "/s"}).out, testing::AllOf(Not(HasSubstr(before)), HasSubstr(after)));
  }
  EXPECT_EQ(qxreg({"delete", "HKCU", "/f"}).code, 1);
}

TEST_F(QxregTest, RootsHaveLongAndShortNames) {
  const std::pair<std::string, std::string> roots[] = {
      {"HKCU", "HKEY_CURRENT_USER"}, {"hklm", "HKEY_LOCAL_MACHINE"},  {"HKCR", "hkey_classes_root"},
      {"HKU", "HKEY_USERS"},         {"HKCC", "HKEY_CURRENT_CONFIG"},
  };
  for (const auto& [alias, name] : roots)
    ASSERT_EQ(qxreg({"add", alias + "\\T", "/v", "R", "/d", alias}).code, 0);
  for (const auto& [alias, name] : roots)
    EXPECT_THAT(qxreg({"query", name + "\\T"}).out, HasSubstr("\n    R    REG_SZ    " + alias + "\n"));
  EXPECT_EQ(qxreg({"query", "HKEY_NOWHERE\\T"}).code, 1);
}

TEST_F(QxregTest, QueryAndCopyTakeSubKeysOnlyWithS) {
  ASSERT_EQ(qxreg({"add", kKey, "/v", "Top", "/t", "REG_QWORD", "/d", "7"}).code, 0);
  ASSERT_EQ(qxreg({"add", kKey + "\\A\\B", "/v", "Deep", "/d", "d"}).code, 0);
  const Outcome flat = qxreg({"query", kKey});
  EXPECT_THAT(flat.out, HasSubstr(kLongKey + "\n    Top    REG_QWORD    0x7\n\n" + kLongKey + "\\A\n"));
  EXPECT_THAT(flat.out, Not(HasSubstr("Deep")));
  EXPECT_THAT(qxreg({"query", kKey, "/s"}).out,
              HasSubstr("\n" + kLongKey + "\\A\\B\n    Deep    REG_SZ    d\n"));
  EXPECT_THAT(qxreg({"query", kKey, "/v", "deep", "/s"}).out, Not(HasSubstr("Top")));
  // A copy keeps the values' types.
  EXPECT_EQ(qxreg({"copy", kKey, "HKU\\Copy"}).code, 0);
  EXPECT_THAT(qxreg({"query", "HKU\\Copy", "/v", "Top"}).out, HasSubstr("REG_QWORD    0x7\n"));
  EXPECT_EQ(qxreg({"query", "HKU\\Copy\\A"}).code, 1);
  EXPECT_EQ(qxreg({"copy", kKey, "HKU\\Copy", "/s"}).code, 1);
  EXPECT_EQ(qxreg({"copy", kKey, "HKU\\Copy", "/s", "/f"}).code, 0);
  EXPECT_EQ(qxreg({"query", "HKU\\Copy\\A\\B", "/v", "Deep"}).code, 0);
}

TEST_F(QxregTest, ExportThenImportIntoAFreshHiveGivesBackTheValues) {
  ASSERT_EQ(qxreg({"add", kKey, "/v", "List", "/t", "REG_MULTI_SZ", "/d", "a\\0b"}).code, 0);
  ASSERT_EQ(qxreg({"add", kKey, "/v", "Path", "/t", "REG_EXPAND_SZ", "/d", "%HOME%"}).code, 0);
  ASSERT_EQ(qxreg({"add", kKey + "\\Sub", "/ve", "/t", "REG_DWORD", "/d", "3"}).code, 0);
  const std::string file = path("export.reg");
  ASSERT_EQ(qxreg({"export", kKey, file}).code, 0);
  EXPECT_THAT(qxreg({"export", kKey, file}).err, HasSubstr("use /y"));
  EXPECT_EQ(qxreg({"export", kKey, file, "/y"}).code, 0);
  const std::string exported = qxreg({"query", kKey, "/s"}).out;

  qxtest::TempDir fresh;
  qxtest::ScopedEnv freshHive("VELTOCAD_REGISTRY_DIR", fresh.path().string());
  EXPECT_EQ(qxreg({"query", kKey}).code, 1);
  ASSERT_EQ(qxreg({"import", file}).code, 0);
  EXPECT_EQ(qxreg({"query", kKey, "/s"}).out, exported);
}

TEST_F(QxregTest, FailedImportChangesNothing) {
  ASSERT_EQ(qxreg({"add", kKey, "/v", "Kept", "/d", "old"}).code, 0);
  const std::string before = qxreg({"query", kKey, "/s"}).out;
  std::ofstream(path("plain.txt")) << "just text\n";
  // Both change "Kept" before they fail.
  const std::string head = "Windows Registry Editor Version 5.00\n\n[" + kLongKey + "]\n\"Kept\"=\"new\"\n";
  std::ofstream(path("broken.reg")) << head << "not a value\n[" << kLongKey << "\\New]\n";
  const std::string tooLong = kLongKey + "\\" + std::string(256, 'k');
  std::ofstream(path("long.reg")) << head << "[" << tooLong << "]\n";
  const std::pair<const char*, std::string> cases[] = {
      {"plain.txt", "Not a registration file"},
      {"broken.reg", "Skipped 1 malformed lines, the first at line 5"},
      {"long.reg", "Cannot create registry key " + tooLong + ": a key name longer than 255 characters"},
      {"missing.reg", "File not found"}};
  for (const auto& [file, message] : cases) {
    const Outcome outcome = qxreg({"import", path(file)});
    EXPECT_EQ(outcome.code, 1) << file;
    EXPECT_THAT(outcome.err, HasSubstr("qxreg: " + message));
    EXPECT_EQ(qxreg({"query", kKey, "/s"}).out, before) << file;
  }
}

TEST_F(QxregTest, ProfilesLiveThroughTheirVerbs) {
  ASSERT_EQ(qxreg({"profile", "create", "Draft", "--description", "2D work", "--from", "Default"}).code, 0);
  EXPECT_EQ(qxreg({"profile", "create", "draft"}).code, 1);
  EXPECT_EQ(qxreg({"profile", "use", "Nowhere"}).code, 1);
  ASSERT_EQ(qxreg({"profile", "use", "draft"}).code, 0);
  EXPECT_EQ(qxreg({"profile", "list"}).out, "  Default\n* Draft\n");
  EXPECT_THAT(qxreg({"profile", "delete", "Draft"}).err, HasSubstr("current profile"));
  ASSERT_EQ(qxreg({"profile", "rename", "Draft", "Plan"}).code, 0);
  EXPECT_EQ(qxreg({"profile", "current"}).out, "Plan\n");

  const std::string file = path("plan.reg");
  ASSERT_EQ(qxreg({"profile", "export", "Plan", file}).code, 0);
  ASSERT_EQ(qxreg({"profile", "import", file, "--name", "Copy"}).code, 0);
  EXPECT_EQ(qxreg({"profile", "describe", "Copy"}).out, "2D work\n");
  ASSERT_EQ(qxreg({"profile", "use", "Copy"}).code, 0);
  ASSERT_EQ(qxreg({"profile", "delete", "Plan"}).code, 0);
  EXPECT_EQ(qxreg({"profile", "list"}).out, "* Copy\n  Default\n");
  const std::string main = qxreg({}).out;
  EXPECT_TRUE(main.starts_with("Copy\n")) << main;
}

TEST_F(QxregTest, HelpAndUsageErrors) {
  // Arguments, exit code, and what it says: on standard output for 0, on standard error for 1.
  const std::tuple<std::vector<std::string>, int, const char*> cases[] = {
      {{"--help"}, 0, "Usage: qxreg [VERB"},
      {{"/?"}, 0, "  qxreg profile import FILE"},
      {{"add", "-h"}, 0, "Usage: qxreg add KEY"},
      {{"profile", "--help"}, 0, "Usage: qxreg profile VERB"},
      {{"profile", "create", "--help"}, 0, "--from PROFILE"},
      {{"frob"}, 1, "unknown verb frob\nUsage: qxreg"},
      {{"profile", "frob"}, 1, "Usage: qxreg profile"},
      {{"query"}, 1, "missing arguments"},
      {{"query", kKey, "/z"}, 1, "unknown option /z"},
      {{"query", kKey, "/v", "a", "/ve"}, 1, "exclude each other"},
      {{"add", kKey, "/d", "x"}, 1, "need /v NAME or /ve"}};
  for (const auto& [args, code, said] : cases) {
    const Outcome outcome = qxreg(args);
    EXPECT_EQ(outcome.code, code) << testing::PrintToString(args);
    EXPECT_THAT(code == 0 ? outcome.out : outcome.err, HasSubstr(said));
  }
}

}  // namespace
