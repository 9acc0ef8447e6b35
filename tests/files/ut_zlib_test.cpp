#include "ut_zlib.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using qxtest::fileBytes;
using qxtest::TempDir;

// Records what a run reports; `onProgress` may act on the engine from inside progress().
class Recorder : public ZlibEngine {
 public:
  std::vector<int> percents;
  std::vector<std::wstring> statuses;
  std::function<void(Recorder&)> onProgress;

 protected:
  void progress(int percent) override {
    percents.push_back(percent);
    if (onProgress) onProgress(*this);
  }
  void status(const wchar_t* text) override { statuses.emplace_back(text); }
};

void write(const fs::path& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// Text, random bytes and runs of zeros: some blocks compress well, some not at all.
std::string mixed(size_t size) {
  std::mt19937 random(7);
  std::string bytes;
  while (bytes.size() < size) {
    for (int i = 0; i < 200; ++i) bytes += "LINE 10,20 30,40 layer A-WALL\n";
    for (int i = 0; i < 3000; ++i) bytes += static_cast<char>(random());
    bytes.append(5000, '\0');
  }
  bytes.resize(size);
  return bytes;
}

// What zlib itself makes of a stream: the bytes, or "<error>".
std::string inflateWithZlib(const std::string& stream, size_t size) {
  std::string out(size + 1, '\0');
  uLongf length = out.size();
  if (uncompress(reinterpret_cast<Bytef*>(out.data()), &length, reinterpret_cast<const Bytef*>(stream.data()),
                 stream.size()) != Z_OK)
    return "<error>";
  out.resize(length);
  return out;
}

TEST(ZlibEngineTest, CompressesAndDecompressesFilesAsZlibStreams) {
  TempDir dir;
  const fs::path input = dir.path() / "in", packed = dir.path() / "packed", output = dir.path() / "out";
  for (const size_t size : {size_t{0}, size_t{1}, size_t{4096}, size_t{300001}}) {
    for (const int level : {0, 1, 6, 9, -1}) {
      SCOPED_TRACE(testing::Message() << size << " bytes at level " << level);
      const std::string bytes = mixed(size);
      write(input, bytes);
      Recorder engine;
      ASSERT_EQ(engine.compress(input.wstring().c_str(), packed.wstring().c_str(), level), 0);
      EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"Success"});
      ASSERT_FALSE(engine.percents.empty());
      EXPECT_EQ(engine.percents.back(), 100);
      EXPECT_TRUE(std::is_sorted(engine.percents.begin(), engine.percents.end()));
      EXPECT_EQ(inflateWithZlib(fileBytes(packed), size), bytes);

      Recorder back;
      ASSERT_EQ(back.decompress(packed.wstring().c_str(), output.wstring().c_str()), 0);
      EXPECT_EQ(back.statuses, std::vector<std::wstring>{L"Success"});
      EXPECT_EQ(back.percents.back(), 100);
      EXPECT_EQ(fileBytes(output), bytes);
    }
  }
}

// Zeros compress so well that every block is consumed whole, so the percentages are known exactly: one
// after each 4096-byte block and the last once more.
TEST(ZlibEngineTest, ReportsProgressAfterEveryBlockByBothFormulas) {
  TempDir dir;
  const fs::path input = dir.path() / "zeros", packed = dir.path() / "packed";
  for (const uint64_t length : {uint64_t{5000000}, uint64_t{20000000}}) {
    SCOPED_TRACE(length);
    write(input, std::string(length, '\0'));
    std::vector<int> expected;
    for (uint64_t consumed = 4096;; consumed += 4096) {
      consumed = std::min(consumed, length);
      expected.push_back(static_cast<int>(length <= 10000000 ? consumed * 100 / length : consumed / (length / 100)));
      if (consumed == length) break;
    }
    expected.push_back(100);
    Recorder engine;
    ASSERT_EQ(engine.compress(input.wstring().c_str(), packed.wstring().c_str(), 6), 0);
    EXPECT_EQ(engine.percents, expected);
  }
}

TEST(ZlibEngineTest, AbortFromProgressStopsTheRunAndKeepsWhatWasWritten) {
  TempDir dir;
  const fs::path input = dir.path() / "in", packed = dir.path() / "packed", whole = dir.path() / "whole";
  write(input, mixed(200000));
  Recorder engine;
  engine.onProgress = [](Recorder& self) {
    if (self.percents.size() == 25) self.setAbortFlag(false);  // false aborts all the same
  };
  EXPECT_EQ(engine.compress(input.wstring().c_str(), packed.wstring().c_str(), 1), ZlibEngine::kAborted);
  EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"User Abort"});
  EXPECT_EQ(engine.percents.size(), 26u);  // after 25 blocks, and the final report
  // What was written is the start of the whole stream.
  const std::string partial = fileBytes(packed);
  ASSERT_EQ(Recorder().compress(input.wstring().c_str(), whole.wstring().c_str(), 1), 0);
  EXPECT_GT(partial.size(), size_t{ZlibEngine::kBlockSize});
  EXPECT_LT(partial.size(), fileBytes(whole).size());
  EXPECT_EQ(fileBytes(whole).substr(0, partial.size()), partial);

  // The next run starts with the flag cleared.
  engine.onProgress = nullptr;
  engine.statuses.clear();
  EXPECT_EQ(engine.compress(input.wstring().c_str(), packed.wstring().c_str(), 1), 0);
  EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"Success"});
}

