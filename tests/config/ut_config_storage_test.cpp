#include "ut_config_storage.h"

#include "test_support.h"
#include "ut_registry.h"
#include "ut_registry_config.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <chrono>
#include <thread>

namespace {

const OdString kProductKey = L"Software\\Korvani\\VeltoCAD";
const OdString kTest = L"Software/Korvani/VeltoCAD/Test/";

unsigned long number(const ut::ConfigNodePtr& root, const wchar_t* path) {
  unsigned long value = 0;
  const ut::ConfigNodePtr node = root ? root->childAt(path) : nullptr;
  return node && node->getULong(value) ? value : 999;
}

OdString text(const ut::ConfigNodePtr& root, const wchar_t* path) {
  OdString value;
  const ut::ConfigNodePtr node = root ? root->childAt(path) : nullptr;
  return node && node->getString(value) ? value : OdString(L"<none>");
}

// What exportGroup writes for the group Test/, decoded from UTF-16 after its byte order mark.
wxString exportedTest(const std::filesystem::path& file) {
  ut::RegistryConfig config(L"VeltoCAD", L"Korvani");
  if (!ut::exportGroup(config, kProductKey, L"Test/", file.wstring().c_str())) return "export failed";
  const std::string bytes = qxtest::fileBytes(file);
  return wxString(bytes.data() + 2, wxMBConvUTF16LE(), bytes.size() - 2);
}

class ConfigStorageTest : public testing::Test {
 protected:
  void SetUp() override {
    ut::RegistryConfig config(L"VeltoCAD", L"Korvani");
    config.Write("/Test/Number", 1L);
    config.Write("/Test/Name", wxString("one"));
    config.Write("/Test/Home", wxString("$HOME/x"));
    config.Write("/Test/Old/Gone", 5L);
    config.Write("/Test/Sub/Kept", 7L);
    config.Write("/Test/Sub/Deep/Value", 8L);
  }

