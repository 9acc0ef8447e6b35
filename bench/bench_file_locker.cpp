// A lock/unlock cycle of FileLocker on one document, against the same system calls written out by hand:
// the user's, the machine's name and the time (getpwuid_r, gethostname, localtime_r and strftime), the
// document opened and locked (open, F_OFD_SETLK), each of the two information files written under a name
// of its own, locked and renamed into place, then both deleted and everything closed.
//
//   build/bench/bench_file_locker

#include "ut_file_locker.h"

#include "bench_support.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <climits>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

namespace {

const std::string& document() {
  static const std::string path = [] {
    const std::string made = (qxbench::workDir() / "plan.dwg").string();
    std::ofstream(made) << "drawing";
    return made;
  }();
  return path;
}

void BM_FileLocker(benchmark::State& state) {
  const OdString path(std::wstring(document().begin(), document().end()));
  ut::FileLocker locker;
  for (auto _ : state) {
    if (!locker.lock(path)) state.SkipWithError("lock failed");
    locker.unlock();
  }
}

bool lockWhole(int fd) {
  struct flock whole {};
  whole.l_type = F_WRLCK;
  return fcntl(fd, F_OFD_SETLK, &whole) == 0;
}

int writeInfoFile(const std::string& path, const std::string& content) {
  static unsigned made = 0;  // a fresh name each time, as the locker's are
  const std::string temporary = path + "." + std::to_string(++made);
  const int fd = open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0 || !lockWhole(fd) ||
      write(fd, content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
      rename(temporary.c_str(), path.c_str()) != 0) {
    return -1;
  }
  return fd;
}

bool lockByHand(const std::string& dwl, const std::string& dwl2) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  const std::string user = found ? found->pw_name : "";
  char host[HOST_NAME_MAX + 1] = {};
  gethostname(host, sizeof host - 1);
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char time[256];
  const std::string when(time, strftime(time, sizeof time, "%A, %B %d, %Y %X", &local));

  const int document = open(::document().c_str(), O_RDWR | O_CLOEXEC);
  if (document < 0 || !lockWhole(document)) return false;
  const int first = writeInfoFile(dwl, user + "\n" + host + "\n" + when);
  const int second = writeInfoFile(
      dwl2, "<?xml version=\"1.0\"?>\n<whprops>\n<username>" + user + "</username>\n<machinename>" + host +
                "</machinename>\n<fullname></fullname>\n<datetime>" + when + "</datetime>\n</whprops>\n");
  unlink(dwl.c_str());
  unlink(dwl2.c_str());
  close(first);
  close(second);
  return close(document) == 0;
}

void BM_HandWritten(benchmark::State& state) {
  const std::string stem = document().substr(0, document().size() - 3);
  const std::string dwl = stem + "dwl", dwl2 = stem + "dwl2";
  for (auto _ : state) {
    if (!lockByHand(dwl, dwl2)) state.SkipWithError("lock failed");
  }
}

BENCHMARK(BM_FileLocker)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HandWritten)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) { return qxbench::runBenchmarks(argc, argv); }