TEST(ZlibEngineTest, BadStreamsEndInZlibError) {
  TempDir dir;
  const fs::path input = dir.path() / "in", packed = dir.path() / "packed", output = dir.path() / "out";
  write(input, mixed(50000));
  ASSERT_EQ(Recorder().compress(input.wstring().c_str(), packed.wstring().c_str(), 6), 0);
  const std::string stream = fileBytes(packed);
  std::string flipped = stream;
  flipped[stream.size() / 2] ^= 0x55;
  const std::pair<std::string, int> cases[] = {
      {stream.substr(0, stream.size() / 2), Z_BUF_ERROR},  // truncated
      {stream.substr(0, stream.size() - 1), Z_BUF_ERROR},  // the check value cut short
      {"\x78\x9c\xff\xff\xff", Z_DATA_ERROR},              // no valid block
      {"PK\x03\x04 not zlib", Z_DATA_ERROR},
      {flipped, Z_DATA_ERROR},
      {"", Z_BUF_ERROR}};
  for (const auto& [bytes, code] : cases) {
    SCOPED_TRACE(testing::PrintToString(bytes.substr(0, 8)));
    write(packed, bytes);
    Recorder engine;
    EXPECT_EQ(engine.decompress(packed.wstring().c_str(), output.wstring().c_str()), code);
    EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"Zlib Error"});
  }
}

TEST(ZlibEngineTest, FilesThatCannotBeOpenedEndTheRun) {
  TempDir dir;
  const fs::path input = dir.path() / "in", output = dir.path() / "out";
  write(input, "data");
  write(output, "kept");
  Recorder engine;
  // A missing input leaves the output alone; an output that cannot be made ends the run the same way.
  EXPECT_EQ(engine.compress((dir.path() / "missing").wstring().c_str(), output.wstring().c_str(), 6), Z_ERRNO);
  EXPECT_EQ(fileBytes(output), "kept");
  EXPECT_EQ(engine.decompress(input.wstring().c_str(), (dir.path() / "no" / "dir").wstring().c_str()), Z_ERRNO);
  EXPECT_EQ(engine.compress(input.wstring().c_str(), dir.path().wstring().c_str(), 6), Z_ERRNO);
  EXPECT_EQ(engine.compress(nullptr, output.wstring().c_str(), 6), Z_ERRNO);
  EXPECT_EQ(engine.compress(input.wstring().c_str(), output.wstring().c_str(), 12), Z_STREAM_ERROR);
  EXPECT_EQ(engine.statuses, std::vector<std::wstring>(5, L"Zlib Error"));
  EXPECT_TRUE(engine.percents.empty());
}

TEST(ZlibEngineTest, PathsTakeEitherSlashAndBarAsSpace) {
  TempDir dir;
  fs::create_directory(dir.path() / "sub dir");
  write(dir.path() / "sub dir" / "in", "content");
  const std::wstring base = dir.path().wstring();
  Recorder engine;
  EXPECT_EQ(engine.compress((base + L"\\sub|dir\\in").c_str(), (base + L"/sub|dir\\out").c_str(), 6), 0);
  EXPECT_EQ(inflateWithZlib(fileBytes(dir.path() / "sub dir" / "out"), 7), "content");
}

TEST(ZlibEngineTest, MemoryFunctionsAreZlibsOwn) {
  std::string text = mixed(100000);
  auto* source = reinterpret_cast<unsigned char*>(text.data());
  std::vector<unsigned char> packed(ZlibEngine::compressedSize(text.size()));
  unsigned long packedSize = packed.size();
  ASSERT_EQ(ZlibEngine::compressMemory(packed.data(), &packedSize, source, text.size(), 9), Z_OK);
  EXPECT_LT(packedSize, text.size());
  std::string back(text.size(), '\0');
  unsigned long backSize = back.size();
  ASSERT_EQ(ZlibEngine::decompressMemory(reinterpret_cast<unsigned char*>(back.data()), &backSize, packed.data(),
                                         packedSize),
            Z_OK);
  EXPECT_EQ(back, text);

  backSize = 100;  // no room
  EXPECT_EQ(ZlibEngine::decompressMemory(reinterpret_cast<unsigned char*>(back.data()), &backSize, packed.data(),
                                         packedSize),
            Z_BUF_ERROR);
  backSize = back.size();  // cut short
  EXPECT_EQ(ZlibEngine::decompressMemory(reinterpret_cast<unsigned char*>(back.data()), &backSize, packed.data(),
                                         packedSize / 2),
            Z_DATA_ERROR);
  packed[2] ^= 0xff;
  EXPECT_EQ(ZlibEngine::decompressMemory(reinterpret_cast<unsigned char*>(back.data()), &backSize, packed.data(),
                                         packedSize),
            Z_DATA_ERROR);
  unsigned long tiny = 4;
  EXPECT_EQ(ZlibEngine::compressMemory(packed.data(), &tiny, source, text.size(), 6), Z_BUF_ERROR);
  EXPECT_EQ(ZlibEngine::compressMemory(packed.data(), &packedSize, source, text.size(), 11), Z_STREAM_ERROR);
}

}  // namespace
