// ZlibEngine against the loop one would write with zlib by hand: deflate and inflate over 1 MiB buffers
// with fread and fwrite, on the same 100 MB file in the same run. The engine keeps its 4096-byte blocks,
// with a progress call after each.
//
// The file is made once per run, from a fixed seed, of 1 MiB pieces in turn of the three kinds of
// mixed_content.h: text, binary records and already-compressed data.
//
//   build/bench/bench_zlib

#include "ut_zlib.h"

#include "bench_support.h"
#include "mixed_content.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t kFileBytes = 100'000'000;
constexpr size_t kPiece = 1 << 20;
constexpr size_t kLoopBuffer = 1 << 20;

using qxbench::workDir;

std::string path(const char* name) { return (workDir() / name).string(); }
std::wstring wide(const std::string& narrow) { return std::filesystem::path(narrow).wstring(); }

void prepare() {
  static const bool prepared = [] {
    std::mt19937 random(2024);
    std::FILE* out = std::fopen(path("mixed.bin").c_str(), "wb");
    for (size_t written = 0, i = 0; written < kFileBytes; written += kPiece, ++i) {
      const std::string piece = qxbench::mixedContent(random, static_cast<int>(i % 3), kPiece);
      std::fwrite(piece.data(), 1, std::min(kPiece, kFileBytes - written), out);
    }
    std::fclose(out);
    ZlibEngine().compress(wide(path("mixed.bin")).c_str(), wide(path("mixed.z")).c_str(), 6);
    return true;
  }();
  (void)prepared;
}

// The hand-written loop: whole buffers in, whole buffers out.
bool zlibLoop(const std::string& from, const std::string& to, bool deflating) {
  z_stream stream{};
  if ((deflating ? deflateInit(&stream, 6) : inflateInit(&stream)) != Z_OK) return false;
  std::FILE* in = std::fopen(from.c_str(), "rb");
  std::FILE* out = std::fopen(to.c_str(), "wb");
  std::vector<unsigned char> input(kLoopBuffer), output(kLoopBuffer);
  int result = Z_OK;
  while (result == Z_OK) {
    stream.avail_in = static_cast<uInt>(std::fread(input.data(), 1, input.size(), in));
    stream.next_in = input.data();
    const int flush = stream.avail_in == 0 ? Z_FINISH : Z_NO_FLUSH;
    do {
      stream.next_out = output.data();
      stream.avail_out = static_cast<uInt>(output.size());
      result = deflating ? deflate(&stream, flush) : inflate(&stream, flush);
      std::fwrite(output.data(), 1, output.size() - stream.avail_out, out);
    } while (stream.avail_out == 0 && result == Z_OK);
    if (flush == Z_FINISH && result == Z_OK) result = Z_BUF_ERROR;
  }
  deflating ? deflateEnd(&stream) : inflateEnd(&stream);
  std::fclose(in);
  std::fclose(out);
  return result == Z_STREAM_END;
}

// Counts its progress calls, so that the work cannot be optimised away and the calls are paid for.
class CountingEngine : public ZlibEngine {
 public:
  int calls = 0;

 protected:
  void progress(int percent) override { calls += percent >= 0; }
};

template <class Work>
void timed(benchmark::State& state, Work work) {
  prepare();
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    if (!work()) state.SkipWithError("the run failed");
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileBytes));
}

void BM_EngineCompress(benchmark::State& state) {
  timed(state, [] {
    CountingEngine engine;
    return engine.compress(wide(path("mixed.bin")).c_str(), wide(path("engine.z")).c_str(), 6) == 0;
  });
}

void BM_ZlibLoopDeflate(benchmark::State& state) {
  timed(state, [] { return zlibLoop(path("mixed.bin"), path("loop.z"), true); });
}

void BM_EngineDecompress(benchmark::State& state) {
  timed(state, [] {
    CountingEngine engine;
    return engine.decompress(wide(path("mixed.z")).c_str(), wide(path("engine.out")).c_str()) == 0;
  });
}

void BM_ZlibLoopInflate(benchmark::State& state) {
  timed(state, [] { return zlibLoop(path("mixed.z"), path("loop.out"), false); });
}

BENCHMARK(BM_EngineCompress)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZlibLoopDeflate)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EngineDecompress)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZlibLoopInflate)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return qxbench::runBenchmarks(argc, argv); }
