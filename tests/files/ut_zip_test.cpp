#include "ut_zip.h"

#include "test_support.h"

#include <gmock/gmock.h>
#include <wx/mstream.h>
#include <wx/wfstream.h>
#include <zlib.h>

#include <map>
#include <random>

namespace {

namespace fs = std::filesystem;
using qxtest::fileBytes;
using qxtest::od;
using qxtest::writeFile;
using qxtest::Reports;
using qxtest::TempDir;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using Tree = std::map<std::string, std::string>;

// Every file, folder and link below `root`: relative path to content, "/" for a folder, "->" and the
// target for a link.
Tree snapshot(const fs::path& root) {
  Tree tree;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    std::string& item = tree[entry.path().lexically_relative(root).string()];
    if (entry.is_symlink()) item = "->" + fs::read_symlink(entry.path()).string();
    else item = entry.is_directory() ? "/" : fileBytes(entry.path());
  }
  return tree;
}

std::string noise(size_t size, unsigned seed) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(random() % 7 ? 'a' + random() % 4 : random());
  return bytes;
}

// A drawing folder: nested, an empty folder, UTF-8 names, an empty file, a file of several 1 MiB
// pieces, and enough small files for the worker threads.
Tree makeProject(const fs::path& root) {
  writeFile(root / "plan.dwg", noise(3 * (1 << 20) + 777, 1));
  writeFile(root / "empty.txt", "");
  writeFile(root / "Straße" / "Übersicht ü.txt", "umlauts");
  fs::create_directories(root / "leer");
  for (int i = 0; i < 40; ++i)
    writeFile(root / "xref" / ("part" + std::to_string(i) + ".dwg"), noise(100 * i, i));
  return snapshot(root);
}

// A stored-only archive of entries with any names and attributes, for names no zipper would write.
struct RawEntry {
  std::string name;
  std::string data;
  uint32_t unixMode = 0100644;
};

std::string storedZip(const std::vector<RawEntry>& entries) {
  std::string local, central, end;
  const auto le = [](std::string& out, std::initializer_list<std::pair<uint32_t, int>> fields) {
    for (const auto& [value, bytes] : fields)
      for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
  };
  for (const RawEntry& entry : entries) {
    const uint32_t crc = crc32(0, reinterpret_cast<const Bytef*>(entry.data.data()), entry.data.size());
    const uint32_t size = entry.data.size(), nameSize = entry.name.size(), offset = local.size();
    const auto common = {std::pair<uint32_t, int>{10, 2}, {0, 2}, {0, 2}, {0x00210000, 4}, {crc, 4}, {size, 4},
                         {size, 4}, {nameSize, 2}, {0, 2}};
    le(local, {{0x04034b50, 4}});
    le(local, common);
    le(central, {{0x02014b50, 4}, {0x0314, 2}});  // made by Unix
    le(central, common);
    le(central, {{0, 2}, {0, 2}, {0, 2}, {entry.unixMode << 16, 4}, {offset, 4}});
    local += entry.name + entry.data;
    central += entry.name;
  }
  const uint32_t count = entries.size(), centralSize = central.size(), localSize = local.size();
  le(end, {{0x06054b50, 4}, {0, 4}, {count, 2}, {count, 2}, {centralSize, 4}, {localSize, 4}, {0, 2}});
  return local + central + end;
}

// Runs a program found on PATH; its exit code and standard output.
std::pair<int, std::string> run(std::vector<std::string> args) {
  args.insert(args.begin(), "/usr/bin/env");
  qxtest::ChildProcess child(args);
  std::string output = child.read(EOF);
  return {child.wait(), output};
}

bool installed(const std::string& tools) {
  return run({"sh", "-c", "command -v " + tools + " >/dev/null"}).first == 0;
}

