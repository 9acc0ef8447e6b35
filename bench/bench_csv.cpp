// CSV reading and writing on a generated table of 1,000,000 rows (about 100 MB), against Python 3's csv
// module doing the same work in a child process: readCSV of the file against csv.reader into a list,
// and CsvWriter writing the rows against csv.writer. Each side times only the work itself (Python with
// perf_counter, after its start-up; qxutils without freeing the table).
//
//   build/bench/bench_csv

#include "ut_csv.h"
#include "ut_text_file.h"

#include "bench_support.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

namespace {

constexpr int kRows = 1000000;

using qxbench::workDir;
using Table = OdArray<OdArray<OdString>>;

std::string inputPath() { return (workDir() / "table.csv").string(); }
OdString wide(const std::string& path) { return OdString(std::filesystem::path(path).wstring()); }

// A parts list as a CAD program exports it: number, code, name, a description that is often quoted
// (commas, inch marks, now and then a diameter sign), material, quantity, price, layer and date.
void writeInput() {
  static const char* const kNames[] = {"Bolt",  "Hex nut", "Washer", "Bracket", "Beam IPE 200",
                                       "Plate", "Anchor",  "Pipe",   "Flange",  "Grüner Stahlträger"};
  static const char* const kDescriptions[] = {"\"Hex bolt, zinc plated, 12\"\" long\"",
                                              "\"Steel, S235JR, hot-dip galvanised\"",
                                              "Standard part from catalogue",
                                              "\"Ø 48,3 x 3,2 mm, welded\"",
                                              "See drawing A-104 sheet 2",
                                              "\"Left, right and centre variants\""};
  static const char* const kMaterials[] = {"S235JR", "S355J2", "AlMg3", "PE-HD", "1.4301", "C45"};
  static const char* const kLayers[] = {"A-WALL", "S-BEAM", "M-PIPE", "E-LITE", "0"};
  std::mt19937 random(11);
  std::FILE* out = std::fopen(inputPath().c_str(), "w");
  for (int row = 0; row < kRows; ++row) {
    std::fprintf(out, "%d,PRT-%06u,%s,%s,%s,%u,%u.%03u,%s-%02u,2024-%02u-%02u\n", row + 1,
                 static_cast<unsigned>(random() % 1000000), kNames[random() % 10],
                 kDescriptions[random() % 6], kMaterials[random() % 6], static_cast<unsigned>(random() % 500),
                 static_cast<unsigned>(random() % 10000), static_cast<unsigned>(random() % 1000),
                 kLayers[random() % 5], static_cast<unsigned>(random() % 100),
                 static_cast<unsigned>(1 + random() % 12), static_cast<unsigned>(1 + random() % 28));
  }
  std::fclose(out);
}

void prepare() {
  static const bool prepared = (writeInput(), true);
  (void)prepared;
}

// Runs a Python script with the input file and `output` as arguments; its only output line is the
// seconds its timed part took, or negative when it failed.
double runPython(const char* script, const std::string& output) {
  const std::string command = "python3 -c '" + std::string(script) + "' " + inputPath() + " " + output;
  std::FILE* child = popen(command.c_str(), "r");
  if (!child) return -1;
  double seconds = -1;
  if (std::fscanf(child, "%lf", &seconds) != 1) seconds = -1;
  return pclose(child) == 0 ? seconds : -1;
}

constexpr const char* kPythonRead = R"(
import csv, sys, time
start = time.perf_counter()
with open(sys.argv[1], newline="", encoding="utf-8") as f:
    rows = list(csv.reader(f))
print(time.perf_counter() - start)
)";

constexpr const char* kPythonWrite = R"(
import csv, sys, time
with open(sys.argv[1], newline="", encoding="utf-8") as f:
    rows = list(csv.reader(f))
start = time.perf_counter()
with open(sys.argv[2], "w", newline="", encoding="utf-8") as f:
    csv.writer(f, lineterminator="\n").writerows(rows)
print(time.perf_counter() - start)
)";

template <class Work>
double seconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void setBytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(inputPath())));
}

void BM_ReadCsv(benchmark::State& state) {
  prepare();
  for (auto _ : state) {
    Table table;
    state.SetIterationTime(seconds([&] { ut::readCSV(table, wide(inputPath()), L','); }));
    if (table.size() != kRows) state.SkipWithError("wrong number of rows");
  }
  setBytes(state);
}

// The TextFile part of readCSV: opening (reading and decoding) and taking every line.
void BM_TextFileLines(benchmark::State& state) {
  prepare();
  for (auto _ : state) {
    state.SetIterationTime(seconds([&] {
      ut::TextFile file(wide(inputPath()));
      file.open();
      for (size_t i = 0; i < file.getLineCount(); ++i) benchmark::DoNotOptimize(file.getLine(i));
    }));
  }
  setBytes(state);
}

void BM_PythonCsvReader(benchmark::State& state) {
  prepare();
  for (auto _ : state) {
    const double elapsed = runPython(kPythonRead, "");
    if (elapsed < 0) state.SkipWithError("python3 failed");
    state.SetIterationTime(elapsed < 0 ? 0 : elapsed);
  }
  setBytes(state);
}

void BM_CsvWriter(benchmark::State& state) {
  prepare();
  Table table;
  ut::readCSV(table, wide(inputPath()), L',');
  const std::string output = (workDir() / "written.csv").string();
  for (auto _ : state) {
    state.SetIterationTime(seconds([&] {
      ut::CsvWriter writer(wide(output));
      for (const OdArray<OdString>& row : table) writer.write(row);
    }));
  }
  // Both writers quote the same fields the same way, so the copy equals the input.
  if (std::filesystem::file_size(output) != std::filesystem::file_size(inputPath()))
    state.SkipWithError("written file differs from the input");
  setBytes(state);
}

void BM_PythonCsvWriter(benchmark::State& state) {
  prepare();
  const std::string output = (workDir() / "written_by_python.csv").string();
  for (auto _ : state) {
    const double elapsed = runPython(kPythonWrite, output);
    if (elapsed < 0) state.SkipWithError("python3 failed");
    state.SetIterationTime(elapsed < 0 ? 0 : elapsed);
  }
  setBytes(state);
}

BENCHMARK(BM_ReadCsv)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TextFileLines)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PythonCsvReader)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CsvWriter)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PythonCsvWriter)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return qxbench::runBenchmarks(argc, argv); }
