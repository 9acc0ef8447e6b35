#include "ut_zlib.h"

#include "test_support.h"

#include <zlib.h>

#include <algorithm>
#include <random>

namespace {

using Statuses = std::vector<std::wstring>;

// Records what a run reports, and stops it from progress() after `abortAfter` reports.
struct Recorder : ZlibEngine {
  std::vector<int> percents;
  Statuses statuses;
  size_t abortAfter = 0;

  void progress(int percent) override {
    percents.push_back(percent);
    if (percents.size() == abortAfter) setAbortFlag(false);  // false aborts all the same
  }
  void status(const wchar_t* text) override { statuses.emplace_back(text); }
};

class ZlibEngineTest : public testing::Test {
 protected:
  // The name of a file in the test's folder, which `bytes`, when given, are written to.
  std::wstring file(const char* name, const std::string* bytes = nullptr) {
    if (bytes) std::ofstream(m_dir.path() / name, std::ios::binary) << *bytes;
    return (m_dir.path() / name).wstring();
  }
  std::string read(const char* name) { return qxtest::fileBytes(m_dir.path() / name); }
  qxtest::TempDir m_dir;
};

// Random bytes, text and runs of zeros: some blocks compress well, some not at all.
std::string mixed(size_t size) {
  std::mt19937 random(7);
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i)
    if (i % 10000 < 5000)
      bytes[i] = i % 10000 < 3000 ? static_cast<char>(random()) : "LINE 10,20 A-WALL\n"[i % 18];
  return bytes;
}

// The one-call functions, which are zlib's own, on strings: the result code and the bytes.
std::pair<int, std::string> oneCall(bool compressing, std::string source, size_t room, int level = 6) {
  std::string out(room, '\0');
  unsigned long size = room;
  auto* dest = reinterpret_cast<unsigned char*>(out.data());
  auto* from = reinterpret_cast<unsigned char*>(source.data());
  const int code = compressing ? ZlibEngine::compressMemory(dest, &size, from, source.size(), level)
                               : ZlibEngine::decompressMemory(dest, &size, from, source.size());
  out.resize(code == Z_OK ? size : 0);
  return {code, out};
}

TEST_F(ZlibEngineTest, CompressesAndDecompressesFilesAsZlibStreams) {
  for (const size_t size : {size_t{0}, size_t{1}, size_t{4096}, size_t{300001}}) {
    for (const int level : {0, 1, 6, 9, -1}) {
      SCOPED_TRACE(testing::Message() << size << " bytes at level " << level);
      const std::string bytes = mixed(size);
      Recorder engine, back;
      ASSERT_EQ(engine.compress(file("in", &bytes).c_str(), file("packed").c_str(), level), 0);
      ASSERT_EQ(back.decompress(file("packed").c_str(), file("out").c_str()), 0);
      EXPECT_EQ(oneCall(false, read("packed"), size + 1), std::make_pair(Z_OK, bytes));
      EXPECT_EQ(read("out"), bytes);
      for (const Recorder* run : {&engine, &back}) {
        EXPECT_EQ(run->statuses, Statuses{L"Success"});
        EXPECT_EQ(run->percents.back(), 100);
        EXPECT_TRUE(std::is_sorted(run->percents.begin(), run->percents.end()));
      }
    }
  }
}

// Zeros compress so well that every block is consumed whole, so the percentages are known exactly: one
// after each 4096-byte block and the last once more.
TEST_F(ZlibEngineTest, ReportsProgressAfterEveryBlockByBothFormulas) {
  for (const uint64_t length : {uint64_t{5000000}, uint64_t{20000000}}) {
    SCOPED_TRACE(length);
    std::vector<int> expected;
    for (uint64_t consumed = 4096;; consumed = std::min(consumed + 4096, length)) {
      expected.push_back(
          static_cast<int>(length <= 10000000 ? consumed * 100 / length : consumed / (length / 100)));
      if (consumed == length) break;
    }
    expected.push_back(100);
    const std::string zeros(length, '\0');
    Recorder engine;
    ASSERT_EQ(engine.compress(file("zeros", &zeros).c_str(), file("packed").c_str(), 6), 0);
    EXPECT_EQ(engine.percents, expected);
  }
}

