#include "ut_zip.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <wx/mstream.h>
#include <wx/wfstream.h>
#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using qxtest::fileBytes;
using qxtest::Reports;
using qxtest::TempDir;
using Tree = std::map<std::string, std::string>;

OdString od(const fs::path& path) { return path.wstring().c_str(); }

void write(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

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
  write(root / "plan.dwg", noise(3 * (1 << 20) + 777, 1));
  write(root / "empty.txt", "");
  write(root / "Straße" / "Übersicht ü.txt", "umlauts");
  fs::create_directories(root / "leer");
  for (int i = 0; i < 40; ++i) write(root / "xref" / ("part" + std::to_string(i) + ".dwg"), noise(100 * i, i));
  return snapshot(root);
}

// A stored-only archive of entries with any names and attributes, for names no zipper would write.
struct RawEntry {
  std::string name;
  std::string data;
  uint32_t unixMode = 0100644;
};

std::string storedZip(const std::vector<RawEntry>& entries) {
  const auto le = [](std::string& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
  };
  std::string local, central;
  for (const RawEntry& entry : entries) {
    const uint32_t crc = crc32(0, reinterpret_cast<const Bytef*>(entry.data.data()), entry.data.size());
    const uint32_t offset = local.size();
    for (std::string* header : {&local, &central}) {
      le(*header, header == &local ? 0x04034b50 : 0x02014b50, 4);
      if (header == &central) le(*header, 0x0314, 2);  // made by Unix
      le(*header, 10, 2), le(*header, 0, 2), le(*header, 0, 2), le(*header, 0x00210000, 4);
      le(*header, crc, 4), le(*header, entry.data.size(), 4), le(*header, entry.data.size(), 4);
      le(*header, entry.name.size(), 2), le(*header, 0, 2);
      if (header == &central) le(*header, 0, 2), le(*header, 0, 2), le(*header, 0, 2), le(*header, entry.unixMode << 16, 4), le(*header, offset, 4);
      *header += entry.name;
    }
    local += entry.data;
  }
  std::string end;
  le(end, 0x06054b50, 4), le(end, 0, 4), le(end, entries.size(), 2), le(end, entries.size(), 2);
  le(end, central.size(), 4), le(end, local.size(), 4), le(end, 0, 2);
  return local + central + end;
}

// The absolute path of a program on PATH; empty when there is none.
std::string tool(const char* name) {
  std::istringstream path(std::getenv("PATH") ? std::getenv("PATH") : "");
  for (std::string dir; std::getline(path, dir, ':');) {
    if (!dir.empty() && access((fs::path(dir) / name).c_str(), X_OK) == 0) return (fs::path(dir) / name).string();
  }
  return {};
}

// Runs a program; its exit code and standard output.
std::pair<int, std::string> run(const std::vector<std::string>& args) {
  qxtest::ChildProcess child(args);
  std::string output = child.read(EOF);
  return {child.wait(), output};
}

TEST(ZipTest, FolderComesBackWholeWithItsNamesAndTimes) {
  TempDir dir;
  const Tree project = makeProject(dir.path() / "project");
  fs::last_write_time(dir.path() / "project" / "plan.dwg", fs::file_time_type::clock::now() - std::chrono::hours(50));
  const OdString zip = od(dir.path() / "project.zip");
  ASSERT_EQ(ut::zipFolder(zip, od(dir.path() / "project")), ut::eZipOk);

  OdArray<OdString> names{L"kept"};
  ASSERT_TRUE(ut::getZippedFolderEntries(zip, names));
  ASSERT_EQ(names.size(), 1 + project.size() + 1);
  EXPECT_EQ(names[0], L"kept");
  EXPECT_EQ(names[1], L"project/");
  EXPECT_EQ(names[2], L"project/Straße/");
  EXPECT_EQ(names[3], L"project/Straße/Übersicht ü.txt");

  ASSERT_TRUE(ut::unzipFolder(zip, od(dir.path() / "out")));
  EXPECT_EQ(snapshot(dir.path() / "out" / "project"), project);
  const auto time = [](const fs::path& path) { return fs::last_write_time(path).time_since_epoch(); };
  EXPECT_LE(std::chrono::abs(time(dir.path() / "out/project/plan.dwg") - time(dir.path() / "project/plan.dwg")),
            std::chrono::seconds(2));  // DOS time counts in two seconds
}

