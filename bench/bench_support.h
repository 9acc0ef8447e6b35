// Shared by the benchmark programs: a working directory of their own, which the hive is pointed into.

#ifndef QX_BENCH_SUPPORT_H
#define QX_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace qxbench {

// Made on first use; the program removes it at its end.
inline const std::filesystem::path& workDir() {
  static const std::filesystem::path dir = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "qxbench_XXXXXX").string();
    const std::filesystem::path made = mkdtemp(pattern.data());
    setenv("VELTOCAD_REGISTRY_DIR", made.c_str(), 1);
    return made;
  }();
  return dir;
}

// The main of a benchmark program that uses workDir(): runs the benchmarks, then removes the directory.
inline int runBenchmarks(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::filesystem::remove_all(workDir());
  return 0;
}

}  // namespace qxbench

#endif
