#include "ut_config.h"
#include "ut_log.h"

#include "test_support.h"
#include "ut_profile.h"
#include "ut_registry.h"
#include "ut_system.h"

#include <gtest/gtest.h>

#include <clocale>
#include <fstream>
#include <tuple>
#include <utility>

namespace {

using ut::Config;

const OdString kLanguageRoot = L"Software/Korvani/VeltoCAD/V26x64/en_US/";
const OdString kDefaultProfile = kLanguageRoot + L"Profiles/Default/";

// Every test starts the configuration afresh on a hive of its own.
class ConfigTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(ut::initConfig(nullptr)); }

  static bool hiveHas(const OdString& key, const OdString& value) {
    return ut::Registry::verifyValue(ut::eCurrentUser, key, value);
  }

  qxtest::TempDir m_dir;
  qxtest::ScopedEnv m_env{"VELTOCAD_REGISTRY_DIR", m_dir.path().string()};
};

TEST_F(ConfigTest, GroupsResolveToTheirPaths) {
  const std::pair<ut::ECfgGroup, OdString> cases[] = {
      {ut::eCfgRoot, L"/"},
      {ut::eCfgVersionRoot, L"Software/Korvani/VeltoCAD/V26x64/"},
      {ut::eCfgLanguageRoot, kLanguageRoot},
      {ut::eCfgProfile, kDefaultProfile},
      {ut::eCfgPlot, kDefaultProfile + L"Config/Plot/"},
      {ut::eCfg3dMouseMenu, kDefaultProfile + L"3dMouseMenu/"},
      {ut::eCfgProfiles, kLanguageRoot + L"Profiles/"},
      {ut::eCfgUser, kLanguageRoot + L"User/"}};
  for (const auto& [group, path] : cases)
    EXPECT_EQ(Config::keyPath(group, ut::eCfgPathConfig), path) << group;
  EXPECT_EQ(Config::regPath(ut::eCfgTest, true),
            L"HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\V26x64\\en_US\\TEST");
  EXPECT_EQ(Config::companyRoot(ut::eCfgPathNative), L"Korvani");
  EXPECT_EQ(Config::konvertorRoot(ut::eCfgPathRegistry), L"Software\\Korvani\\VeltoCAD Konvertor");
  EXPECT_EQ(Config::currentProfileName(), L"Default");
}

TEST_F(ConfigTest, UnknownGroupIsReportedAndMissing) {
  const qxtest::Reports reports;
  long value = 7;
  EXPECT_TRUE(Config::keyPath(static_cast<ut::ECfgGroup>(25), ut::eCfgPathConfig).isEmpty());
  EXPECT_FALSE(Config::read(static_cast<ut::ECfgGroup>(25), L"x", value));
  EXPECT_FALSE(Config::writeLong(static_cast<ut::ECfgGroup>(-1), L"x", 1));
  EXPECT_EQ(value, 7);
  EXPECT_EQ(reports.lines(), (std::vector<std::string>{"ut::keyPath: Unknown configuration group (25)",
                                                       "ut::keyPath: Unknown configuration group (25)",
                                                       "ut::keyPath: Unknown configuration group (-1)"}));
}