TEST(ZipTest, ArchivesAreExchangedWithPythonAndInfoZip) {
  const std::string python = tool("python3"), zip = tool("zip"), unzip = tool("unzip");
  if (python.empty() || zip.empty() || unzip.empty()) GTEST_SKIP() << "python3, zip or unzip is not installed";
  TempDir dir;
  const Tree project = makeProject(dir.path() / "project");
  const fs::path ours = dir.path() / "ours.zip", theirs = dir.path() / "theirs.zip", zipped = dir.path() / "zipped.zip";
  ASSERT_EQ(ut::zipFolder(od(ours), od(dir.path() / "project")), ut::eZipOk);
  EXPECT_EQ(run({unzip, "-tqq", ours.string()}).first, 0);
  const char* check = "import sys, zipfile\nz = zipfile.ZipFile(sys.argv[1])\nprint(z.testzip(), len(z.namelist()))";
  EXPECT_EQ(run({python, "-c", check, ours.string()}), std::make_pair(0, "None " + std::to_string(project.size() + 1) + "\n"));

  // Python writes a folder deflated, one file stored and one through a stream (sizes after the data).
  const char* write = "import os, sys, zipfile\n"
                      "with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED, compresslevel=6) as z:\n"
                      "  for d, _, fs in os.walk(sys.argv[2]):\n"
                      "    r = os.path.relpath(d, os.path.dirname(sys.argv[2]))\n"
                      "    z.write(d, r)\n"
                      "    for f in fs: z.write(os.path.join(d, f), os.path.join(r, f))\n"
                      "  z.writestr(zipfile.ZipInfo('stored.txt'), 'as is')\n"
                      "  with z.open('streamed.txt', 'w') as s: s.write(b'streamed')\n";
  ASSERT_EQ(run({python, "-c", write, theirs.string(), (dir.path() / "project").string()}).first, 0);
  ASSERT_TRUE(ut::unzipFolder(od(theirs), od(dir.path() / "from_python")));
  Tree expected = project;
  EXPECT_EQ(snapshot(dir.path() / "from_python" / "project"), expected);
  EXPECT_EQ(fileBytes(dir.path() / "from_python" / "stored.txt"), "as is");
  EXPECT_EQ(fileBytes(dir.path() / "from_python" / "streamed.txt"), "streamed");

  const std::string inParent = "cd '" + dir.path().string() + "' && exec '" + zip + "' -qr zipped.zip project";
  ASSERT_EQ(run({"/bin/sh", "-c", inParent}).first, 0);
  ASSERT_TRUE(ut::unzipFolder(od(zipped), od(dir.path() / "from_infozip")));
  EXPECT_EQ(snapshot(dir.path() / "from_infozip" / "project"), project);
}