TEST(ZipTest, FolderComesBackWholeWithItsNamesAndTimes) {
  TempDir dir;
  const Tree project = makeProject(dir.path() / "project");
  fs::last_write_time(dir.path() / "project" / "plan.dwg",
                      fs::file_time_type::clock::now() - std::chrono::hours(50));
  const OdString zip = od(dir.path() / "project.zip");
  ASSERT_EQ(ut::zipFolder(zip, od(dir.path() / "project")), ut::eZipOk);

  OdArray<OdString> names{L"kept"};
  ASSERT_TRUE(ut::getZippedFolderEntries(zip, names));
  ASSERT_EQ(names.size(), 1 + project.size() + 1);
  EXPECT_EQ((OdArray<OdString>{names[0], names[1], names[2], names[3]}),
            (OdArray<OdString>{L"kept", L"project/", L"project/Straße/", L"project/Straße/Übersicht ü.txt"}));

  ASSERT_TRUE(ut::unzipFolder(zip, od(dir.path() / "out")));
  EXPECT_EQ(snapshot(dir.path() / "out" / "project"), project);
  // In packs, and in any order.
  ut::UnzippingHelper helper(zip, od(dir.path() / "packs"));
  EXPECT_FALSE(helper.init(0));
  ASSERT_TRUE(helper.init(7));
  EXPECT_EQ(helper.entryCount(), project.size() + 1);
  ASSERT_EQ(helper.packCount(), (project.size() + 1 + 6) / 7);
  for (unsigned pack = 0; pack < helper.packCount(); ++pack)
    EXPECT_TRUE(helper.unzipPackOfEntries(helper.packCount() - 1 - pack));
  EXPECT_FALSE(helper.unzipPackOfEntries(static_cast<unsigned>(helper.packCount())));
  EXPECT_EQ(snapshot(dir.path() / "packs" / "project"), project);
  const auto time = [](const fs::path& path) { return fs::last_write_time(path).time_since_epoch(); };
  EXPECT_LE(std::chrono::abs(time(dir.path() / "out/project/plan.dwg") - time(dir.path() / "project/plan.dwg")),
            std::chrono::seconds(2));  // DOS time counts in two seconds
}

TEST(ZipTest, ArchivesAreExchangedWithPythonAndInfoZip) {
  if (!installed("python3 zip unzip")) GTEST_SKIP() << "python3, zip or unzip is not installed";
  TempDir dir;
  const std::string folder = dir.path().string();
  const Tree project = makeProject(dir.path() / "project");
  ASSERT_EQ(ut::zipFolder(od(dir.path() / "ours.zip"), od(dir.path() / "project")), ut::eZipOk);
  EXPECT_EQ(run({"unzip", "-tqq", folder + "/ours.zip"}).first, 0);
  const char* check =
      "import sys, zipfile\nz = zipfile.ZipFile(sys.argv[1])\nprint(z.testzip(), len(z.namelist()))";
  EXPECT_EQ(run({"python3", "-c", check, folder + "/ours.zip"}).second,
            "None " + std::to_string(project.size() + 1) + "\n");

  // Python writes the folder deflated, adds a file stored, and writes to a pipe a file whose sizes follow
  // its data; Info-ZIP writes the folder with its own extra fields.
  const char* write =
      "import shutil, sys, zipfile\n"
      "shutil.make_archive(sys.argv[1] + '/theirs', 'zip', sys.argv[1], 'project')\n"
      "with zipfile.ZipFile(sys.argv[1] + '/theirs.zip', 'a') as z: z.writestr('stored.txt', 'as is')\n"
      "with zipfile.ZipFile(sys.stdout.buffer, 'w', 8) as z: z.writestr('piped.txt', 'piped')\n";
  ASSERT_EQ(run({"sh", "-c", "python3 -c \"$0\" \"$1\" | cat > \"$1/piped.zip\"", write, folder}).first, 0);
  ASSERT_EQ(run({"sh", "-c", "cd \"$0\" && zip -qr zipped.zip project", folder}).first, 0);
  Tree expected{{"project", "/"}, {"stored.txt", "as is"}, {"piped.txt", "piped"}};
  for (const auto& [name, content] : project) expected["project/" + name] = content;
  for (const char* archive : {"/theirs.zip", "/piped.zip"})
    EXPECT_TRUE(ut::unzipFolder(od(folder + archive), od(folder + "/from_python")));
  EXPECT_EQ(snapshot(dir.path() / "from_python"), expected);
  ASSERT_TRUE(ut::unzipFolder(od(folder + "/zipped.zip"), od(folder + "/from_infozip")));
  EXPECT_EQ(snapshot(dir.path() / "from_infozip" / "project"), project);
}