// Every kind round-trips in a profile group (the tree) and in a store group (the hive) alike, and a read
// of the wrong kind fails alike.
TEST_F(ConfigTest, TypedValuesRoundTripInBothKindsOfGroup) {
  for (ut::ECfgGroup group : {ut::eCfgDialogs, ut::eCfgSettings}) {
    SCOPED_TRACE(group);
    ASSERT_TRUE(Config::writeBool(group, L"Flag", true));
    ASSERT_TRUE(Config::writeShort(group, L"Small", -12));
    ASSERT_TRUE(Config::writeDouble(group, L"Sub/Ratio", 0.1));
    ASSERT_TRUE(Config::writeRect(group, L"Frame", tagRECT{1, 2, 3, 4}));
    ASSERT_TRUE(Config::writeSize(group, L"Size", wxSize(640, -480)));
    ASSERT_TRUE(Config::writePoint(group, L"Origin", OdGePoint3d(1.5, -2, 1e-3)));
    bool flag = false;
    short small = 0;
    double ratio = 0;
    tagRECT frame{};
    wxSize size;
    OdGePoint3d origin;
    OdString text;
    EXPECT_TRUE(Config::read(group, L"flag", flag) && flag);
    EXPECT_TRUE(Config::read(group, L"Small", small) && small == -12);
    EXPECT_TRUE(Config::read(group, L"Sub/Ratio", ratio) && ratio == 0.1);
    EXPECT_TRUE(Config::read(group, L"Frame", frame));
    EXPECT_EQ(std::vector<int>({frame.left, frame.top, frame.right, frame.bottom}),
              std::vector<int>({1, 2, 3, 4}));
    EXPECT_TRUE(Config::read(group, L"Frame", text) && text == L"1,2,3,4");
    EXPECT_TRUE(Config::read(group, L"Size", size) && size == wxSize(640, -480));
    EXPECT_TRUE(Config::read(group, L"Origin", origin) && origin == OdGePoint3d(1.5, -2, 1e-3));
    EXPECT_EQ(Config::entryType(group, L"Flag"), ut::eCfgTypeInteger);
    EXPECT_EQ(Config::entryType(group, L"Frame"), ut::eCfgTypeString);
    EXPECT_EQ(Config::entryType(group, L"Nothing"), ut::eCfgTypeUnknown);
    // Reads of the wrong kind, or out of range, fail and leave the output alone.
    ASSERT_TRUE(Config::writeString(group, L"Text", L"1,2,x") && Config::writeLong(group, L"Big", 70000));
    long number = 5;
    wxPoint point(5, 5);
    small = 5;
    text = L"kept";
    EXPECT_FALSE(Config::read(group, L"Text", number));
    EXPECT_FALSE(Config::read(group, L"Big", small));
    EXPECT_FALSE(Config::read(group, L"Text", point));
    EXPECT_FALSE(Config::read(group, L"Big", text));
    EXPECT_FALSE(Config::read(group, L"Missing", number));
    EXPECT_EQ(number, 5);
    EXPECT_EQ(small, 5);
    EXPECT_EQ(point, wxPoint(5, 5));
    EXPECT_EQ(text, L"kept");
  }
}

TEST_F(ConfigTest, ProfileChangesWaitForFlushOthersReachTheStoreAtOnce) {
  ASSERT_TRUE(Config::writeLong(ut::eCfgConfig, L"Pending", 3));
  ASSERT_TRUE(Config::writeLong(ut::eCfgSetup, L"Direct", 4));
  long value = 0;
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"Pending", value) && value == 3);
  EXPECT_TRUE(Config::read(kDefaultProfile + L"Config/Pending", value) && value == 3);
  const OdString registryProfile = Config::regPath(ut::eCfgConfig);
  EXPECT_FALSE(hiveHas(registryProfile, L"Pending"));
  EXPECT_TRUE(hiveHas(Config::regPath(ut::eCfgSetup), L"Direct"));
  ASSERT_TRUE(Config::flush());
  EXPECT_TRUE(hiveHas(registryProfile, L"Pending"));
}

