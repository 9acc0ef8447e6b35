// The reader and the symbols behind a CallStackWalker, for the crash helper, which adds the faulting
// thread's stack to the reader, stops every thread before it writes anything, and names modules.

#ifndef QX_UT_CALL_STACK_P_H
#define QX_UT_CALL_STACK_P_H

#include "platform/stack.h"
#include "ut_call_stack.h"

#include <cstdint>
#include <string>

namespace ut {

struct CallStackWalkerAccess {
  // The reader of the process `walker` opened (the calling process when it opened none).
  static platform::ProcessReader& reader(CallStackWalker& walker);
  // The walker's symbols, read on first use.
  static const platform::Symbolizer& symbols(CallStackWalker& walker);
};

namespace internal {

// An address as the Windows runtime prints a pointer ("%p"): 16 upper-case hexadecimal digits.
std::string hexAddress(uint64_t value);

// `context` as the registers of the Windows CONTEXT, and back.
CONTEXT toWindowsContext(const platform::CpuContext& context);
platform::CpuContext fromWindowsContext(const CONTEXT& context);

}  // namespace internal

}  // namespace ut

#endif
