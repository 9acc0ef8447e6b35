// The tracer's seams inside the library: where its call stacks come from, and the text rules of its
// inputs and debug output, which the fuzz target checks.

#ifndef QX_UT_LOG_P_H
#define QX_UT_LOG_P_H

#include <optional>
#include <string>
#include <string_view>

namespace ut::internal {

// Returns the calling thread's call stack as lines of text.
using CallStackSource = std::string (*)();

// Installs the source that UtTracer::traceCallStack writes; null restores the default, ut::getCallStack.
// Crash reporting installs its stack walker here, since it lives in a layer above the tracer.
void setCallStackSource(CallStackSource source);

// The number an environment variable holds: decimal with an optional sign, or "0x" hex, white space
// around it allowed; nothing when it is empty, not a number or outside int.
[[nodiscard]] std::optional<int> parseEnvironmentNumber(std::string_view text);

// Debug output's form of `text`: each tab as eight spaces, each "\n" as "\r\n".
[[nodiscard]] std::wstring expandDebugText(std::wstring_view text);

}  // namespace ut::internal

#endif