TEST_F(ConfigTest, StructureOperationsInBothKindsOfGroup) {
  for (ut::ECfgGroup group : {ut::eCfgToolbars, ut::eCfgAddins}) {
    SCOPED_TRACE(group);
    ASSERT_TRUE(Config::writeLong(group, L"Bar/Size", 2));
    ASSERT_TRUE(Config::writeString(group, L"Bar/Name", L"main"));
    EXPECT_TRUE(Config::copyGroup(group, L"Bar", L"Copy/Bar"));
    EXPECT_TRUE(Config::renameEntry(group, L"Bar/Size", L"Width"));
    EXPECT_TRUE(Config::renameGroup(group, L"Copy", L"Moved"));
    EXPECT_TRUE(Config::copyEntry(group, L"Bar/Name", L"Top"));
    EXPECT_FALSE(Config::deleteEntry(group, L"Bar/Size"));
    OdArray<OdString> groups, entries;
    EXPECT_TRUE(Config::listGroups(group, groups));
    EXPECT_TRUE(Config::listEntries(group, entries, L"Bar"));
    EXPECT_EQ(groups, (OdArray<OdString>{L"Bar", L"Moved"}));
    EXPECT_EQ(entries, (OdArray<OdString>{L"Name", L"Width"}));
    EXPECT_EQ(Config::countEntries(group), 1);
    EXPECT_TRUE(Config::hasEntry(group, L"Moved/Bar/Size"));
    EXPECT_TRUE(Config::deleteGroup(group, L"Moved"));
    // In a profile the existence tests find any node, the tombstone a deletion leaves until the flush too.
    const bool inProfile = group == ut::eCfgToolbars;
    EXPECT_EQ(Config::hasGroup(group, L"Moved"), inProfile);
    EXPECT_EQ(Config::hasEntry(group, L"Bar"), inProfile);
    ASSERT_TRUE(Config::flush());
    EXPECT_FALSE(Config::hasGroup(group, L"Moved"));
    EXPECT_TRUE(Config::deleteGroup(group));
    EXPECT_EQ(Config::hasGroup(group), inProfile);
    ASSERT_TRUE(Config::flush());
    EXPECT_FALSE(Config::hasGroup(group));
  }
}

// A name that cannot name a key is refused where it is written, with a message, and costs nothing else.
TEST_F(ConfigTest, PathsThatLeaveTheirGroupAreRefused) {
  const OdString tooLong(std::wstring(256, L'k'));
  const qxtest::Reports reports;
  for (ut::ECfgGroup group : {ut::eCfgDialogs, ut::eCfgSettings}) {
    for (const OdString& path :
         {OdString(L"a\\b/X"), OdString(L"../X"), OdString(L"a/./X"), tooLong + L"/Pos"}) {
      EXPECT_FALSE(Config::writeLong(group, path, 1)) << group << " " << path.c_str();
    }
  }
  EXPECT_EQ(reports.lines().size(), 8u);
  ASSERT_TRUE(Config::writeLong(ut::eCfgConfig, L"OSMODE", 1));
  ASSERT_TRUE(Config::writeLong(ut::eCfgToolbars, L"Bar/Size", 2));
  ASSERT_TRUE(Config::flush());
  EXPECT_TRUE(hiveHas(Config::regPath(ut::eCfgConfig), L"OSMODE"));
  EXPECT_TRUE(hiveHas(Config::regPath(ut::eCfgToolbars) + L"\\Bar", L"Size"));
  OdArray<OdString> groups, entries;
  ASSERT_TRUE(ut::Registry::listKeys(ut::eCurrentUser, Config::regPath(ut::eCfgProfiles), groups));
  EXPECT_EQ(groups, (OdArray<OdString>{L"Default"}));
  for (ut::ECfgGroup group : {ut::eCfgProfile, ut::eCfgDialogs, ut::eCfgLanguageRoot, ut::eCfgSettings}) {
    ut::Registry::listValues(ut::eCurrentUser, Config::regPath(group), entries);
  }
  EXPECT_TRUE(entries.isEmpty()) << entries.size();
}

// Outside profiles a group is copied with its key's default value, which stays where it is.
TEST_F(ConfigTest, StoreGroupsCopyWithTheirDefaultValue) {
  ut::Registry key(true);
  const OdString settings = Config::regPath(ut::eCfgSettings);
  ASSERT_TRUE(key.create(ut::eCurrentUser, settings + L"\\Src"));
  ASSERT_TRUE(key.write(L"", OdString(L"own")) && key.write(L"v", 1L));
  EXPECT_TRUE(Config::copyGroup(ut::eCfgSettings, L"Src", L"Copy"));
  EXPECT_TRUE(Config::renameGroup(ut::eCfgSettings, L"Copy", L"Moved"));
  OdString own;
  ASSERT_TRUE(key.open(ut::eCurrentUser, settings + L"\\Moved"));
  EXPECT_TRUE(key.read(L"", own) && own == L"own");
  OdArray<OdString> stray;
  ASSERT_TRUE(ut::Registry::listValues(ut::eCurrentUser, settings, stray));
  EXPECT_TRUE(stray.isEmpty());
}

