// UTF-8 validation and text-file reading. isValidUTF8Encoding over 64 MiB of ASCII and of mixed text
// (ASCII words beside Cyrillic, CJK and emoji) runs against a validator that checks one byte at a time;
// readTextFileContent of a 100 MB UTF-8 file against std::getline into std::string, the least a reader
// of lines can do (it neither decodes nor checks).
//
//   build/bench/bench_text_file

#include "ut_text_file.h"

#include "../fuzz/utf8_reference.h"
#include "bench_support.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <random>
#include <string>

namespace {

constexpr size_t kValidationBytes = 64u << 20;
constexpr size_t kFileBytes = 100'000'000;

// Words of `pieces` with spaces between them, and a line end now and then, up to `size` bytes.
std::string textOf(std::initializer_list<const char*> pieces, size_t size) {
  const std::vector<std::string> words(pieces.begin(), pieces.end());
  std::mt19937 random(11);
  std::string text;
  text.reserve(size + 64);
  while (text.size() < size) {
    text += words[random() % words.size()];
    text += random() % 12 ? ' ' : '\n';
  }
  return text;
}

const std::string& asciiText() {
  static const std::string text =
      textOf({"line", "layer", "0.25", "Walls", "BLOCK", "x=12,y=7"}, kValidationBytes);
  return text;
}

const std::string& mixedText() {
  static const std::string text = textOf(
      {"line", "\xD1\x81\xD0\xBB\xD0\xBE\xD0\xB9", "\xE5\x9B\xB3\xE9\x9D\xA2", "0.25", "\xF0\x9F\x93\x90",
       "Stra\xC3\x9F"
       "e",
       "walls"},
      kValidationBytes);
  return text;
}

void validate(benchmark::State& state, const std::string& text, bool reference) {
  std::string bytes = text;
  auto* data = reinterpret_cast<unsigned char*>(bytes.data());
  for (auto _ : state) {
    benchmark::DoNotOptimize(reference ? qxfuzz::referenceValidUtf8(data, bytes.size())
                                       : ut::isValidUTF8Encoding(data, bytes.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

void BM_ValidateAscii(benchmark::State& state) { validate(state, asciiText(), false); }
void BM_ReferenceValidateAscii(benchmark::State& state) { validate(state, asciiText(), true); }
void BM_ValidateMixed(benchmark::State& state) { validate(state, mixedText(), false); }
void BM_ReferenceValidateMixed(benchmark::State& state) { validate(state, mixedText(), true); }

const std::string& textFile() {
  static const std::string path = [] {
    const std::string file = (qxbench::workDir() / "text.txt").string();
    std::ofstream(file, std::ios::binary) << textOf(
        {"line", "\xD1\x81\xD0\xBB\xD0\xBE\xD0\xB9", "0.25", "Walls", "BLOCK", "\xE5\x9B\xB3"}, kFileBytes);
    return file;
  }();
  return path;
}

void BM_ReadTextFileContent(benchmark::State& state) {
  const OdString path(std::wstring(textFile().begin(), textFile().end()));
  for (auto _ : state) {
    OdArray<OdString> lines;
    if (!ut::readTextFileContent(lines, path)) state.SkipWithError("not read");
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileBytes));
}

void BM_GetlineIntoStrings(benchmark::State& state) {
  for (auto _ : state) {
    std::ifstream in(textFile(), std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(std::move(line));
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileBytes));
}

}  // namespace

BENCHMARK(BM_ValidateAscii);
BENCHMARK(BM_ReferenceValidateAscii);
BENCHMARK(BM_ValidateMixed);
BENCHMARK(BM_ReferenceValidateMixed);
BENCHMARK(BM_ReadTextFileContent)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetlineIntoStrings)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) { return qxbench::runBenchmarks(argc, argv); }
