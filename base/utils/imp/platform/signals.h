// What every platform backend provides for fatal errors: handlers for the faults that end a program (an
// access violation, a division by zero, an illegal instruction, a stack overflow...), each told as the
// Windows exception code it corresponds to, and the means to end the process by the fault or to throw it
// as a C++ exception out of the handler. The POSIX backend is posix/signals.cpp (synchronous fatal
// signals on an alternate stack); a Windows backend would use structured exceptions and
// SetUnhandledExceptionFilter.
//
// Signal safety: a FaultHandler runs inside the signal handler and may call only signal-safe functions;
// those below say which they are.

#ifndef QX_PLATFORM_SIGNALS_H
#define QX_PLATFORM_SIGNALS_H

#include "stack.h"

#include <cstdint>
#include <string>

namespace ut::platform {

// A fault as its handler sees it.
struct Fault {
  uint32_t code = 0;           // the Windows exception code: 0xC0000005 for an access violation, ...
  int signal = 0;              // the platform's number for it (SIGSEGV is 11), which minidumps carry
  uint64_t dataAddress = 0;    // the address the fault concerns, such as the one read or written
  bool raisedByFault = false;  // false when the signal was sent (kill, raise) rather than raised
  unsigned long threadId = 0;
  CpuContext context{};
};

enum class FaultOutcome {
  eThrow,       // the thrower throws the fault out of the handler, into the faulting code
  eEndProcess,  // the handler that was there before runs, or the default action ends the process
};

// Decides, inside the signal handler and on the faulting thread, what becomes of a fault.
using FaultHandler = FaultOutcome (*)(const Fault& fault);
// Throws the C++ exception for a fault of `code`; never returns.
using FaultThrower = void (*)(uint32_t code);

// Handles the fatal faults of every thread from now on, with `handler` deciding and `thrower` throwing.
// The first call installs the handlers; later ones only change the two functions. False, with the reason
// in `error`, when the handlers cannot be installed. Not signal-safe.
[[nodiscard]] bool installFaultHandlers(FaultHandler handler, FaultThrower thrower, std::string& error);
// Gives the calling thread a stack of its own for the fault handlers, so that a fault from its stack's
// overflow is handled too; freed when the thread ends. A thread that has one keeps it. False, with the
// reason in `error`, when there is no memory for it. Not signal-safe.
[[nodiscard]] bool prepareThreadForFaults(std::string& error);
// The processor time the process has used, in clock() ticks (CLOCKS_PER_SEC a second). Signal-safe.
long processorTime();
// Sleeps for `milliseconds`. Signal-safe.
void sleepFor(int milliseconds);

}  // namespace ut::platform

#endif
