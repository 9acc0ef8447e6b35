#include "ut_registry.h"

#include "config/ut_registry_p.h"
#include "test_support.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <thread>

namespace {

using qxtest::fileBytes;

// Every test gets hives of its own in a fresh directory, and sees what the library reports.
class RegistryTest : public testing::Test {
 protected:
  const std::vector<std::string>& reports() const { return m_reports.lines(); }

  qxtest::TempDir m_dir;
  qxtest::ScopedEnv m_env{"VELTOCAD_REGISTRY_DIR", m_dir.path().string()};
  qxtest::Reports m_reports;
};

TEST_F(RegistryTest, ValuesOfEveryKindRoundTrip) {
  ut::Registry key(true);
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"Software\\Korvani\\Test"));
  wxMemoryBuffer bytes;
  bytes.AppendData("\0\1\2\xFF", 4);
  EXPECT_TRUE(key.write(L"Number", -2L));
  EXPECT_TRUE(key.write(L"Big", 4000000000L));
  EXPECT_FALSE(key.write(L"TooBig", 5000000000L));
  EXPECT_TRUE(key.write(L"Text", OdString(L"a\u00E9\U0001F600")));
  EXPECT_TRUE(key.write(L"Bytes", bytes));

  long number = 0;
  OdString text;
  wxMemoryBuffer read;
  EXPECT_TRUE(key.read(L"NUMBER", number));
  EXPECT_EQ(number, -2);
  EXPECT_TRUE(key.read(L"Big", number));
  EXPECT_EQ(number, static_cast<int32_t>(4000000000u));
  EXPECT_TRUE(key.read(L"text", text));
  EXPECT_EQ(text, L"a\u00E9\U0001F600");
  EXPECT_TRUE(key.read(L"Bytes", read));
  EXPECT_EQ(std::string(static_cast<char*>(read.GetData()), read.GetDataLen()), std::string("\0\1\2\xFF", 4));
  EXPECT_FALSE(key.read(L"Text", number));
  EXPECT_FALSE(key.read(L"Number", text));
  EXPECT_EQ(key.valueType(L"Text"), ut::eRegString);
  EXPECT_EQ(key.valueType(L"Bytes"), ut::eRegBinary);
  EXPECT_EQ(key.valueType(L"Missing"), ut::eRegNone);
  EXPECT_FALSE(key.read(L"TooBig", number));
}

TEST_F(RegistryTest, NamesIgnoreCaseAndKeepTheirSpelling) {
  ut::Registry key(true);
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"Software\\MixedCase"));
  EXPECT_TRUE(key.write(L"Straße", 1L));
  EXPECT_TRUE(key.write(L"STRASSE", 2L));
  EXPECT_TRUE(key.write(L"\u00C9t\u00E9", 3L));
  EXPECT_TRUE(key.write(L"\u00E9T\u00C9", 4L));
  OdArray<OdString> values, keys;
  ASSERT_TRUE(ut::Registry::listValues(ut::eCurrentUser, L"software\\mixedcase", values));
  EXPECT_EQ(values, (OdArray<OdString>{L"Straße", L"STRASSE", L"\u00C9t\u00E9"}));
  long number = 0;
  EXPECT_TRUE(key.read(L"\u00C9T\u00C9", number));
  EXPECT_EQ(number, 4);
  ASSERT_TRUE(ut::Registry::createKey(ut::eCurrentUser, L"SOFTWARE\\mixedCASE\\Sub", nullptr));
  ASSERT_TRUE(ut::Registry::listKeys(ut::eCurrentUser, L"Software", keys));
  EXPECT_EQ(keys, OdArray<OdString>{L"MixedCase"});
  EXPECT_TRUE(key.verifyKey(L"SUB"));
}

