#include "ut_profile.h"

#include "test_support.h"
#include "ut_config.h"
#include "ut_registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace {

using ut::Config;

const OdString kProfilesKey = L"Software\\Korvani\\VeltoCAD\\V26x64\\en_US\\Profiles";
const std::string kProfilesHeader =
    "[HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\V26x64\\en_US\\Profiles\\";

class ProfileTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(ut::initConfig(nullptr)); }

  OdString file(const char* name) const { return (m_dir.path() / name).wstring().c_str(); }
  void writeFile(const char* name, const std::string& text) const {
    std::ofstream(m_dir.path() / name) << text;
  }
  static bool stored(const OdString& profile) {
    return ut::Registry::verifyKey(ut::eCurrentUser, kProfilesKey + L"\\" + profile);
  }
  static long config(const wchar_t* name) {
    long value = -1;
    Config::read(ut::eCfgConfig, name, value);
    return value;
  }

  qxtest::TempDir m_dir;
  qxtest::ScopedEnv m_env{"VELTOCAD_REGISTRY_DIR", m_dir.path().string()};
};

TEST_F(ProfileTest, NodesAreFoundIgnoringCaseAndTheEmptyNameIsTheGroup) {
  ut::ProfileManagerBase& manager = *Config::profileManager();
  EXPECT_EQ(manager.getProfileNode(L"", false)->path(), L"Profiles");
  EXPECT_EQ(manager.getProfileNode(L"/DEFAULT/", false), manager.getProfileNode(L"Default", false));
  EXPECT_FALSE(manager.getProfileNode(L"New", false));
  EXPECT_TRUE(manager.getProfileNode(L"New", true));
  EXPECT_FALSE(manager.getProfileNode(L"a/b", true));
  wxArrayString names;
  EXPECT_EQ(ut::getProfileNames(names), 2u);
}

TEST_F(ProfileTest, MakingAProfileCurrentTidiesIt) {
  ut::ProfileManagerBase& manager = *Config::profileManager();
  const ut::ConfigNodePtr other = manager.getProfileNode(L"Other", true);
  ut::ConfigNodePtr settings = ut::ConfigNode::createNode(L"Config/");
  for (const wchar_t* name : {L"MassPropAccuracy", L"CPROFILE"}) {
    const ut::ConfigNodePtr entry = ut::ConfigNode::createNode(name);
    entry->setString(L"text");
    settings->addChild(entry);
  }
  other->addChild(settings);
  ASSERT_TRUE(ut::setCurrentProfileName(L"OTHER", false));
  EXPECT_EQ(Config::entryType(ut::eCfgConfig, L"MassPropAccuracy"), ut::eCfgTypeUnknown);
  EXPECT_EQ(Config::entryType(ut::eCfgConfig, L"CPROFILE"), ut::eCfgTypeUnknown);
  ASSERT_TRUE(Config::writeLong(ut::eCfgConfig, L"MassPropAccuracy", 4));
  ASSERT_TRUE(ut::setCurrentProfileName(L"Default", false));
  ASSERT_TRUE(ut::setCurrentProfileName(L"Other", false));
  EXPECT_EQ(config(L"MassPropAccuracy"), 4);
  EXPECT_EQ(manager.recordedProfileName(), L"Other");
  EXPECT_FALSE(ut::setCurrentProfileName(L"Missing", false));
}

TEST_F(ProfileTest, DeletingTheCurrentProfileReachesTheStoreAtOnce) {
  ASSERT_TRUE(ut::createProfile(L"Spare", L"", L""));
  ASSERT_TRUE(ut::writeConfig());
  ASSERT_TRUE(stored(L"Default") && stored(L"Spare"));
  EXPECT_TRUE(ut::deleteProfile(L"DEFAULT"));
  EXPECT_FALSE(stored(L"Default"));
  EXPECT_TRUE(stored(L"Spare"));
  EXPECT_FALSE(Config::profileManager()->currentProfile());
  EXPECT_FALSE(ut::profileExists(L"Default"));
  EXPECT_FALSE(ut::deleteProfile(L"Default"));
}