// Points and doubles are stored as "1.5", whatever decimal separator the thread or the process uses.
TEST_F(ConfigTest, NumbersInTextIgnoreTheHostsLocale) {
  const locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", locale_t(nullptr));
  if (!german) GTEST_SKIP() << "de_DE.UTF-8 is not installed";
  const std::string processBefore = setlocale(LC_NUMERIC, nullptr);
  setlocale(LC_NUMERIC, "de_DE.UTF-8");
  const locale_t threadBefore = uselocale(german);
  EXPECT_TRUE(Config::writePoint(ut::eCfgConfig, L"Origin", OdGePoint3d(1.5, -2.25, 1e-3)));
  EXPECT_TRUE(Config::writeDouble(ut::eCfgSettings, L"Ratio", 0.5));
  OdString text;
  OdGePoint3d origin;
  double ratio = 0;
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"Origin", text) && text == L"1.5,-2.25,0.001") << text.c_str();
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"Origin", origin) && origin == OdGePoint3d(1.5, -2.25, 1e-3));
  EXPECT_TRUE(Config::read(ut::eCfgSettings, L"Ratio", text) && text == L"0.5");
  EXPECT_TRUE(Config::read(Config::keyPath(ut::eCfgSettings, ut::eCfgPathConfig) + L"Ratio", ratio) &&
              ratio == 0.5);
  uselocale(threadBefore);
  setlocale(LC_NUMERIC, processBefore.c_str());
  freelocale(german);
}

TEST_F(ConfigTest, NumberedListsReplaceTheStoredListOnlyWhenChanged) {
  const OdArray<OdString> three{L"a.dwg", L"b.dwg", L"c.dwg"};
  EXPECT_EQ(Config::saveListToRegistry(ut::eCfgRecentPaths, L"Files", three), ut::eRegListDone);
  EXPECT_EQ(Config::saveListToRegistry(ut::eCfgRecentPaths, L"Files", three), ut::eRegListUnchanged);
  EXPECT_EQ(Config::saveListToRegistry(ut::eCfgUser, L"Files", {L"x", L"y"}), ut::eRegListDone);
  EXPECT_EQ(Config::saveListToRegistry(ut::eCfgUser, L"Files", {L"z"}), ut::eRegListDone);
  EXPECT_FALSE(hiveHas(Config::regPath(ut::eCfgUser) + L"\\Files", L"File2"));
  OdArray<OdString> loaded{L"kept"};
  EXPECT_EQ(Config::loadListFromRegistry(ut::eCfgRecentPaths, L"Files", loaded), ut::eRegListDone);
  EXPECT_EQ(loaded, (OdArray<OdString>{L"kept", L"a.dwg", L"b.dwg", L"c.dwg"}));
  EXPECT_EQ(Config::loadListFromRegistry(ut::eCfgUser, L"None", loaded), ut::eRegListEmpty);
  OdString first;
  EXPECT_TRUE(Config::read(ut::eCfgRecentPaths, L"Files/File1", first) && first == L"a.dwg");
}

TEST_F(ConfigTest, AdminPolicyPrefersTheMachine) {
  const OdString policy = L"Software\\Korvani\\VeltoCAD\\AdminPolicy";
  ut::Registry user(true), machine(true);
  ASSERT_TRUE(user.create(ut::eCurrentUser, policy));
  ASSERT_TRUE(user.write(L"Both", 1L) && user.write(L"UserOnly", 2L) && user.write(L"Text", OdString(L"u")));
  ASSERT_TRUE(machine.create(ut::eLocalMachine, policy));
  ASSERT_TRUE(machine.write(L"Both", 0L));
  bool both = true;
  short userOnly = 0;
  OdString text;
  EXPECT_TRUE(Config::readAdminVal(L"Both", both) && !both);
  EXPECT_TRUE(Config::readAdminVal(L"UserOnly", userOnly) && userOnly == 2);
  EXPECT_TRUE(Config::readAdminVal(L"Text", text) && text == L"u");
  EXPECT_FALSE(Config::readAdminVal(L"Missing", both));
}

