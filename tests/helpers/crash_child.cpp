// A child process for the crash-report tests: it sets crash reporting up as a host does, then faults for
// real, as its arguments say, and the test reads the report and the minidump it leaves.
//
//   crash_child fault KIND [OPTIONS]      faults on the main thread with translation off; ends by the signal
//   crash_child catch KIND [OPTIONS]      faults twice in a try block, printing "caught CODE NAME" each time
//   crash_child thread KIND [OPTIONS]     faults on a second thread, translation off; the main one waits
//   crash_child eight KIND [OPTIONS]      faults on eight threads at once
//   crash_child uncaught                  throws a std::runtime_error that no one catches
//   crash_child report [OPTIONS]          calls reportCrash with an error message, three times
//   crash_child path                      prints the report's path
//   crash_child idle                      prints "ready PID", then waits for a line on standard input
//
// KIND is null, divide, illegal, breakpoint, overflow or malloc (a fault inside malloc while it holds its
// lock). OPTIONS: --extended (every thread, registers and a minidump), --workers (three idle threads
// beside), --test NAME (startTest), --helper PATH (the helper to start). Before it faults the child prints
// "line N": readNull faults on line N, divide, illegal and breakpoint on the three lines after it.
// Started with no arguments at all, it is a crash helper that faults at once.

#include "diagnostics/ut_crash_report_p.h"
#include "ut_crash_report.h"

#include <unistd.h>

#include <atomic>
#include <barrier>
#include <cstdio>
#include <iostream>
#include <latch>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

volatile int* volatile g_null = nullptr;
volatile int g_zero = 0;

constexpr int kFaultLine = __LINE__ + 1;
__attribute__((noinline, no_sanitize("undefined", "address"))) int readNull() { return *g_null; }
__attribute__((noinline, no_sanitize("undefined"))) int divide(int a) { return a / g_zero; }
__attribute__((noinline)) void illegal() { asm volatile("ud2"); }
__attribute__((noinline)) void breakpoint() { asm volatile("int3"); }

// Recurses until the stack is gone; the condition, never true, only keeps the compiler from refusing it.
__attribute__((noinline)) int overflow(int depth) {
  volatile char frame[256];
  frame[depth % 256] = static_cast<char>(depth);
  return depth < 0 ? 0 : overflow(depth + 1) + frame[0];
}

// While set, malloc faults holding its lock, as an allocator's own lock would be held: anything that
// allocates after the fault would wait for ever.
std::atomic<bool> g_faultInMalloc{false};
std::mutex g_mallocLock;

int fault(const std::string& kind) {
  if (kind == "null") return readNull();
  if (kind == "divide") return divide(7);
  if (kind == "illegal") illegal();
  if (kind == "breakpoint") breakpoint();
  if (kind == "overflow") return overflow(0);
  if (kind == "malloc") {
    g_faultInMalloc = true;
    std::free(std::malloc(64));
  }
  return 0;
}

// Idle threads that the report shows waiting in idleWorker.
std::latch g_workersIdle(3);

__attribute__((noinline)) void idleWorker() {
  g_workersIdle.count_down();
  for (;;) pause();
}

void setUp(int argc, char** argv) {
  for (int i = 2; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--extended") ut::setExtendedCrashReport(true);
    if (arg == "--test" && i + 1 < argc) ut::startTest(argv[++i]);
    if (arg == "--helper" && i + 1 < argc) ut::internal::setCrashHelperPath(argv[++i]);
    if (arg != "--workers") continue;
    for (int worker = 0; worker < 3; ++worker) std::thread(idleWorker).detach();
    g_workersIdle.wait();
  }
  std::printf("line %d\n", kFaultLine);
  std::fflush(stdout);
}

int catchTwice(const std::string& kind) {
  for (int i = 0; i < 2; ++i) {
    try {
      fault(kind);
    } catch (const ut::FatalErrorException& e) {
      std::printf("caught %08X %s\n", e.errorCode(), e.what());
    }
  }
  return 0;
}

// Faults on `count` threads at once while the main thread waits for them.
int faultOnThreads(const std::string& kind, int count) {
  std::barrier start(count);
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back([&] {
      ut::prepareThreadForCrashReporting();
      const ut::SehXlatorOverride untranslated;
      start.arrive_and_wait();
      fault(kind);
    });
  return 0;
}

__attribute__((noinline)) int reportThrice() {
  for (int i = 0; i < 3; ++i) ut::reportCrash(nullptr, false, L"The drawing could not be saved");
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
  const std::string mode = argv[1];
  const std::string kind = argc > 2 ? argv[2] : "";
  ut::initCrashReporting();
  if (mode == "path") {
    std::wcout << ut::getCrashReportFileName().getFullPath().c_str() << std::endl;
    return 0;
  }
  if (mode == "idle") {
    std::cout << "ready " << getpid() << std::endl;
    return std::cin.get() == EOF;
  }
  setUp(argc, argv);
  if (mode == "catch") return catchTwice(kind);
  if (mode == "thread") return faultOnThreads(kind, 1);
  if (mode == "eight") return faultOnThreads(kind, 8);
  if (mode == "report") return reportThrice();
  if (mode == "uncaught") throw std::runtime_error("disk on fire");
  const ut::SehXlatorOverride untranslated;
  return fault(kind);
}