TEST_F(ZlibEngineTest, AbortFromProgressStopsTheRunAndKeepsWhatWasWritten) {
  const std::string bytes = mixed(200000);
  Recorder engine;
  engine.abortAfter = 25;
  EXPECT_EQ(engine.compress(file("in", &bytes).c_str(), file("packed").c_str(), 1), ZlibEngine::kAborted);
  EXPECT_EQ(engine.statuses, Statuses{L"User Abort"});
  EXPECT_EQ(engine.percents.size(), 26u);  // after 25 blocks, and the final report
  // What was written is the start of the whole stream.
  ASSERT_EQ(Recorder().compress(file("in").c_str(), file("whole").c_str(), 1), 0);
  const std::string partial = read("packed"), whole = read("whole");
  EXPECT_GT(partial.size(), size_t{ZlibEngine::kBlockSize});
  EXPECT_EQ(whole.substr(0, partial.size()), partial);

  // The next run starts with the flag cleared.
  engine.abortAfter = 0;
  EXPECT_EQ(engine.compress(file("in").c_str(), file("packed").c_str(), 1), 0);
  EXPECT_EQ(engine.statuses, (Statuses{L"User Abort", L"Success"}));
}

TEST_F(ZlibEngineTest, BadStreamsEndInZlibError) {
  const std::string bytes = mixed(50000);
  ASSERT_EQ(Recorder().compress(file("in", &bytes).c_str(), file("packed").c_str(), 6), 0);
  const std::string stream = read("packed");
  std::string flipped = stream;
  flipped[stream.size() / 2] ^= 0x55;
  const std::pair<std::string, int> cases[] = {
      {stream.substr(0, stream.size() / 2), Z_BUF_ERROR},  // truncated
      {stream.substr(0, stream.size() - 1), Z_BUF_ERROR},  // the check value cut short
      {"\x78\x9c\xff\xff\xff", Z_DATA_ERROR},              // no valid block
      {"PK\x03\x04 not zlib", Z_DATA_ERROR},
      {flipped, Z_DATA_ERROR},
      {"", Z_BUF_ERROR}};
  for (const auto& [broken, code] : cases) {
    SCOPED_TRACE(testing::PrintToString(broken.substr(0, 8)));
    Recorder engine;
    EXPECT_EQ(engine.decompress(file("broken", &broken).c_str(), file("out").c_str()), code);
    EXPECT_EQ(engine.statuses, Statuses{L"Zlib Error"});
  }
}

TEST_F(ZlibEngineTest, FileNamesAndFilesThatCannotBeOpened) {
  const std::string data = "data", kept = "kept";
  const std::wstring input = file("in", &data), output = file("out", &kept), base = file("");
  Recorder engine;
  // A missing input leaves the output alone; an output that cannot be made ends the run the same way.
  EXPECT_EQ(engine.compress(file("missing").c_str(), output.c_str(), 6), Z_ERRNO);
  EXPECT_EQ(read("out"), "kept");
  EXPECT_EQ(engine.decompress(input.c_str(), file("no/dir").c_str()), Z_ERRNO);
  EXPECT_EQ(engine.compress(input.c_str(), base.c_str(), 6), Z_ERRNO);  // a folder
  EXPECT_EQ(engine.compress(nullptr, output.c_str(), 6), Z_ERRNO);
  EXPECT_EQ(engine.compress(input.c_str(), output.c_str(), 12), Z_STREAM_ERROR);
  EXPECT_EQ(engine.statuses, Statuses(5, L"Zlib Error"));
  EXPECT_TRUE(engine.percents.empty());
  // Either slash separates folders, and "|" stands for a space.
  std::filesystem::create_directory(file("sub dir"));
  file("sub dir/in", &data);
  EXPECT_EQ(engine.compress((base + L"\\sub|dir\\in").c_str(), (base + L"/sub|dir\\out").c_str(), 6), 0);
  EXPECT_EQ(oneCall(false, read("sub dir/out"), 5).second, "data");
}

TEST(ZlibMemoryTest, OneCallFunctionsAreZlibsOwn) {
  const std::string text = mixed(100000);
  const auto [code, packed] = oneCall(true, text, ZlibEngine::compressedSize(text.size()), 9);
  ASSERT_EQ(code, Z_OK);
  EXPECT_LT(packed.size(), text.size());
  EXPECT_EQ(oneCall(false, packed, text.size()), std::make_pair(Z_OK, text));
  std::string flipped = packed;
  flipped[2] ^= 0xff;
  const std::tuple<bool, std::string, size_t, int, int> failures[] = {
      {false, packed, 100, 6, Z_BUF_ERROR},                          // no room
      {false, packed.substr(0, packed.size() / 2), text.size(), 6, Z_DATA_ERROR},  // cut short
      {false, flipped, text.size(), 6, Z_DATA_ERROR},
      {true, text, 4, 6, Z_BUF_ERROR},
      {true, text, packed.size() * 2, 11, Z_STREAM_ERROR}};
  for (const auto& [compressing, source, room, level, expected] : failures)
    EXPECT_EQ(oneCall(compressing, source, room, level).first, expected);
}

}  // namespace