  qxtest::TempDir m_dir;
  qxtest::ScopedEnv m_env{"VELTOCAD_REGISTRY_DIR", m_dir.path().string()};
};

TEST_F(ConfigStorageTest, LoadsTheTreeUnderItsRoot) {
  ut::ConfigRegistryStorage storage(kTest, true);
  const ut::ConfigNodePtr root = storage.load();
  ASSERT_TRUE(root);
  EXPECT_EQ(root->path(), L"Test");
  EXPECT_EQ(number(root, L"number"), 1u);
  EXPECT_EQ(text(root, L"Name"), L"one");
  EXPECT_EQ(text(root, L"Home"), L"$HOME/x");  // stored text, not the environment's
  EXPECT_EQ(number(root, L"Sub/Deep/Value"), 8u);
  EXPECT_FALSE(ut::ConfigRegistryStorage(L"Missing/", false).load());
  EXPECT_FALSE(storage.save(root));  // a read-only store
}

TEST_F(ConfigStorageTest, SaveWritesChangesTombstonesAndReplacements) {
  ut::ConfigRegistryStorage storage(kTest, false);
  const ut::ConfigNodePtr root = storage.load();
  ASSERT_TRUE(root->childAt(L"Number")->setULong(2));
  ASSERT_TRUE(root->removeChild(root->childAt(L"Old")));
  ut::ConfigNodePtr fresh = ut::ConfigNode::createNode(L"Sub/");
  ut::ConfigNodePtr only = ut::ConfigNode::createNode(L"Only");
  ASSERT_TRUE(only->setString(L"new"));
  fresh->addChild(only);
  ASSERT_TRUE(root->addChild(fresh));  // replaces Sub whole
  ASSERT_TRUE(storage.save(root));

  const ut::ConfigNodePtr reloaded = ut::ConfigRegistryStorage(kTest, false).load();
  EXPECT_EQ(number(reloaded, L"Number"), 2u);
  EXPECT_EQ(text(reloaded, L"Name"), L"one");
  EXPECT_FALSE(reloaded->childAt(L"Old"));
  EXPECT_EQ(text(reloaded, L"Sub/Only"), L"new");
  EXPECT_FALSE(reloaded->childAt(L"Sub/Kept"));
  EXPECT_FALSE(reloaded->childAt(L"Sub/Deep"));
}

TEST_F(ConfigStorageTest, ChangesThroughHeldNodesAreSaved) {
  ut::ConfigRegistryStorage storage(kTest, false);
  const ut::ConfigNodePtr root = storage.load();
  const ut::ConfigNodePtr deep = root->childAt(L"Sub/Deep");
  const ut::ConfigNodePtr count = root->childAt(L"Number");
  ASSERT_TRUE(storage.save(root));  // clears every touched mark
  ASSERT_TRUE(count->setULong(11));
  ASSERT_TRUE(deep->childAt(L"Value")->setULong(12));
  ASSERT_TRUE(storage.save(root));
  const ut::ConfigNodePtr reloaded = ut::ConfigRegistryStorage(kTest, true).load();
  EXPECT_EQ(number(reloaded, L"Number"), 11u);
  EXPECT_EQ(number(reloaded, L"Sub/Deep/Value"), 12u);
}

// A group the store cannot name is reported and skipped, and nothing of it lands anywhere else.
TEST_F(ConfigStorageTest, AGroupTheStoreCannotNameCostsOnlyItself) {
  ut::ConfigRegistryStorage storage(kTest, false);
  const ut::ConfigNodePtr root = storage.load();
  for (const std::wstring& name : {std::wstring(L"a\\b"), std::wstring(L".."), std::wstring(256, L'k')}) {
    const ut::ConfigNodePtr group = ut::ConfigNode::createNode(OdString(name) + L"/");
    const ut::ConfigNodePtr entry = ut::ConfigNode::createNode(L"Stray");
    ASSERT_TRUE(entry->setULong(1));
    group->addChild(entry);
    root->addChild(group);
  }
  ASSERT_TRUE(root->childAt(L"Number")->setULong(2));
  const qxtest::Reports reports;
  EXPECT_FALSE(storage.save(root));
  EXPECT_EQ(reports.lines().size(), 3u);
  const ut::ConfigNodePtr reloaded = ut::ConfigRegistryStorage(kTest, false).load();
  EXPECT_EQ(number(reloaded, L"Number"), 2u);
  EXPECT_FALSE(reloaded->childAt(L"Stray"));
  EXPECT_FALSE(ut::Registry::verifyValue(ut::eCurrentUser, kProductKey, L"Stray"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, kProductKey + L"\\Test\\a"));
}

// A group's own value is its key's default value, in both stores.
TEST_F(ConfigStorageTest, GroupsKeepTheirOwnValues) {
  for (const bool inFile : {false, true}) {
    SCOPED_TRACE(inFile ? "file" : "registry");
    ut::ConfigFileStorage::use(inFile, (m_dir.path() / "config").wstring().c_str());
    const auto store = [inFile]() -> std::unique_ptr<ut::ConfigStorageWx> {
      if (inFile) return std::make_unique<ut::ConfigFileStorage>(kTest, false);
      return std::make_unique<ut::ConfigRegistryStorage>(kTest, false);
    };
    const ut::ConfigNodePtr root = ut::ConfigNode::createNode(L"Test/");
    const ut::ConfigNodePtr sub = ut::ConfigNode::createNode(L"Sub/");
    ASSERT_TRUE(sub->setULong(7) && root->setString(L"top"));
    root->addChild(sub);
    ASSERT_TRUE(store()->save(root));
    const ut::ConfigNodePtr loaded = store()->load();
    ASSERT_TRUE(loaded);
    EXPECT_EQ(number(loaded, L"Sub"), 7u);
    OdString own;
    EXPECT_TRUE(loaded->getString(own) && own == L"top");
  }
  ut::ConfigFileStorage::use(false);
  ut::Registry key;
  long value = 0;
  ASSERT_TRUE(key.open(ut::eCurrentUser, kProductKey + L"\\Test\\Sub"));
  EXPECT_TRUE(key.read(L"", value) && value == 7);
  const wxString text = exportedTest(m_dir.path() / "group.reg");
  EXPECT_NE(text.find("\r\n@=\"top\"\r\n"), wxString::npos) << text;
  EXPECT_NE(text.find("\r\n@=dword:00000007\r\n"), wxString::npos) << text;
}

TEST_F(ConfigStorageTest, TwoProcessesSavingOneGroupBothKeepTheirChanges) {
  qxtest::ChildProcess first({QX_HIVE_CHILD_PATH, "save", "Software/Korvani/VeltoCAD/Test/", "Number", "41"});
  qxtest::ChildProcess second(
      {QX_HIVE_CHILD_PATH, "save", "Software/Korvani/VeltoCAD/Test/", "Sub/Kept", "42"});
  ASSERT_NO_FATAL_FAILURE(qxtest::runSideBySide(first, second));
  const ut::ConfigNodePtr root = ut::ConfigRegistryStorage(kTest, true).load();
  EXPECT_EQ(number(root, L"Number"), 41u);
  EXPECT_EQ(number(root, L"Sub/Kept"), 42u);
}

TEST_F(ConfigStorageTest, SaveKilledMidwayLeavesAllOrNothing) {
  constexpr int kEntries = 20000;
  const std::filesystem::path wal = m_dir.path() / "user.hive-wal";
  qxtest::ChildProcess child({QX_HIVE_CHILD_PATH, "bigsave", "Software/Big/", std::to_string(kEntries)});
  ASSERT_EQ(child.read(), "saving");
  // Kill once the save has spilled a few megabytes into the log: well inside its 20 MB.
  for (int i = 0; i < 2000 && !(std::filesystem::exists(wal) && std::filesystem::file_size(wal) > (4u << 20));
       ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  child.kill();
  const ut::ConfigNodePtr root = ut::ConfigRegistryStorage(L"Software/Big/", true).load();
  size_t entries = 0;
  if (root) {
    for (const ut::ConfigNodePtr& group : root->children()) entries += group->children().size();
  }
  EXPECT_TRUE(entries == 0 || entries == kEntries) << entries << " entries survived";
}

TEST_F(ConfigStorageTest, ConfigBaseReadsWritesAndFlushes) {
  ut::ConfigBase area(kTest);
  ASSERT_TRUE(area.isInited());
  long number = 0;
  bool flag = false;
  OdString name;
  EXPECT_TRUE(area.read(L"NUMBER", number));
  EXPECT_EQ(number, 1);
  EXPECT_FALSE(area.read(L"Name", number));
  EXPECT_TRUE(area.read(L"Name", name));
  EXPECT_TRUE(area.writeLong(L"New/Deep/Level", -3));
  EXPECT_TRUE(area.writeBool(L"New/On", true));
  EXPECT_FALSE(area.writeLong(L"New/Huge", 1L << 40));
  EXPECT_TRUE(area.deleteGroup(L"Old/"));
  EXPECT_TRUE(area.deleteEntry(L"Name"));
  EXPECT_FALSE(area.deleteEntry(L"Name"));
  EXPECT_FALSE(area.read(L"Name", name));
  EXPECT_TRUE(area.hasEntry(L"Name"));  // the tombstone, until the flush
  OdArray<OdString> groups;
  EXPECT_FALSE(area.listGroups(L"Old", groups));
  EXPECT_TRUE(area.listGroups(L"", groups));
  EXPECT_EQ(groups, (OdArray<OdString>{L"New", L"Sub"}));
  EXPECT_EQ(area.countEntries(L"New/"), 1);
  ASSERT_TRUE(area.flush());

  const ut::ConfigBase reloaded(kTest);
  EXPECT_TRUE(reloaded.read(L"New/Deep/Level", number));
  EXPECT_EQ(number, -3);
  EXPECT_TRUE(reloaded.read(L"New/On", flag) && flag);
  EXPECT_FALSE(reloaded.hasEntry(L"Name"));
  EXPECT_FALSE(reloaded.hasGroup(L"Old/"));
  EXPECT_FALSE(ut::ConfigBase(L"Nowhere/").isInited());
}

TEST_F(ConfigStorageTest, GroupExportWritesEntriesThenSubGroups) {
  ut::RegistryConfig(L"VeltoCAD", L"Korvani").Write("/Test/Ratio", 0.25);
  EXPECT_EQ(
      exportedTest(m_dir.path() / "group.reg"),
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\Test]\r\n"
      "\"Number\"=dword:00000001\r\n\"Name\"=\"one\"\r\n\"Home\"=\"$HOME/x\"\r\n\"Ratio\"=\"0.25\"\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\Test\\Old]\r\n\"Gone\"=dword:00000005\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\Test\\Sub]\r\n\"Kept\"=dword:00000007\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\Test\\Sub\\Deep]\r\n\"Value\"=dword:"
      "00000008\r\n\r\n");
}

TEST_F(ConfigStorageTest, GroupExportReportsBadArguments) {
  const qxtest::Reports reports;
  ut::RegistryConfig config(L"VeltoCAD", L"Korvani");
  const OdString file = (m_dir.path() / "g.reg").wstring().c_str();
  EXPECT_FALSE(ut::exportGroup(config, kProductKey, L"", file));
  EXPECT_FALSE(ut::exportGroup(config, kProductKey, L"Missing/", file));
  EXPECT_FALSE(
      ut::exportGroup(config, kProductKey, L"Test/", (m_dir.path() / "no" / "g.reg").wstring().c_str()));
  const std::string noFile = (m_dir.path() / "no" / "g.reg").string();
  EXPECT_FALSE(ut::exportGroup(config, kProductKey, L"Test/", m_dir.path().wstring().c_str()));
  EXPECT_FALSE(ut::exportGroup(config, kProductKey, L"Test/", L"/dev/full"));
  EXPECT_EQ(reports.lines(),
            (std::vector<std::string>{
                "ut::exportGroup: Bad group path: ", "ut::exportGroup: Config group not found: Missing/",
                "ut::exportGroup: Failed to create file " + noFile,
                "ut::exportGroup: Failed to open file " + m_dir.path().string(),
                "ut::exportGroup: Failed to write to file /dev/full"}));
}

TEST(TypesafeFileConfigTest, KindsSurviveTheFile) {
  qxtest::TempDir dir;
  const wxString file = (dir.path() / "config").string();
  {
    ut::TypesafeFileConfig config("App", "Vendor", file);
    config.Write("number", 42L);
    config.Write("negative", -1L);
    config.Write("digits", wxString("42"));
    config.Write("lookalike", wxString("dword:0000002a"));
    config.Write("slashed", wxString("\\dword:x"));
    ASSERT_TRUE(config.Flush());
  }
  ut::TypesafeFileConfig config("App", "Vendor", file);
  long value = 0;
  wxString text;
  EXPECT_EQ(config.GetEntryType("number"), wxConfigBase::Type_Integer);
  EXPECT_TRUE(config.Read("number", &value) && value == 42);
  EXPECT_TRUE(config.Read("negative", &value) && value == -1);
  EXPECT_EQ(config.GetEntryType("digits"), wxConfigBase::Type_String);
  EXPECT_FALSE(config.Read("number", &text));
  EXPECT_TRUE(config.Read("lookalike", &text) && text == "dword:0000002a");
  EXPECT_EQ(config.GetEntryType("lookalike"), wxConfigBase::Type_String);
  EXPECT_TRUE(config.Read("slashed", &text) && text == "\\dword:x");
}

// Each store changes only what it was given, on the file as it is now; the file and its folder are the
// user's own.
TEST(ConfigFileStorageTest, StoresOverOneFileKeepEachOthersChanges) {
  qxtest::TempDir dir;
  const std::filesystem::path file = dir.path() / "conf" / "config";
  ut::ConfigFileStorage::use(true, file.wstring().c_str());
  const mode_t umaskBefore = umask(0);
  ut::ConfigNodePtr seed = ut::ConfigNode::createNode(L"P/");
  for (const wchar_t* name : {L"A", L"B"}) {
    const ut::ConfigNodePtr entry = ut::ConfigNode::createNode(name);
    ASSERT_TRUE(entry->setULong(1));
    seed->addChild(entry);
  }
  ASSERT_TRUE(ut::ConfigFileStorage(L"P/", false).save(seed));
  umask(umaskBefore);
  ut::ConfigFileStorage first(L"P/", false), second(L"P/", false);
  const ut::ConfigNodePtr one = first.load(), two = second.load();
  ASSERT_TRUE(one && two);
  ASSERT_TRUE(one->childAt(L"A")->setULong(2));
  ASSERT_TRUE(first.save(one));
  ASSERT_TRUE(two->childAt(L"B")->setULong(3));
  ASSERT_TRUE(second.save(two));
  const ut::ConfigNodePtr loaded = ut::ConfigFileStorage(L"P/", false).load();
  EXPECT_EQ(number(loaded, L"A"), 2u);
  EXPECT_EQ(number(loaded, L"B"), 3u);
  ut::ConfigFileStorage::use(false);
  EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(file).permissions()), 0600u);
  EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(file.parent_path()).permissions()), 0700u);
}

}  // namespace