TEST(ZipTest, SingleFilesAndEntries) {
  TempDir dir;
  writeFile(dir.path() / "a" / "plan.dwg", "plan");
  writeFile(dir.path() / "b" / "plan.dwg", "other plan");
  writeFile(dir.path() / "folder" / "x.txt", "x");
  const OdString one = od(dir.path() / "one.zip"), many = od(dir.path() / "many.zip");
  ASSERT_EQ(ut::zipFile(one, od(dir.path() / "a\\plan.dwg")), ut::eZipOk);  // either slash
  wxMemoryOutputStream bytes;
  ASSERT_TRUE(ut::unzipOneFile(one, bytes));
  EXPECT_EQ(std::string(static_cast<char*>(bytes.GetOutputStreamBuffer()->GetBufferStart()), bytes.GetSize()),
            "plan");

  Reports reports;
  const OdArray<OdString> files{od(dir.path() / "a/plan.dwg"), od(dir.path() / "b/plan.dwg"),
                                od(dir.path() / "folder"), od(dir.path() / "missing")};
  EXPECT_EQ(ut::zipFiles(many, files), ut::eZipIncomplete);
  EXPECT_THAT(reports.lines(),
              ElementsAre(HasSubstr("name is in the archive already"), HasSubstr("No file or folder")));
  OdArray<OdString> names;
  ASSERT_TRUE(ut::getZippedFolderEntries(many, names));
  EXPECT_EQ(names, (OdArray<OdString>{L"plan.dwg", L"folder/", L"folder/x.txt"}));

  EXPECT_TRUE(ut::unzipEntry(many, L"folder/x.txt", od(dir.path() / "x.copy")));
  EXPECT_EQ(fileBytes(dir.path() / "x.copy"), "x");
  wxMemoryOutputStream sink;
  EXPECT_FALSE(ut::unzipEntry(many, L"folder/", sink));  // a folder has no bytes
  EXPECT_FALSE(ut::unzipEntry(many, L"none.txt", sink));
  EXPECT_FALSE(ut::unzipOneFile(many, sink));  // two files
  EXPECT_EQ(sink.GetSize(), 0u);
}

TEST(ZipTest, WhatCannotBeZippedIsReported) {
  TempDir dir;
  writeFile(dir.path() / "f" / "a.txt", "a");
  fs::create_directory_symlink(dir.path() / "f", dir.path() / "f" / "loop");
  fs::create_symlink(dir.path() / "nowhere", dir.path() / "f" / "dangling");
  writeFile(dir.path() / "old.zip", "old archive");
  Reports reports;
  // The archive inside the folder it zips is not zipped into itself.
  EXPECT_EQ(ut::zipFolder(od(dir.path() / "f" / "self.zip"), od(dir.path() / "f")), ut::eZipIncomplete);
  EXPECT_THAT(reports.lines(), ElementsAre(HasSubstr("dangling\": it is a link to nothing"),
                                           HasSubstr("loop\": it leads back")));
  OdArray<OdString> names;
  ASSERT_TRUE(ut::getZippedFolderEntries(od(dir.path() / "f" / "self.zip"), names));
  EXPECT_EQ(names, (OdArray<OdString>{L"f/", L"f/a.txt"}));

  const std::tuple<ut::EZipStatus, ut::EZipStatus> statuses[] = {
      {ut::zipFolder(od(dir.path() / "old.zip"), od(dir.path() / "missing")), ut::eZipNotFound},
      {ut::zipFile(od(dir.path() / "old.zip"), od(dir.path() / "f")), ut::eZipNotFound},  // a folder
      {ut::zipFiles(od(dir.path() / "old.zip"), {}), ut::eZipNothingToZip},
      {ut::zipFolder(od(dir.path() / "no" / "dir.zip"), od(dir.path() / "f")), ut::eZipWriteFailed},
      {ut::zipFolder(od(dir.path()), od(dir.path() / "f")), ut::eZipWriteFailed}};  // a folder stands there
  for (const auto& [status, expected] : statuses)
    EXPECT_EQ(status, expected) << testing::PrintToString(ut::zipStatusMessage(status));
  EXPECT_EQ(fileBytes(dir.path() / "old.zip"), "old archive");
  EXPECT_EQ(ut::zipStatusMessage(ut::eZipIncomplete),
            L"The archive was written, but some files or folders could not be read.");
}