TEST_F(RegistryTest, LimitsAreRefusedWithAMessage) {
  ut::Registry key(true);
  EXPECT_FALSE(key.create(ut::eCurrentUser, L"Software\\" + OdString(std::wstring(256, L'k'))));
  EXPECT_TRUE(key.create(ut::eCurrentUser, L"Software\\" + OdString(std::wstring(255, L'k'))));
  EXPECT_TRUE(key.write(OdString(std::wstring(16383, L'v')), 1L));
  EXPECT_FALSE(key.write(OdString(std::wstring(16384, L'v')), 1L));
  const wchar_t loneSurrogate[] = {L'x', static_cast<wchar_t>(0xD800), 0};
  EXPECT_FALSE(key.write(loneSurrogate, 1L));
  EXPECT_FALSE(key.create(ut::eCurrentUser, OdString(L"Software\\") + loneSurrogate));
  OdString deepest = L"Software";
  for (int level = 2; level <= 512; ++level) deepest += L"\\k";
  EXPECT_TRUE(key.create(ut::eCurrentUser, deepest));
  EXPECT_FALSE(key.create(ut::eCurrentUser, deepest + L"\\k"));
  EXPECT_EQ(reports(), (std::vector<std::string>{
                           "ut::Registry::create: a key name longer than 255 characters",
                           "ut::Registry::write: a value name longer than 16383 characters",
                           "ut::Registry::write: a value name holding a character that is not Unicode text",
                           "ut::Registry::create: a key name holding a character that is not Unicode text",
                           "ut::Registry::create: a key more than 512 levels deep"}));
}

// The user's hive is the user's own, as HKEY_CURRENT_USER is; the machine's is readable by everyone.
TEST_F(RegistryTest, HivesAreMadeWithTheirOwnModesWhateverTheUmask) {
  const std::filesystem::path dir = m_dir.path() / "made" / "here";
  const qxtest::ScopedEnv env("VELTOCAD_REGISTRY_DIR", dir.string());
  const mode_t umaskBefore = umask(0);
  ASSERT_TRUE(ut::Registry::createKey(ut::eCurrentUser, L"Software\\Mine", nullptr));
  ASSERT_TRUE(ut::Registry::createKey(ut::eLocalMachine, L"Software\\Shared", nullptr));
  umask(umaskBefore);
  const auto mode = [](const std::filesystem::path& path) {
    return static_cast<unsigned>(std::filesystem::status(path).permissions());
  };
  EXPECT_EQ(mode(m_dir.path() / "made"), 0700u);
  EXPECT_EQ(mode(dir), 0700u);
  EXPECT_EQ(mode(dir / "user.hive"), 0600u);
  EXPECT_EQ(mode(dir / "user.hive-wal"), 0600u);
  EXPECT_EQ(mode(dir / "machine.hive"), 0644u);
}

TEST_F(RegistryTest, ReadOnlyKeysRefuseWrites) {
  ASSERT_TRUE(ut::Registry::createKey(ut::eCurrentUser, L"Software\\R", nullptr));
  ut::Registry reader(false);
  ASSERT_TRUE(reader.open(ut::eCurrentUser, L"Software\\R"));
  EXPECT_FALSE(reader.write(L"x", 1L));
  EXPECT_FALSE(reader.open(ut::eCurrentUser, L"Software\\Missing"));
}

TEST_F(RegistryTest, DeleteKeyRemovesTheSubtree) {
  ut::Registry key(true);
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"A\\B\\C"));
  ASSERT_TRUE(key.write(L"v", 1L));
  key.close();
  EXPECT_TRUE(ut::Registry::deleteKey(ut::eCurrentUser, L"a\\b"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"A\\B\\C"));
  EXPECT_TRUE(ut::Registry::verifyKey(ut::eCurrentUser, L"A"));
  EXPECT_FALSE(ut::Registry::deleteKey(ut::eCurrentUser, L"A\\B"));
}

