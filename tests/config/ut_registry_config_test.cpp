#include "ut_registry_config.h"

#include "config/ut_config_names.h"
#include "test_support.h"

#include <gtest/gtest.h>

namespace {

class RegistryConfigTest : public testing::Test {
 protected:
  qxtest::TempDir m_dir;
  qxtest::ScopedEnv m_env{"VELTOCAD_REGISTRY_DIR", m_dir.path().string()};
  ut::RegistryConfig m_config{"VeltoCAD", "Korvani"};
};

TEST_F(RegistryConfigTest, TypedValuesUnderTheProductKey) {
  EXPECT_TRUE(m_config.Write("Plot/Scale", 2L));
  EXPECT_TRUE(m_config.Write("Plot/Name", wxString(L"A\u00E9")));
  EXPECT_TRUE(m_config.Write("Plot/Ratio", 0.5));
  EXPECT_TRUE(m_config.Write("Plot/On", true));
  EXPECT_EQ(m_config.Read("plot/scale", 0L), 2);
  EXPECT_EQ(m_config.Read("Plot/Name", wxString()), wxString(L"A\u00E9"));
  EXPECT_DOUBLE_EQ(m_config.ReadDouble("Plot/Ratio", 0), 0.5);
  EXPECT_TRUE(m_config.ReadBool("Plot/On", false));
  EXPECT_EQ(m_config.GetEntryType("Plot/Scale"), wxConfigBase::Type_Integer);
  EXPECT_FALSE(m_config.Write("Plot/Huge", 1L << 40));
  long number = 0;
  EXPECT_FALSE(m_config.Read("Plot/Name", &number));
}

TEST_F(RegistryConfigTest, PathsAndEnumeration) {
  m_config.Write("/a/x", 1L);
  m_config.Write("/a/y", 2L);
  m_config.Write("/a/b/z", 3L);
  m_config.Write("/a/c/w", 4L);
  m_config.SetPath("/a");
  EXPECT_EQ(m_config.GetPath(), "/a");
  EXPECT_EQ(ut::internal::configNames(m_config, true), (std::vector<wxString>{"b", "c"}));
  EXPECT_EQ(ut::internal::configNames(m_config, false), (std::vector<wxString>{"x", "y"}));
  EXPECT_EQ(m_config.GetNumberOfEntries(true), 4u);
  EXPECT_EQ(m_config.GetNumberOfGroups(), 2u);
  m_config.SetPath("b");
  EXPECT_EQ(m_config.GetPath(), "/a/b");
  EXPECT_EQ(m_config.Read("z", 0L), 3);
  EXPECT_EQ(m_config.Read("../x", 0L), 1);
  m_config.SetPath("..");
  EXPECT_TRUE(m_config.HasGroup("C"));
  EXPECT_TRUE(m_config.HasEntry("b/z"));
  EXPECT_FALSE(m_config.HasEntry("b/q"));
}

TEST_F(RegistryConfigTest, GroupNamesWithBackslashesAreRefused) {
  EXPECT_FALSE(m_config.Write("a\\b/x", 1L));
  EXPECT_FALSE(m_config.HasGroup("a\\b"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\Korvani\\VeltoCAD\\a"));
  EXPECT_TRUE(m_config.Write("back\\slash", 1L));  // value names may hold one
}

TEST_F(RegistryConfigTest, RenameAndDelete) {
  m_config.Write("/g/old", 5L);
  m_config.Write("/g/keep", 6L);
  m_config.SetPath("/g");
  EXPECT_TRUE(m_config.RenameEntry("old", "new"));
  EXPECT_FALSE(m_config.RenameEntry("new", "keep"));
  EXPECT_EQ(ut::internal::configNames(m_config, false), (std::vector<wxString>{"keep", "new"}));
  m_config.SetPath("/");
  EXPECT_TRUE(m_config.RenameGroup("g", "h"));
  EXPECT_EQ(m_config.Read("/h/new", 0L), 5);
  EXPECT_FALSE(m_config.HasGroup("/g"));
  EXPECT_TRUE(m_config.DeleteEntry("/h/new"));
  EXPECT_TRUE(m_config.DeleteEntry("/h/keep"));
  EXPECT_FALSE(m_config.HasGroup("/h"));  // emptied, so removed
  m_config.Write("/x/y", 1L);
  EXPECT_TRUE(m_config.DeleteGroup("/x"));
  EXPECT_FALSE(m_config.HasEntry("/x/y"));
  EXPECT_TRUE(m_config.DeleteAll());
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\Korvani\\VeltoCAD"));
}

TEST_F(RegistryConfigTest, TransactionsCommitOrRollBack) {
  ASSERT_TRUE(m_config.beginTransaction());
  m_config.Write("kept", 1L);
  ASSERT_TRUE(m_config.commitTransaction());
  ASSERT_TRUE(m_config.beginTransaction());
  m_config.Write("dropped", 1L);
  ASSERT_TRUE(m_config.beginTransaction());
  m_config.Write("inner", 1L);
  EXPECT_TRUE(m_config.commitTransaction());
  m_config.rollbackTransaction();
  EXPECT_TRUE(m_config.HasEntry("kept"));
  EXPECT_FALSE(m_config.HasEntry("dropped"));
  EXPECT_FALSE(m_config.HasEntry("inner"));
  // A step that fails costs only itself, and says why.
  const qxtest::Reports reports;
  ASSERT_TRUE(m_config.beginTransaction());
  EXPECT_TRUE(m_config.Write("before", 1L));
  EXPECT_FALSE(m_config.Write(wxString(256, 'k') + "/x", 1L));
  EXPECT_TRUE(m_config.Write("after", 1L));
  EXPECT_TRUE(m_config.commitTransaction());
  EXPECT_TRUE(m_config.HasEntry("before") && m_config.HasEntry("after"));
  EXPECT_EQ(reports.lines(),
            (std::vector<std::string>{"ut::RegistryConfig: a key name longer than 255 characters"}));
}

TEST_F(RegistryConfigTest, TheEmptyNameIsTheKeysDefaultValue) {
  ut::Registry key(true);
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"Software\\Korvani\\VeltoCAD"));
  ASSERT_TRUE(key.write(L"g", OdString(L"a value of the parent named after the key")));
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"Software\\Korvani\\VeltoCAD\\g"));
  ASSERT_TRUE(key.write(L"", OdString(L"default")));
  m_config.SetPath("/g");
  EXPECT_EQ(ut::internal::configNames(m_config, false), (std::vector<wxString>{""}));
  EXPECT_EQ(m_config.GetEntryType(""), wxConfigBase::Type_String);
  EXPECT_EQ(m_config.Read("", wxString()), "default");
  EXPECT_EQ(m_config.Read("/g/", wxString()), "default");
  EXPECT_TRUE(m_config.Write("", 5L));
  m_config.SetPath("/");
  EXPECT_EQ(m_config.Read("g/", 0L), 5);
  EXPECT_EQ(m_config.Read("g", wxString()), "a value of the parent named after the key");
}

