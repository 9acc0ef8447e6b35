// Crash reports: the time from a fault to the finished report and minidump of a process of eight threads,
// against gdb attaching to the same kind of process to print every thread's stack
// (gdb -batch -p PID -ex "thread apply all bt"), what a developer would run instead.
//
// The process is this program started again with --crashing-child: it sets extended crash reporting up,
// starts seven idle threads beside its main one, says "ready" and, at a line on its standard input, reads
// through a null pointer. Only the time after the line is counted.

#include "bench_support.h"
#include "ut_crash_report.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>

namespace {

int* volatile g_null = nullptr;

int crashingChild() {
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  ut::initCrashReporting();
  ut::setExtendedCrashReport(true);
  std::mutex mutex;
  std::condition_variable idle;
  for (int i = 0; i < 7; ++i) {
    std::thread([&] {
      std::unique_lock<std::mutex> lock(mutex);
      idle.wait(lock, [] { return false; });
    }).detach();
  }
  std::cout << "ready" << std::endl;
  std::string line;
  std::getline(std::cin, line);
  ut::SehXlatorOverride untranslated;
  return *g_null;
}

// A crashing child, started and ready; its standard input is `input`.
struct Child {
  pid_t pid = -1;
  int input = -1;

  // One socket is the child's standard input and output both: "ready" comes back before "go" is written.
  Child() {
    int channel[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel) != 0) return;
    pid = fork();
    if (pid == 0) {
      dup2(channel[1], STDIN_FILENO);
      dup2(channel[1], STDOUT_FILENO);
      execl("/proc/self/exe", "bench_crash_report", "--crashing-child", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(channel[1]);
    input = channel[0];
    char ready[6] = {};
    if (pid < 0 || read(input, ready, 6) != 6) pid = -1;
  }
  ~Child() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    close(input);
  }
  void crashAndWait() {
    if (write(input, "go\n", 3) == 3) waitpid(pid, nullptr, 0);
    pid = -1;
  }
};

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_ReportAndMinidumpOfEightThreads(benchmark::State& state) {
  setenv("VELTOCAD_CRASH_REPORT_DIR", qxbench::workDir().c_str(), 1);
  for (auto _ : state) {
    Child child;
    const auto start = std::chrono::steady_clock::now();
    child.crashAndWait();
    state.SetIterationTime(secondsSince(start));
  }
}
BENCHMARK(BM_ReportAndMinidumpOfEightThreads)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

void BM_GdbThreadApplyAllBacktrace(benchmark::State& state) {
  for (auto _ : state) {
    Child child;
    const std::string command = "gdb -batch -p " + std::to_string(child.pid) +
                                " -ex 'thread apply all bt' >/dev/null 2>&1 </dev/null";
    const auto start = std::chrono::steady_clock::now();
    if (std::system(command.c_str()) != 0) state.SkipWithError("gdb failed");
    state.SetIterationTime(secondsSince(start));
  }
}
BENCHMARK(BM_GdbThreadApplyAllBacktrace)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "--crashing-child") return crashingChild();
  return qxbench::runBenchmarks(argc, argv);
}
