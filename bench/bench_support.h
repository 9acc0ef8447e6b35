// Shared by the benchmark programs: a working directory of their own, which the hive is pointed into.

#ifndef QX_BENCH_SUPPORT_H
#define QX_BENCH_SUPPORT_H

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

}  // namespace qxbench

#endif
