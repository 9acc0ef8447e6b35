// zipFolder and unzipFolder against Python's zipfile (ZIP_DEFLATED at level 6, in a child process that
// times its own work after its start-up) and Info-ZIP's `zip -r -6` and `unzip` (timed around the child
// process), on the same tree in the same run.
//
// The tree is made once per run from a fixed seed: 10,000 small files of 200 bytes to 12 KiB (two in
// three text, one in three binary records) in 50 folders of 7 sub-folders each, and three large files
// of 30, 30 and 20 MB (text, binary records, already-compressed data); about 140 MB in all. Every
// extraction goes to a folder of its own, removed only when the program ends, so that no run pays for
// the file system's clean-up after another; the written data is synced to the disk between runs.
//
//   build/bench/bench_zip

#include "ut_zip.h"

#include "bench_support.h"
#include "mixed_content.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;
using qxbench::workDir;

constexpr int kSmallFiles = 10000;

fs::path tree() { return workDir() / "tree" / "project"; }
fs::path archive() { return workDir() / "reference.zip"; }
OdString od(const fs::path& path) { return OdString(path.wstring().c_str()); }

// A folder no run has used.
fs::path freshFolder(const char* name) {
  static int count = 0;
  return workDir() / "out" / (name + std::to_string(++count));
}

void writeFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

void prepare() {
  static const bool prepared = [] {
    std::mt19937 random(1234);
    for (int i = 0; i < kSmallFiles; ++i) {
      const fs::path folder = tree() / ("dir" + std::to_string(i % 50)) / ("sub" + std::to_string(i % 7));
      const int kind = i % 3 == 0 ? 1 : 0;
      writeFile(folder / ("f" + std::to_string(i) + (kind ? ".bin" : ".txt")),
                qxbench::mixedContent(random, kind, 200 + random() % 12000));
    }
    writeFile(tree() / "big" / "model.txt", qxbench::mixedContent(random, 0, 30'000'000));
    writeFile(tree() / "big" / "mesh.bin", qxbench::mixedContent(random, 1, 30'000'000));
    writeFile(tree() / "big" / "packed.dat", qxbench::mixedContent(random, 2, 20'000'000));
    ut::zipFolder(od(archive()), od(tree()));
    sync();
    return true;
  }();
  (void)prepared;
}

// Runs a shell command; the seconds it took, or the seconds it printed when `printsTime`; negative when
// it failed.
double runCommand(const std::string& command, bool printsTime) {
  const auto start = std::chrono::steady_clock::now();
  std::FILE* child = popen(command.c_str(), "r");
  if (!child) return -1;
  double printed = -1;
  if (printsTime && std::fscanf(child, "%lf", &printed) != 1) printed = -1;
  const bool ok = pclose(child) == 0;
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return !ok ? -1 : printsTime ? printed : elapsed;
}

std::string python(const char* script, const fs::path& first, const fs::path& second) {
  return "python3 -c '" + std::string(script) + "' '" + first.string() + "' '" + second.string() + "'";
}

constexpr const char* kPythonZip = R"(
import os, sys, time, zipfile
start = time.perf_counter()
with zipfile.ZipFile(sys.argv[1], "w", zipfile.ZIP_DEFLATED, compresslevel=6) as z:
    for folder, _, files in os.walk(sys.argv[2]):
        name = os.path.relpath(folder, os.path.dirname(sys.argv[2]))
        z.write(folder, name)
        for file in files:
            z.write(os.path.join(folder, file), os.path.join(name, file))
print(time.perf_counter() - start)
)";

constexpr const char* kPythonUnzip = R"(
import sys, time, zipfile
start = time.perf_counter()
zipfile.ZipFile(sys.argv[1]).extractall(sys.argv[2])
print(time.perf_counter() - start)
)";

// Times `work`, which returns the seconds it measured itself (negative on failure), and syncs after it.
template <class Work>
void measure(benchmark::State& state, Work work) {
  prepare();
  for (auto _ : state) {
    const double seconds = work();
    if (seconds < 0) state.SkipWithError("the run failed");
    state.SetIterationTime(seconds < 0 ? 0 : seconds);
    sync();
  }
}

template <class Call>
double timed(Call call) {
  const auto start = std::chrono::steady_clock::now();
  const bool ok = call();
  return ok ? std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() : -1;
}

void BM_ZipFolder(benchmark::State& state) {
  measure(state, [] {
    const fs::path zip = workDir() / "ours.zip";
    const double seconds = timed([&] { return ut::zipFolder(od(zip), od(tree())) == ut::eZipOk; });
    fs::remove(zip);
    return seconds;
  });
}

void BM_PythonZipfileWrite(benchmark::State& state) {
  measure(state, [] {
    const fs::path zip = workDir() / "python.zip";
    const double seconds = runCommand(python(kPythonZip, zip, tree()), true);
    fs::remove(zip);
    return seconds;
  });
}

void BM_InfoZipZip(benchmark::State& state) {
  measure(state, [] {
    const fs::path zip = workDir() / "infozip.zip";
    const double seconds = runCommand(
        "cd '" + tree().parent_path().string() + "' && zip -q -r -6 '" + zip.string() + "' project", false);
    fs::remove(zip);
    return seconds;
  });
}

void BM_UnzipFolder(benchmark::State& state) {
  measure(state,
          [] { return timed([] { return ut::unzipFolder(od(archive()), od(freshFolder("ours"))); }); });
}

void BM_PythonZipfileExtract(benchmark::State& state) {
  measure(state, [] { return runCommand(python(kPythonUnzip, archive(), freshFolder("python")), true); });
}

void BM_InfoZipUnzip(benchmark::State& state) {
  measure(state, [] {
    return runCommand("unzip -q '" + archive().string() + "' -d '" + freshFolder("infozip").string() + "'",
                      false);
  });
}

BENCHMARK(BM_ZipFolder)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PythonZipfileWrite)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InfoZipZip)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UnzipFolder)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PythonZipfileExtract)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InfoZipUnzip)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return qxbench::runBenchmarks(argc, argv); }