TEST(ZipTest, SingleFilesAndEntries) {
  TempDir dir;
  write(dir.path() / "a" / "plan.dwg", "plan");
  write(dir.path() / "b" / "plan.dwg", "other plan");
  write(dir.path() / "folder" / "x.txt", "x");
  const OdString one = od(dir.path() / "one.zip"), many = od(dir.path() / "many.zip");
  ASSERT_EQ(ut::zipFile(one, od(dir.path() / "a\\plan.dwg")), ut::eZipOk);  // either slash
  wxMemoryOutputStream bytes;
  ASSERT_TRUE(ut::unzipOneFile(one, bytes));
  EXPECT_EQ(std::string(static_cast<const char*>(bytes.GetOutputStreamBuffer()->GetBufferStart()), bytes.GetSize()), "plan");

  Reports reports;
  const OdArray<OdString> files{od(dir.path() / "a/plan.dwg"), od(dir.path() / "b/plan.dwg"), od(dir.path() / "folder"),
                                od(dir.path() / "missing")};
  EXPECT_EQ(ut::zipFiles(many, files), ut::eZipIncomplete);
  ASSERT_EQ(reports.lines().size(), 2u);
  EXPECT_NE(reports.lines()[0].find("name is in the archive already"), std::string::npos) << reports.lines()[0];
  EXPECT_NE(reports.lines()[1].find("No file or folder"), std::string::npos) << reports.lines()[1];
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
  write(dir.path() / "f" / "a.txt", "a");
  fs::create_directory_symlink(dir.path() / "f", dir.path() / "f" / "loop");
  fs::create_symlink(dir.path() / "nowhere", dir.path() / "f" / "dangling");
  write(dir.path() / "old.zip", "old archive");
  Reports reports;
  // The archive inside the folder it zips is not zipped into itself.
  EXPECT_EQ(ut::zipFolder(od(dir.path() / "f" / "self.zip"), od(dir.path() / "f")), ut::eZipIncomplete);
  EXPECT_EQ(reports.lines().size(), 2u) << testing::PrintToString(reports.lines());  // the loop, the dangling link
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
class UnseekableStream : public wxFilterInputStream {
 public:
  using wxFilterInputStream::wxFilterInputStream;
  bool IsSeekable() const override { return false; }

 protected:
  size_t OnSysRead(void* buffer, size_t size) override {
    const size_t count = m_parent_i_stream->Read(buffer, size).LastRead();
    m_lasterror = m_parent_i_stream->GetLastError();
    return count;
  }
  wxFileOffset OnSysSeek(wxFileOffset, wxSeekMode) override { return wxInvalidOffset; }
  wxFileOffset OnSysTell() const override { return wxInvalidOffset; }
};

// Entries that could land outside the target: an archive is refused with nothing written; from a stream
// that cannot seek, which cannot be looked ahead in, the entry is skipped.
TEST(ZipTest, EntriesOutsideTheTargetAreNeverWritten) {
  TempDir dir;
  const fs::path target = dir.path() / "target", outside = dir.path() / "outside", zip = dir.path() / "bad.zip";
  fs::create_directories(outside);
  fs::create_directories(target);
  fs::create_directory_symlink(outside, target / "link");
  const RawEntry cases[] = {{"../evil", "x"},         {"a/../../evil", "x"}, {"..\\evil", "x"},
                            {"a\\..\\..\\evil", "x"}, {"/tmp/evil", "x"},    {"\\evil", "x"},
                            {"C:\\evil", "x"},        {"c:evil", "x"},       {"sym", "../outside", 0120777},
                            {"..", "x"}};
  for (const RawEntry& bad : cases) {
    SCOPED_TRACE(bad.name);
    write(zip, storedZip({{"good.txt", "good"}, bad}));
    Reports reports;
    wxFFileInputStream stream(zip.string());
    ut::UnzippingHelper helper(od(zip), od(target));
    EXPECT_FALSE(ut::unzipFolder(od(zip), od(target)));
    EXPECT_FALSE(ut::unzipFolder(stream, od(target)));
    EXPECT_FALSE(helper.init(10));
    EXPECT_EQ(snapshot(target), (Tree{{"link", "->" + outside.string()}}));
    ASSERT_EQ(reports.lines().size(), 3u);
    EXPECT_NE(reports.lines()[0].find("Refused the archive"), std::string::npos) << reports.lines()[0];
  }
  write(zip, storedZip({{"../evil", "x"}, {"good.txt", "good"}, {"a\\..\\..\\evil", "x"}}));
  wxFFileInputStream file(zip.string());
  UnseekableStream stream(file);
  Reports reports;
  EXPECT_FALSE(ut::unzipFolder(stream, od(target)));
  EXPECT_EQ(reports.lines().size(), 2u);
  EXPECT_EQ(fileBytes(target / "good.txt"), "good");

  // A link in the target is replaced by a file of its name, and never written through.
  write(zip, storedZip({{"link/x", "x"}}));
  EXPECT_FALSE(ut::unzipFolder(od(zip), od(target)));
  write(zip, storedZip({{"link", "file"}}));
  EXPECT_TRUE(ut::unzipFolder(od(zip), od(target)));
  EXPECT_EQ(fileBytes(target / "link"), "file");
  EXPECT_TRUE(fs::is_empty(outside));
}

TEST(ZipTest, DamagedArchivesAreRefusedAndDamagedEntriesCostOnlyThemselves) {
  TempDir dir;
  write(dir.path() / "p" / "a.txt", noise(5000, 3));
  write(dir.path() / "p" / "b.txt", noise(5000, 4));
  write(dir.path() / "p" / "c.txt", noise(5000, 5));
  const fs::path zip = dir.path() / "p.zip", broken = dir.path() / "broken.zip";
  ASSERT_EQ(ut::zipFolder(od(zip), od(dir.path() / "p")), ut::eZipOk);
  const std::string bytes = fileBytes(zip);
  for (const size_t length : {size_t{0}, size_t{10}, bytes.size() / 2, bytes.size() - 10, bytes.size() - 1}) {
    SCOPED_TRACE(length);
    write(broken, bytes.substr(0, length));
    Reports reports;
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
  write(broken, flipped);
  Reports reports;
  EXPECT_FALSE(ut::unzipFolder(od(broken), od(dir.path() / "out")));
  EXPECT_EQ(fileBytes(dir.path() / "out/p/a.txt"), noise(5000, 3));
  EXPECT_EQ(fileBytes(dir.path() / "out/p/c.txt"), noise(5000, 5));
  EXPECT_FALSE(fs::exists(dir.path() / "out/p/b.txt"));
  ASSERT_EQ(reports.lines().size(), 1u);
  EXPECT_NE(reports.lines()[0].find("b.txt"), std::string::npos) << reports.lines()[0];
}

TEST(ZipTest, HelperExtractsPacksInAnyOrder) {
  TempDir dir;
  const Tree project = makeProject(dir.path() / "project");
  const OdString zip = od(dir.path() / "project.zip");
  ASSERT_EQ(ut::zipFolder(zip, od(dir.path() / "project")), ut::eZipOk);
  ut::UnzippingHelper helper(zip, od(dir.path() / "out"));
  EXPECT_FALSE(helper.init(0));
  ASSERT_TRUE(helper.init(7));
  EXPECT_EQ(helper.entryCount(), project.size() + 1);
  EXPECT_EQ(helper.packCount(), (project.size() + 1 + 6) / 7);
  for (unsigned pack = static_cast<unsigned>(helper.packCount()); pack-- > 0;) EXPECT_TRUE(helper.unzipPackOfEntries(pack));
  EXPECT_FALSE(helper.unzipPackOfEntries(static_cast<unsigned>(helper.packCount())));
  EXPECT_EQ(snapshot(dir.path() / "out" / "project"), project);
}

// More than 65,535 entries need Zip64's end records; a member over 4 GiB takes the same records' sizes,
// and is left to QX_ZIP_LARGE_TESTS for its time and space.
TEST(ZipTest, Zip64ForManyEntries) {
  const std::string python = tool("python3");
  TempDir dir;
  for (int i = 0; i < 65600; ++i) std::ofstream(dir.path() / ("f" + std::to_string(i)));
  const fs::path zip = dir.path().parent_path() / (dir.path().filename().string() + ".zip");
  ASSERT_EQ(ut::zipFolder(od(zip), od(dir.path())), ut::eZipOk);
  OdArray<OdString> names;
  ASSERT_TRUE(ut::getZippedFolderEntries(od(zip), names));
  EXPECT_EQ(names.size(), 65601u);
  if (!python.empty()) {
    const char* count = "import sys, zipfile; print(len(zipfile.ZipFile(sys.argv[1]).namelist()))";
    EXPECT_EQ(run({python, "-c", count, zip.string()}).second, "65601\n");
  }
  fs::remove(zip);
}

TEST(ZipTest, Zip64ForAMemberOverFourGiB) {
  if (!std::getenv("QX_ZIP_LARGE_TESTS")) GTEST_SKIP() << "set QX_ZIP_LARGE_TESTS=1 to zip and check 4.1 GiB";
  TempDir dir;
  write(dir.path() / "big" / "zeros", "");
  fs::resize_file(dir.path() / "big" / "zeros", (uint64_t{1} << 32) + 12345);  // sparse
  const OdString zip = od(dir.path() / "big.zip");
  ASSERT_EQ(ut::zipFolder(zip, od(dir.path() / "big")), ut::eZipOk);
  const std::string unzip = tool("unzip");
  if (!unzip.empty()) {
    EXPECT_EQ(run({unzip, "-tqq", (dir.path() / "big.zip").string()}).first, 0);
  }
  ASSERT_TRUE(ut::unzipFolder(zip, od(dir.path() / "out")));
  EXPECT_EQ(fs::file_size(dir.path() / "out" / "big" / "zeros"), (uint64_t{1} << 32) + 12345);
}

}  // namespace