TEST_F(ConfigTest, FirstStartMakesTheDefaultProfileWithShapeDefaults) {
  long osmode = 0;
  bool getStarted = false;
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"OSMODE", osmode) && osmode == 4263);
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"GETSTARTED", getStarted) && getStarted);
  ASSERT_TRUE(Config::writeLong(ut::eCfgConfig, L"OSMODE", 1));
  ASSERT_TRUE(ut::setCurrentProfileName(L"Other", true));
  ASSERT_TRUE(ut::writeConfig());
  ASSERT_TRUE(ut::initConfig(nullptr));  // as the next start of the application
  EXPECT_EQ(Config::currentProfileName(), L"Other");
  ASSERT_TRUE(ut::setCurrentProfileName(L"default", false));
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"OSMODE", osmode) && osmode == 1);
}

TEST_F(ConfigTest, FileModeKeepsTheTreeInTheFile) {
  const std::filesystem::path file = m_dir.path() / "conf" / "config";
  Config::setInitFromFile(true, file.wstring().c_str());
  ASSERT_TRUE(ut::initConfig(nullptr));
  EXPECT_TRUE(Config::writeLong(ut::eCfgConfig, L"InFile", 9) && ut::writeConfig());
  EXPECT_TRUE(Config::writeString(ut::eCfgSetup, L"Also", L"there"));
  EXPECT_TRUE(Config::writeLong(ut::eCfgConfig, L"Later", 1) && ut::writeConfig());
  ASSERT_TRUE(ut::initConfig(nullptr));
  long value = 0;
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"InFile", value) && value == 9);
  EXPECT_EQ(ut::getString(ut::eCfgSetup, "Also"), "there");
  Config::setInitFromFile(false);
  EXPECT_FALSE(hiveHas(Config::regPath(ut::eCfgSetup), L"Also"));
  EXPECT_NE(qxtest::fileBytes(file).find("InFile=dword:00000009"), std::string::npos);
}

TEST(QsbAppIdTest, ReadsTheIdentifierBesideTheExecutableAndTracesFailures) {
  const std::filesystem::path file = std::filesystem::path(ut::getExecutableFolder().c_str()) / "qsb.json";
  const qxtest::TempDir dir;
  const std::string trace = (dir.path() / "trace.txt").string();
  // Each row: the file (none, or a link to the path given), the identifier read, and what is traced.
  const std::tuple<const char*, const wchar_t*, const char*> cases[] = {
      {nullptr, L"", "1> QSB app ID file '"},
      {R"({"appID": "veltocad-26", "companyID": "korvani"})", L"veltocad-26", ""},
      {"{not json", L"", "1> Unable to parse json from QSB app ID file '"},
      {R"({"companyID": "korvani"})", L"", "1> Unable to read json key 'appID' from QSB app file\n"},
      {"/proc/self/mem", L"",
       "1> Unable to read QSB app ID file '"},  // a link: there, unreadable from its start
  };
  for (const auto& [content, id, traced] : cases) {
    if (content && *content == '/')
      std::filesystem::create_symlink(content, file);
    else if (content)
      std::ofstream(file) << content;
    UtTracer::tracer().setStreamName(trace.c_str(), 1, 0);
    EXPECT_EQ(Config::qsbAppID(), id);
    UtTracer::tracer().freeStream();
    EXPECT_NE(qxtest::fileBytes(trace).find(traced), std::string::npos) << traced;
    std::filesystem::remove(file);
  }
}

TEST_F(ConfigTest, TwoProcessesFlushingOneProfileBothKeepTheirChanges) {
  ASSERT_TRUE(ut::writeConfig());
  qxtest::ChildProcess first({QX_HIVE_CHILD_PATH, "flush", "First", "1"});
  qxtest::ChildProcess second({QX_HIVE_CHILD_PATH, "flush", "Second", "2"});
  ASSERT_NO_FATAL_FAILURE(qxtest::runSideBySide(first, second));
  ASSERT_TRUE(ut::initConfig(nullptr));
  long one = 0, two = 0;
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"First", one) && one == 1);
  EXPECT_TRUE(Config::read(ut::eCfgConfig, L"Second", two) && two == 2);
}

}  // namespace
