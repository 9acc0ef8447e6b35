// A child process for the crash-report tests: it sets crash reporting up as a host does, then faults for
// real, as its arguments say, and the test reads the report and the minidump it leaves.
//
//   crash_child fault KIND [OPTIONS]      faults on the main thread with translation off; ends by the signal
//   crash_child catch KIND [OPTIONS]      faults twice in a try block, printing "caught CODE" each time
//   crash_child thread KIND [OPTIONS]     faults on a second thread while the main thread waits
//   crash_child eight [OPTIONS]           eight threads fault at once, translation off
//   crash_child uncaught                  throws a std::runtime_error that no one catches
//   crash_child report [OPTIONS]          calls reportCrash with an error message, three times
//   crash_child malloc                    faults inside malloc while holding malloc's lock
//   crash_child path                      prints the report's path
//   crash_child idle                      prints "ready PID", then waits for a line on standard input
//
// KIND is null, divide, illegal, overflow or breakpoint. OPTIONS: --extended (every thread, registers and
// a minidump), --workers (three idle threads beside), --test NAME (startTest), --helper PATH (the helper to
// start). Before it faults the child prints "line FUNCTION N", the line where each faulting function faults.
// Started with no arguments at all, it is a crash helper that faults at once.

#include "diagnostics/ut_crash_report_p.h"
#include "ut_crash_report.h"

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

volatile int* volatile g_null = nullptr;
volatile int g_zero = 0;

__attribute__((noinline, no_sanitize("undefined", "address"))) int readNull() { return *g_null; }
constexpr int kReadNullLine = __LINE__ - 1;

__attribute__((noinline, no_sanitize("undefined"))) int divide(int a) { return a / g_zero; }
constexpr int kDivideLine = __LINE__ - 1;

__attribute__((noinline)) void illegal() { asm volatile("ud2"); }
constexpr int kIllegalLine = __LINE__ - 1;

__attribute__((noinline)) void breakpoint() { asm volatile("int3"); }
constexpr int kBreakpointLine = __LINE__ - 1;

// Recurses until the stack is gone; the condition, never true, only keeps the compiler from refusing it.
__attribute__((noinline)) int overflow(int depth) {
  volatile char frame[256];
  frame[depth % 256] = static_cast<char>(depth);
  if (depth < 0) return 0;
  return overflow(depth + 1) + frame[0];
}

void printLines() {
  std::printf("line readNull %d\nline divide %d\nline illegal %d\nline breakpoint %d\n", kReadNullLine,
              kDivideLine, kIllegalLine, kBreakpointLine);
  std::fflush(stdout);
}

int fault(const std::string& kind) {
  if (kind == "null") return readNull();
  if (kind == "divide") return divide(7);
  if (kind == "illegal") illegal();
  if (kind == "breakpoint") breakpoint();
  if (kind == "overflow") return overflow(0);
  return 0;
}

// An idle thread that the report shows waiting in idleWorker.
std::mutex g_idleMutex;
std::condition_variable g_idle;

__attribute__((noinline)) void idleWorker() {
  std::unique_lock<std::mutex> lock(g_idleMutex);
  g_idle.wait(lock, [] { return false; });
}

struct Options {
  bool extended = false;
  int workers = 0;
};

Options setUp(int argc, char** argv, int first) {
  Options options;
  for (int i = first; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--extended") options.extended = true;
    if (arg == "--workers") options.workers = 3;
    if (arg == "--test" && i + 1 < argc) ut::startTest(argv[++i]);
    if (arg == "--helper" && i + 1 < argc) ut::internal::setCrashHelperPath(argv[++i]);
  }
  ut::setExtendedCrashReport(options.extended);
  for (int i = 0; i < options.workers; ++i) std::thread(idleWorker).detach();
  if (options.workers) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  printLines();
  return options;
}

int catchTwice(const std::string& kind) {
  for (int i = 0; i < 2; ++i) {
    try {
      fault(kind);
      std::printf("not caught\n");
    } catch (const ut::FatalErrorException& e) {
      std::printf("caught %08X %s\n", e.errorCode(), e.what());
    }
  }
  return 0;
}

int faultOnThread(const std::string& kind) {
  std::thread([&] {
    ut::prepareThreadForCrashReporting();
    ut::SehXlatorOverride untranslated;
    fault(kind);
  }).join();
  return 0;
}

int eightAtOnce() {
  std::barrier start(8);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      ut::SehXlatorOverride untranslated;
      start.arrive_and_wait();
      readNull();
    });
  }
  for (std::thread& thread : threads) thread.join();
  return 0;
}

__attribute__((noinline)) int reportThrice() {
  for (int i = 0; i < 3; ++i) ut::reportCrash(nullptr, false, L"The drawing could not be saved");
  return 0;
}

// malloc with a lock of its own, as allocators have: while g_faultInMalloc is set, it faults holding the
// lock, so that anything that allocates after the fault would wait for ever.
std::atomic<bool> g_faultInMalloc{false};
std::mutex g_mallocLock;

int faultInMalloc() {
  g_faultInMalloc = true;
  void* memory = std::malloc(64);
  std::free(memory);
  return 0;
}

}  // namespace

extern "C" void* __libc_malloc(size_t size);

#if !defined(__SANITIZE_ADDRESS__)
extern "C" void* malloc(size_t size) {
  std::lock_guard<std::mutex> lock(g_mallocLock);
  if (g_faultInMalloc.load()) return reinterpret_cast<void*>(readNull());
  return __libc_malloc(size);
}
#endif

int main(int argc, char** argv) {
  if (argc == 1) return readNull();  // as a crash helper: fault at once
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  const std::string mode = argv[1];
  const std::string kind = argc > 2 ? argv[2] : "";
  ut::initCrashReporting();
  if (mode == "path") {
    std::wcout << ut::getCrashReportFileName().getFullPath().c_str() << std::endl;
    return 0;
  }
  if (mode == "idle") {
    std::cout << "ready " << getpid() << std::endl;
    std::string line;
    std::getline(std::cin, line);
    return 0;
  }
  setUp(argc, argv, 2);
  if (mode == "catch") return catchTwice(kind);
  if (mode == "thread") return faultOnThread(kind);
  if (mode == "eight") return eightAtOnce();
  if (mode == "report") return reportThrice();
  if (mode == "uncaught") throw std::runtime_error("disk on fire");
  ut::SehXlatorOverride untranslated;
  if (mode == "malloc") return faultInMalloc();
  if (mode == "fault") return fault(kind);
  return 2;
}