TEST_F(RegistryTest, CopyKeyIntoItsOwnSubtree) {
  ut::Registry key(true);
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"Src\\Deep"));
  ASSERT_TRUE(key.write(L"v", OdString(L"x")));
  EXPECT_TRUE(ut::Registry::copyKey(ut::eCurrentUser, ut::eCurrentUser, L"Src", L"Src\\Copy", true));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Src\\Copy\\Deep", L"v"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Src\\Copy\\Copy"));
  // Whatever the bool, every sub-key comes along; with it, the target holds nothing else afterwards.
  ASSERT_TRUE(ut::Registry::createKey(ut::eLocalMachine, L"Machine\\Old", nullptr));
  EXPECT_TRUE(ut::Registry::copyKey(ut::eCurrentUser, ut::eLocalMachine, L"Src", L"Machine", false));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eLocalMachine, L"Machine\\Deep", L"v"));
  EXPECT_TRUE(ut::Registry::verifyKey(ut::eLocalMachine, L"Machine\\Old"));
  EXPECT_TRUE(ut::Registry::copyKey(ut::eCurrentUser, ut::eLocalMachine, L"Src", L"Machine", true));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eLocalMachine, L"Machine\\Copy\\Deep", L"v"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eLocalMachine, L"Machine\\Old"));
  EXPECT_FALSE(ut::Registry::copyKey(ut::eCurrentUser, ut::eCurrentUser, L"Missing", L"X", true));
}

