// Fatal faults on POSIX are the synchronous signals SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGTRAP. Their
// handler runs on the thread's alternate stack where it has one (so that a stack overflow is handled too)
// with all five blocked: a fault inside the handler itself ends the process at once instead of looping.
//
// Signal safety: onSignal and everything it calls here (sigaction, pthread_sigmask, raise, the context
// copy) are signal-safe; installation and the alternate stacks are not, and run at start-up.

#include "platform/signals.h"

#include "platform/posix/stack_posix.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <iterator>
#include <mutex>

namespace ut::platform {

namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
constexpr size_t kAltStackSize = 64 * 1024;
// An access this close to the stack pointer that faults is taken for the stack's overflow.
constexpr uint64_t kOverflowReach = 64 * 1024;

constexpr uint32_t kAccessViolation = 0xC0000005, kStackOverflow = 0xC00000FD, kInPageError = 0xC0000006;
constexpr uint32_t kMisalignment = 0x80000002, kBreakpoint = 0x80000003, kSingleStep = 0x80000004;
constexpr uint32_t kIllegalInstruction = 0xC000001D, kPrivilegedInstruction = 0xC0000096;

std::atomic<FaultHandler> g_handler{nullptr};
std::atomic<FaultThrower> g_thrower{nullptr};
struct sigaction g_previous[std::size(kFatalSignals)];
std::mutex g_installing;
bool g_installed = false;

uint32_t floatingPointCode(int code) {
  switch (code) {
    case FPE_INTDIV:
      return 0xC0000094;  // INT_DIVIDE_BY_ZERO
    case FPE_INTOVF:
      return 0xC0000095;  // INT_OVERFLOW
    case FPE_FLTDIV:
      return 0xC000008E;  // FLT_DIVIDE_BY_ZERO
    case FPE_FLTOVF:
      return 0xC0000091;  // FLT_OVERFLOW
    case FPE_FLTUND:
      return 0xC0000093;  // FLT_UNDERFLOW
    case FPE_FLTRES:
      return 0xC000008F;  // FLT_INEXACT_RESULT
    case FPE_FLTSUB:
      return 0xC000008C;  // ARRAY_BOUNDS_EXCEEDED
    default:
      return 0xC0000090;  // FLT_INVALID_OPERATION
  }
}

// The Windows exception code of the fault that the signal reports.
uint32_t windowsCode(const Fault& fault, int code) {
  switch (fault.signal) {
    case SIGSEGV: {
      const uint64_t sp = fault.context.rsp, at = fault.dataAddress;
      const bool nearStack = at + kOverflowReach >= sp && at <= sp + kOverflowReach;
      return fault.raisedByFault && nearStack ? kStackOverflow : kAccessViolation;
    }
    case SIGBUS:
      return code == BUS_ADRALN ? kMisalignment : kInPageError;
    case SIGFPE:
      return floatingPointCode(code);
    case SIGILL:
      return code == ILL_PRVOPC || code == ILL_PRVREG ? kPrivilegedInstruction : kIllegalInstruction;
    default:
      return code == TRAP_TRACE ? kSingleStep : kBreakpoint;
  }
}

void restorePrevious() {
  for (size_t i = 0; i < std::size(kFatalSignals); ++i) sigaction(kFatalSignals[i], &g_previous[i], nullptr);
}

void onSignal(int signal, siginfo_t* info, void* raw) {
  const int savedErrno = errno;
  const auto& context = *static_cast<const ucontext_t*>(raw);
  Fault fault;
  fault.signal = signal;
  fault.raisedByFault = info->si_code > 0;
  fault.dataAddress = reinterpret_cast<uintptr_t>(info->si_addr);
  fault.threadId = static_cast<unsigned long>(gettid());
  posix::fillContext(context, true, fault.context);
  fault.code = windowsCode(fault, info->si_code);
  // After int3 the instruction pointer is past it; the report names the breakpoint itself, as Windows does.
  if (signal == SIGTRAP && info->si_code == SI_KERNEL) --fault.context.rip;
  const FaultHandler handler = g_handler.load();
  if (handler && handler(fault) == FaultOutcome::eThrow) {
    // The exception leaves through the faulting code, not through sigreturn: give the thread back the
    // signal mask it had, or the next fault would find its signal blocked and kill the process.
    pthread_sigmask(SIG_SETMASK, &context.uc_sigmask, nullptr);
    errno = savedErrno;
    g_thrower.load()(fault.code);
  }
  restorePrevious();
  // A fault returns to its instruction, which faults again under the previous disposition; a sent
  // signal or a trap (whose instruction is already past) has to be raised again, and stays pending
  // until this handler returns.
  if (!fault.raisedByFault || signal == SIGTRAP) raise(signal);
  errno = savedErrno;
}

struct AltStack {
  void* memory = nullptr;
  size_t size = 0;
  ~AltStack() {
    if (!memory) return;
    stack_t disable{};
    disable.ss_flags = SS_DISABLE;
    sigaltstack(&disable, nullptr);
    munmap(memory, size);
  }
};
thread_local AltStack t_altStack;

}  // namespace

bool installFaultHandlers(FaultHandler handler, FaultThrower thrower, std::string& error) {
  g_handler.store(handler);
  g_thrower.store(thrower);
  const std::lock_guard<std::mutex> lock(g_installing);
  if (g_installed) return true;
  struct sigaction action {};
  action.sa_sigaction = onSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (int signal : kFatalSignals) sigaddset(&action.sa_mask, signal);
  for (size_t i = 0; i < std::size(kFatalSignals); ++i) {
    if (sigaction(kFatalSignals[i], &action, &g_previous[i]) != 0) {
      error = posix::systemError("sigaction");
      for (size_t j = 0; j < i; ++j) sigaction(kFatalSignals[j], &g_previous[j], nullptr);
      return false;
    }
  }
  g_installed = true;
  return true;
}

bool prepareThreadForFaults(std::string& error) {
  stack_t current{};
  if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE)) return true;
  const size_t guard = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t size = kAltStackSize + guard;
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (memory == MAP_FAILED) {
    error = posix::systemError("mmap");
    return false;
  }
  mprotect(memory, guard, PROT_NONE);  // an overflow of the handler's own stack faults instead of writing on
  stack_t stack{};
  stack.ss_sp = static_cast<char*>(memory) + guard;
  stack.ss_size = kAltStackSize;
  if (sigaltstack(&stack, nullptr) != 0) {
    error = posix::systemError("sigaltstack");
    munmap(memory, size);
    return false;
  }
  t_altStack.memory = memory;
  t_altStack.size = size;
  return true;
}

long processorTime() {
  timespec used{};
  if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used) != 0) return -1;
  return used.tv_sec * CLOCKS_PER_SEC + used.tv_nsec / (1000000000 / CLOCKS_PER_SEC);
}

void sleepFor(int milliseconds) {
  const timespec pause{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  nanosleep(&pause, nullptr);
}

}  // namespace ut::platform