// The profiles group holds the entry "CurProfile" beside the profiles: no profile may take its name.
TEST_F(ProfileTest, NamesOfTheProfilesGroupsEntriesAreRefused) {
  const qxtest::Reports reports;
  EXPECT_FALSE(ut::createProfile(L"curprofile", L"", L""));
  EXPECT_FALSE(ut::setCurrentProfileName(L"CurProfile", true));
  EXPECT_FALSE(ut::renameProfile(L"Default", L"CURPROFILE"));
  EXPECT_EQ(reports.lines().size(), 3u);
  ASSERT_TRUE(ut::writeConfig());
  EXPECT_EQ(Config::profileManager()->recordedProfileName(), L"Default");
  EXPECT_TRUE(stored(L"Default"));
}

TEST_F(ProfileTest, CopyRenameAndResetKeepWhatTheyShould) {
  ASSERT_TRUE(Config::writeLong(ut::eCfgConfig, L"OSMODE", 1));
  ASSERT_TRUE(ut::setProfileDescription(L"Default", L"the first"));
  ASSERT_TRUE(Config::getProfileNode(L"Default", false)->setString(L"the key's own value"));
  ASSERT_TRUE(ut::createProfile(L"Copy", L"a copy", L"Default"));
  EXPECT_FALSE(ut::createProfile(L"copy", L"", L""));
  ASSERT_TRUE(ut::renameProfile(L"Default", L"Main"));
  EXPECT_EQ(Config::currentProfileName(), L"Main");
  EXPECT_EQ(Config::profileManager()->recordedProfileName(), L"Main");
  EXPECT_EQ(config(L"OSMODE"), 1);
  ASSERT_TRUE(ut::renameProfile(L"main", L"MAIN"));  // the spelling only
  EXPECT_EQ(ut::getCurrentProfileName(), "MAIN");
  ASSERT_TRUE(ut::resetProfile(L"MAIN"));
  EXPECT_EQ(config(L"OSMODE"), 4263);
  EXPECT_EQ(ut::getProfileDescription(L"MAIN"), "the first");
  EXPECT_EQ(ut::getProfileDescription(L"Copy"), "a copy");
  ASSERT_TRUE(ut::writeConfig());
  EXPECT_TRUE(stored(L"MAIN") && stored(L"Copy"));
  EXPECT_FALSE(stored(L"Default"));
  ut::Registry copy;
  OdString own;
  ASSERT_TRUE(copy.open(ut::eCurrentUser, kProfilesKey + L"\\Copy"));
  EXPECT_TRUE(copy.read(L"", own) && own == L"the key's own value");
}

TEST_F(ProfileTest, ExportedProfileImportsUnderAnotherName) {
  ASSERT_TRUE(Config::writeString(ut::eCfgPlot, L"Device", L"A3 \"wide\"\nsecond line"));
  ASSERT_TRUE(ut::setProfileDescription(L"Default", L"line one\nline two"));
  ASSERT_TRUE(ut::exportProfile(L"Default", file("default.reg").c_str()));
  wxString name, description;
  ASSERT_TRUE(ut::getProfileNameFromFile(file("default.reg").c_str(), name, &description));
  EXPECT_EQ(name, "Default");
  EXPECT_EQ(description, "line one\nline two");
  const wxString newName = "Imported", newDescription = "from a file";
  ASSERT_TRUE(ut::importProfile(file("default.reg").c_str(), &newName, &newDescription));
  ASSERT_TRUE(ut::setCurrentProfileName(L"imported", false));
  OdString device;
  EXPECT_TRUE(Config::read(ut::eCfgPlot, L"Device", device));
  EXPECT_EQ(device, L"A3 \"wide\"\nsecond line");
  EXPECT_EQ(config(L"OSMODE"), 4263);
  EXPECT_EQ(ut::getProfileDescription(L"Imported"), newDescription);
}