// A stream that cannot seek, as one from a socket or pipe.
struct UnseekableStream : wxMemoryInputStream {
  using wxMemoryInputStream::wxMemoryInputStream;
  bool IsSeekable() const override { return false; }
  wxFileOffset OnSysSeek(wxFileOffset, wxSeekMode) override { return wxInvalidOffset; }
};

// Entries that could land outside the target: an archive is refused with nothing written; from a stream
// that cannot seek, which cannot be looked ahead in, the entry is skipped.
TEST(ZipTest, EntriesOutsideTheTargetAreNeverWritten) {
  TempDir dir;
  const fs::path target = dir.path() / "target", outside = dir.path() / "outside", zip = dir.path() / "bad.zip";
  for (const fs::path& folder : {outside, target}) fs::create_directories(folder);
  fs::create_directory_symlink(outside, target / "link");
  const RawEntry cases[] = {{"../evil", "x"},         {"a/../../evil", "x"}, {"..\\evil", "x"},
                            {"a\\..\\..\\evil", "x"}, {"/tmp/evil", "x"},    {"\\evil", "x"},
                            {"C:\\evil", "x"},        {"c:evil", "x"},       {"sym", "../outside", 0120777},
                            {"..", "x"}};
  for (const RawEntry& bad : cases) {
    SCOPED_TRACE(bad.name);
    writeFile(zip, storedZip({{"good.txt", "good"}, bad}));
    Reports reports;
    wxFFileInputStream stream(zip.string());
    ut::UnzippingHelper helper(od(zip), od(target));
    EXPECT_FALSE(ut::unzipFolder(od(zip), od(target)));
    EXPECT_FALSE(ut::unzipFolder(stream, od(target)));
    EXPECT_FALSE(helper.init(10));
    EXPECT_EQ(snapshot(target), (Tree{{"link", "->" + outside.string()}}));
    EXPECT_THAT(reports.lines(), Each(HasSubstr("Refused the archive")));
  }
  const std::string climbing = storedZip({{"../evil", "x"}, {"good.txt", "good"}, {"a\\..\\..\\evil", "x"}});
  UnseekableStream stream(climbing.data(), climbing.size());
  Reports reports;
  EXPECT_FALSE(ut::unzipFolder(stream, od(target)));
  EXPECT_EQ(reports.lines().size(), 2u);
  EXPECT_EQ(fileBytes(target / "good.txt"), "good");

  // A link in the target is replaced by a file of its name, and never written through.
  writeFile(zip, storedZip({{"link/x", "x"}}));
  EXPECT_FALSE(ut::unzipFolder(od(zip), od(target)));
  writeFile(zip, storedZip({{"link", "file"}}));
  EXPECT_TRUE(ut::unzipFolder(od(zip), od(target)));
  EXPECT_EQ(fileBytes(target / "link"), "file");
  EXPECT_TRUE(fs::is_empty(outside));
}