// Every group and entry below the current path, walked as a store's load walks them: "path=value".
void dump(wxConfigBase& config, const wxString& prefix, std::vector<wxString>& lines) {
  for (const wxString& name : ut::internal::configNames(config, false)) {
    lines.push_back(prefix + name + "=" + config.Read(name, wxString()) +
                    wxString::Format("%ld", config.Read(name, -1L)));
  }
  for (const wxString& name : ut::internal::configNames(config, true)) {
    lines.push_back(prefix + name + "/");
    config.SetPath(name);
    dump(config, prefix + name + "/", lines);
    config.SetPath("..");
  }
}

// Reading ahead reads a small part of the hive key by key and most of it in one pass over every value:
// both must give what reading key by key gives.
TEST_F(RegistryConfigTest, ReadingAheadGivesWhatReadingKeyByKeyGives) {
  for (const char* name : {"/t/z", "/t/a", "/t/B/y", "/t/b/c/x", "/t/A2/w", "/other/v"})
    m_config.Write(name, 7L);
  m_config.Write("/t/text", "words");
  std::vector<wxString> keyByKey, ahead;
  const auto readBothWays = [&] {
    keyByKey.clear();
    ahead.clear();
    m_config.SetPath("/t");
    dump(m_config, "", keyByKey);
    EXPECT_FALSE(m_config.readAhead("/t"));  // only within a transaction
    ASSERT_TRUE(m_config.beginTransaction(false));
    EXPECT_FALSE(m_config.readAhead("/missing"));
    ASSERT_TRUE(m_config.readAhead("/t"));
    dump(m_config, "", ahead);
    EXPECT_TRUE(m_config.commitTransaction());
  };
  readBothWays();
  EXPECT_EQ(ahead, keyByKey);
  // Values in the order they were made, groups by name.
  EXPECT_EQ(keyByKey, (std::vector<wxString>{"z=7", "a=7", "text=words-1", "A2/", "A2/w=7", "B/", "B/y=7",
                                             "B/c/", "B/c/x=7"}));
  for (int i = 0; i < 10; ++i) m_config.Write(wxString::Format("/t/more/k%d/v", i), 1L);
  readBothWays();
  EXPECT_EQ(ahead, keyByKey);
  EXPECT_EQ(keyByKey.size(), 9u + 21u);
}

TEST_F(RegistryConfigTest, TransactionKeepsWhatItReadInStepWithItsChanges) {
  m_config.Write("/p/q/x", 1L);
  ASSERT_TRUE(m_config.beginTransaction());
  m_config.SetPath("/p");
  EXPECT_EQ(ut::internal::configNames(m_config, true), (std::vector<wxString>{"q"}));
  EXPECT_EQ(m_config.Read("Q/x", 0L), 1);
  m_config.Write("q/X", 2L);  // another spelling of the same key and value
  EXPECT_EQ(m_config.Read("Q/X", 0L), 2);
  m_config.SetPath("/p/new");
  m_config.SetPath("..");
  EXPECT_EQ(m_config.GetPath(), "/p");
  EXPECT_EQ(ut::internal::configNames(m_config, true), (std::vector<wxString>{"new", "q"}));
  m_config.SetPath("..");
  EXPECT_EQ(m_config.GetPath(), "/");
  EXPECT_EQ(m_config.Read("p/q/x", 0L), 2);
  EXPECT_TRUE(m_config.commitTransaction());
}

}  // namespace