TEST_F(ProfileTest, FilesThatAreNotProfilesAreRefusedAndChangeNothing) {
  writeFile("outside.reg",
            "Windows Registry Editor Version 5.00\n\n" + kProfilesHeader + "Good]\n\"A\"=dword:1\n\n"
            "[HKEY_CURRENT_USER\\Software\\Other]\n\"B\"=\"x\"\n");
  writeFile("text.reg", "just some text\n");
  writeFile("two.reg", "REGEDIT4\n" + kProfilesHeader + "One]\n" + kProfilesHeader + "Two]\n");
  const qxtest::Reports reports;
  for (const char* name : {"outside.reg", "text.reg", "two.reg"}) {
    EXPECT_FALSE(ut::importProfile(file(name).c_str(), nullptr, nullptr)) << name;
  }
  EXPECT_FALSE(ut::importProfile(file("missing.reg").c_str(), nullptr, nullptr));
  EXPECT_FALSE(ut::importProfile(wxString(), nullptr, nullptr));
  ASSERT_EQ(reports.lines().size(), 5u);
  EXPECT_EQ(reports.lines()[0], "ut::importProfileArg: File \"" + (m_dir.path() / "outside.reg").string() +
                                    "\" is not a profile of the application");
  EXPECT_EQ(reports.lines()[3], "ut::importProfileArg: File not found: \"" +
                                    (m_dir.path() / "missing.reg").string() + "\"");
  EXPECT_EQ(reports.lines()[4], "ut::importProfileArg: Bad arguments");
  wxArrayString names;
  EXPECT_EQ(ut::getProfileNames(names), 1u);
}

// The name is read line by line: a file cut short before its header still names its profile.
TEST_F(ProfileTest, NameAndDescriptionAreReadLineByLine) {
  writeFile("headless.reg", kProfilesHeader + "Drafting\\Config]\n\"Description\"=\"not this\"\n" +
                                kProfilesHeader +
                                "Drafting]\n\"Description\"=\"two \\\"quoted\\\"\nlines\"\n");
  wxString name, description;
  ASSERT_TRUE(ut::getProfileNameFromFile(file("headless.reg").c_str(), name, &description));
  EXPECT_EQ(name, "Drafting");
  EXPECT_EQ(description, "two \"quoted\"\nlines");
  writeFile("none.reg", "[HKEY_CURRENT_USER\\Software\\Other]\n");
  EXPECT_FALSE(ut::getProfileNameFromFile(file("none.reg").c_str(), name, nullptr));
}

TEST_F(ProfileTest, ImportReportsMalformedLinesAndExpandsWhenAsked) {
  const qxtest::ScopedEnv home("QX_PROFILE_HOME", "/home/drafter");
  writeFile("expand.reg", "Windows Registry Editor Version 5.00\n\n" + kProfilesHeader +
                              "Expanded]\n"
                              "\"Path\"=\"$QX_PROFILE_HOME/blocks\"\nnot a value line\n\n" +
                              kProfilesHeader +
                              "Expanded\\Config]\n\"REGEXPAND\"=dword:00000001\n\"Bytes\"=hex:01,02\n"
                              "\"Wide\"=hex(b):00,00,00,00,01,00,00,00\n");
  const qxtest::Reports reports;
  ASSERT_TRUE(ut::importProfile(file("expand.reg").c_str(), nullptr, nullptr));
  ASSERT_EQ(reports.lines().size(), 2u);  // the malformed line, and the values a profile cannot hold
  EXPECT_THAT(reports.lines()[1], testing::HasSubstr("Skipped 2 values"));
  OdString path;
  ASSERT_TRUE(ut::setCurrentProfileName(L"Expanded", false));
  EXPECT_TRUE(Config::read(ut::eCfgProfile, L"Path", path));
  EXPECT_EQ(path, L"/home/drafter/blocks");
}

}  // namespace
