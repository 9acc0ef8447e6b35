// Helpers shared by the POSIX backends of stacks and signals: registers from a signal's context, and the
// system's calls that fail turned into one message.

#ifndef QX_POSIX_STACK_H
#define QX_POSIX_STACK_H

#include "platform/stack.h"

#include <ucontext.h>

#include <string>

namespace ut::platform::posix {

// The registers of `context` (as a signal handler or getcontext has it); the floating-point state too
// when `withFloatingPoint` and the context holds it. Signal-safe.
void fillContext(const ucontext_t& context, bool withFloatingPoint, CpuContext& registers);

// "CALL: the system's text for errno" for the call that just failed.
std::string systemError(const char* call);

}  // namespace ut::platform::posix

#endif