// A hive the library cannot read may be somebody's data: it is reported by its path and left as it is.
TEST_F(RegistryTest, DamagedHivesAreReportedAndLeftAlone) {
  ASSERT_TRUE(ut::Registry::createKey(ut::eCurrentUser, L"Software\\Some\\Keys", nullptr));
  // A copy of a real hive whose pages after the header are overwritten, and a file that is no database.
  const std::filesystem::path copy = m_dir.path() / "copy.hive";
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((m_dir.path() / "user.hive").c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, ("VACUUM INTO '" + copy.string() + "'").c_str(), nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
  std::string pages = fileBytes(copy);
  ASSERT_GT(pages.size(), 1000u);
  std::fill(pages.begin() + 100, pages.end(), '\x5A');
  const std::function<bool()> calls[] = {
      [] { return ut::Registry(true).create(ut::eCurrentUser, L"Software"); },
      [] { return ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\Some"); },
      [] { return ut::Registry::createKey(ut::eCurrentUser, L"Software\\New", nullptr); }};
  for (const std::string& bytes :
       {pages, "this is no database, but somebody's data\n" + std::string(5000, 'z')}) {
    for (const auto& call : calls) {
      qxtest::TempDir dir;
      const std::filesystem::path hive = dir.path() / "user.hive";
      std::ofstream(hive, std::ios::binary) << bytes;
      const qxtest::ScopedEnv env("VELTOCAD_REGISTRY_DIR", dir.path().string());
      const size_t before = reports().size();
      EXPECT_FALSE(call());
      ASSERT_GT(reports().size(), before);
      EXPECT_NE(reports()[before].find(hive.string()), std::string::npos) << reports()[before];
      EXPECT_EQ(fileBytes(hive), bytes);
    }
  }
}

TEST_F(RegistryTest, ThreadsShareTheHive) {
  constexpr int kThreads = 4, kValues = 100;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kValues; ++i) {
        ut::Registry key(true);
        ASSERT_TRUE(key.create(ut::eCurrentUser, L"Software\\Threads"));
        ASSERT_TRUE(key.write(OdString().format(L"t%d_%d", t, i), static_cast<long>(i)));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  OdArray<OdString> values;
  ASSERT_TRUE(ut::Registry::listValues(ut::eCurrentUser, L"Software\\Threads", values));
  EXPECT_EQ(values.size(), static_cast<unsigned>(kThreads * kValues));
}

// Every key below `path` with every value, as "key|name|type|bytes" lines, for comparing whole trees.
std::vector<std::string> dump(ut::ERootKey root, const std::wstring& path) {
  std::vector<std::string> lines;
  std::string error;
  const auto key = ut::platform::openRegistryKey(ut::internal::platformRoot(root), path, false, false, error);
  if (!key) return lines;
  const std::string narrowPath(wxString(path).utf8_str());
  for (const auto& value : key->values()) {
    lines.push_back(narrowPath + "|" + std::string(wxString(value.name).utf8_str()) + "|" +
                    std::to_string(value.type) + "|" + value.data);
  }
  for (const std::wstring& name : key->subKeyNames()) {
    for (std::string& line : dump(root, path + L"\\" + name)) lines.push_back(std::move(line));
  }
  return lines;
}

void writeRaw(const std::wstring& path, const std::wstring& name, uint32_t type, const std::string& data) {
  std::string error;
  auto key = ut::platform::openRegistryKey(ut::platform::RegistryRoot::eCurrentUser, path, true, true, error);
  ASSERT_TRUE(key && key->writeValue(name, type, data, error)) << error;
}

TEST_F(RegistryTest, ExportThenImportGivesBackEveryByte) {
  std::string binary;
  for (int i = 0; i < 300; ++i) binary += static_cast<char>(i);
  writeRaw(L"Software\\Exp", L"", ut::eRegString, std::string("d\0e\0f\0\0\0", 8));
  writeRaw(L"Software\\Exp", L"Text \"quoted\" \\ line\nbreak", ut::eRegString,
           std::string("x\0\r\0\n\0\0\0", 8));
  writeRaw(L"Software\\Exp", L"Path", ut::eRegExpandString, std::string("%\0P\0%\0\0\0", 8));
  writeRaw(L"Software\\Exp", L"Binary", ut::eRegBinary, binary);
  writeRaw(L"Software\\Exp", L"Empty", ut::eRegBinary, "");
  writeRaw(L"Software\\Exp", L"Dword", ut::eRegDword, std::string("\1\0\0\0", 4));
  writeRaw(L"Software\\Exp", L"Multi", ut::eRegMultiString, std::string("a\0\0\0b\0\0\0\0\0", 10));
  writeRaw(L"Software\\Exp", L"Qword", ut::eRegQword, std::string("\1\2\3\4\5\6\7\x08", 8));
  writeRaw(L"Software\\Exp\\Sub \u00E9\\Deeper", L"\u4E2D", ut::eRegString, std::string("\0\0", 2));
  const std::vector<std::string> before = dump(ut::eCurrentUser, L"Software\\Exp");
  const OdString file = (m_dir.path() / "export.reg").wstring().c_str();
  ASSERT_TRUE(ut::Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\Exp", file, true));

  qxtest::TempDir other;
  qxtest::ScopedEnv otherHive("VELTOCAD_REGISTRY_DIR", other.path().string());
  ASSERT_TRUE(ut::Registry::importKey(file, false));
  EXPECT_EQ(dump(ut::eCurrentUser, L"Software\\Exp"), before);
  EXPECT_TRUE(reports().empty());
}

TEST_F(RegistryTest, ImportSkipsMalformedLinesAndReportsThemOnce) {
  const std::filesystem::path file = m_dir.path() / "in.reg";
  std::ofstream(file, std::ios::binary) << "Windows Registry Editor Version 5.00\n\n"
                                           "[HKEY_CURRENT_USER\\Software\\In]\n"
                                           "\"Good\"=dword:00000002\n"
                                           "this line is broken\n"
                                           "\"Also\"=hex:zz\n"
                                           "; a comment\n"
                                           "\"Late\"=\"fine\"\n"
                                           "[-HKEY_CURRENT_USER\\Software\\Gone]\n";
  ASSERT_TRUE(ut::Registry::createKey(ut::eCurrentUser, L"Software\\Gone", nullptr));
  EXPECT_FALSE(ut::Registry::importKey(file.wstring().c_str(), false));
  EXPECT_EQ(
      reports(),
      (std::vector<std::string>{"ut::Registry::importKey: Skipped 2 malformed lines, the first at line 5"}));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\In", L"Good"));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\In", L"Late"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\Gone"));
}

// A key that cannot be made costs only itself: the keys around it are imported all the same.
TEST_F(RegistryTest, ImportKeepsTheKeysItCouldCreate) {
  std::string deep = "HKEY_CURRENT_USER\\Software";
  for (int level = 2; level <= 20000; ++level) deep += "\\d";
  const std::filesystem::path file = m_dir.path() / "partly.reg";
  std::ofstream(file, std::ios::binary) << "Windows Registry Editor Version 5.00\n\n"
                                           "[HKEY_CURRENT_USER\\Software\\Good1]\n\"a\"=dword:00000001\n\n"
                                           "[HKEY_CURRENT_USER\\Software\\" +
                                               std::string(256, 'x') +
                                               "]\n"
                                               "\"b\"=dword:00000002\n\n[" +
                                               deep +
                                               "]\n\n"
                                               "[HKEY_CURRENT_USER\\Software\\Good2]\n\"c\"=dword:00000003\n";
  EXPECT_FALSE(ut::Registry::importKey(file.wstring().c_str(), false));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\Good1", L"a"));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\Good2", L"c"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\d"));
  ASSERT_FALSE(reports().empty());
  EXPECT_EQ(reports().front(), "ut::Registry::importKey: Failed to create 2 registry keys");
}

TEST_F(RegistryTest, BadArgumentsAndOtherFilesAreReportedAndChangeNothing) {
  ASSERT_TRUE(ut::Registry::createKey(ut::eCurrentUser, L"Software\\Kept", nullptr));
  const std::vector<std::string> before = dump(ut::eCurrentUser, L"Software");
  const OdString file = (m_dir.path() / "x.reg").wstring().c_str();
  EXPECT_FALSE(ut::Registry::exportKey(L"HKEY_NOWHERE\\Software", file, true));
  EXPECT_FALSE(ut::Registry::exportKey(L"", file, true));
  EXPECT_FALSE(ut::Registry::exportKey(L"HKEY_CURRENT_USER\\Missing", file, true));
  EXPECT_FALSE(std::filesystem::exists(m_dir.path() / "x.reg"));
  const std::filesystem::path binary = m_dir.path() / "image.png";
  std::ofstream(binary, std::ios::binary) << std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
  EXPECT_FALSE(ut::Registry::importKey(binary.wstring().c_str(), false));
  EXPECT_FALSE(ut::Registry::importKey(file, false));  // the export above made none
  EXPECT_EQ(dump(ut::eCurrentUser, L"Software"), before);
  EXPECT_EQ(reports(), (std::vector<std::string>{
                           "ut::Registry::exportKey: Bad root", "ut::Registry::exportKey: Bad arguments",
                           "ut::Registry::exportKey: Failed to open registry key",
                           "ut::Registry::importKey: Not a registration file: " + binary.string(),
                           "ut::Registry::importKey: File not found"}));
}

TEST_F(RegistryTest, ImportWithReplaceKeysEmptiesEachKeyFirst) {
  ut::Registry key(true);
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"Software\\R\\Child"));
  ASSERT_TRUE(key.create(ut::eCurrentUser, L"Software\\R"));
  ASSERT_TRUE(key.write(L"Old", 1L));
  const std::filesystem::path file = m_dir.path() / "r.reg";
  std::ofstream(file, std::ios::binary) << "Windows Registry Editor Version 5.00\r\n\r\n"
                                           "[HKEY_CURRENT_USER\\Software\\R]\r\n\"New\"=dword:00000001\r\n";
  ASSERT_TRUE(ut::Registry::importKey(file.wstring().c_str(), true));
  OdArray<OdString> values, keys;
  ASSERT_TRUE(ut::Registry::listValues(ut::eCurrentUser, L"Software\\R", values));
  ASSERT_TRUE(ut::Registry::listKeys(ut::eCurrentUser, L"Software\\R", keys));
  EXPECT_EQ(values, OdArray<OdString>{L"New"});
  EXPECT_TRUE(keys.isEmpty());
}

}  // namespace