TEST(ZipTest, DamagedArchivesAreRefusedAndDamagedEntriesCostOnlyThemselves) {
  TempDir dir;
  for (const char* name : {"a", "b", "c"})
    writeFile(dir.path() / "p" / (name + std::string(".txt")), noise(5000, *name));
  const fs::path zip = dir.path() / "p.zip", broken = dir.path() / "broken.zip";
  ASSERT_EQ(ut::zipFolder(od(zip), od(dir.path() / "p")), ut::eZipOk);
  const std::string bytes = fileBytes(zip);
  for (const size_t length : {size_t{0}, size_t{10}, bytes.size() / 2, bytes.size() - 10, bytes.size() - 1}) {
    SCOPED_TRACE(length);
    writeFile(broken, bytes.substr(0, length));
    const Reports reports;
    OdArray<OdString> names;
    wxMemoryOutputStream sink;
    EXPECT_FALSE(ut::getZippedFolderEntries(od(broken), names));
    EXPECT_TRUE(names.isEmpty());
    EXPECT_FALSE(ut::unzipFolder(od(broken), od(dir.path() / "out")));
    EXPECT_FALSE(ut::unzipOneFile(od(broken), sink));
    EXPECT_FALSE(ut::unzipEntry(od(broken), L"p/a.txt", od(dir.path() / "a.copy")));
    EXPECT_FALSE(fs::exists(dir.path() / "a.copy"));
    EXPECT_FALSE(ut::UnzippingHelper(od(broken), od(dir.path() / "out")).init(1));
  }
  // One entry's data damaged: the others come out, the damaged one not even in part.
  std::string flipped = bytes;
  flipped[bytes.find("p/b.txt") + 7 + 100] ^= 0x55;
  writeFile(broken, flipped);
  Reports reports;
  EXPECT_FALSE(ut::unzipFolder(od(broken), od(dir.path() / "out")));
  EXPECT_EQ(snapshot(dir.path() / "out"),
            (Tree{{"p", "/"}, {"p/a.txt", noise(5000, 'a')}, {"p/c.txt", noise(5000, 'c')}}));
  EXPECT_THAT(reports.lines(), ElementsAre(HasSubstr("b.txt")));
}

// More than 65,535 entries need Zip64's end records; a member over 4 GiB takes the same records' sizes,
// and is left to QX_ZIP_LARGE_TESTS for its time and space.
TEST(ZipTest, Zip64ForManyEntries) {
  TempDir dir;
  // Links to two files (a file takes up to 65,000): names cost the file system far less than files do.
  writeFile(dir.path() / "f0", "");
  writeFile(dir.path() / "f1", "");
  for (int i = 2; i < 65600; ++i)
    fs::create_hard_link(dir.path() / ("f" + std::to_string(i % 2)), dir.path() / ("f" + std::to_string(i)));
  const fs::path zip = dir.path() / "many.zip";  // not zipped into itself
  ASSERT_EQ(ut::zipFolder(od(zip), od(dir.path())), ut::eZipOk);
  OdArray<OdString> names;
  ASSERT_TRUE(ut::getZippedFolderEntries(od(zip), names));
  EXPECT_EQ(names.size(), 65601u);
  if (installed("python3 unzip")) {
    const char* count = "import sys, zipfile; print(len(zipfile.ZipFile(sys.argv[1]).namelist()))";
    EXPECT_EQ(run({"python3", "-c", count, zip.string()}).second, "65601\n");
    EXPECT_EQ(run({"unzip", "-tqq", zip.string()}).first, 0);
  }
}

TEST(ZipTest, Zip64ForAMemberOverFourGiB) {
  if (!std::getenv("QX_ZIP_LARGE_TESTS")) GTEST_SKIP() << "set QX_ZIP_LARGE_TESTS=1 to zip and check 4.1 GiB";
  TempDir dir;
  writeFile(dir.path() / "big" / "zeros", "");
  fs::resize_file(dir.path() / "big" / "zeros", (uint64_t{1} << 32) + 12345);  // sparse
  const OdString zip = od(dir.path() / "big.zip");
  ASSERT_EQ(ut::zipFolder(zip, od(dir.path() / "big")), ut::eZipOk);
  EXPECT_EQ(run({"unzip", "-tqq", (dir.path() / "big.zip").string()}).first, installed("unzip") ? 0 : 127);
  ASSERT_TRUE(ut::unzipFolder(zip, od(dir.path() / "out")));
  EXPECT_EQ(fs::file_size(dir.path() / "out" / "big" / "zeros"), (uint64_t{1} << 32) + 12345);
}

}  // namespace
