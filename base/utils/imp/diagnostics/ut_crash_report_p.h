// What the crashed process hands the crash helper (qxcrash), and what the helper answers: one plain
// structure each, written and read as bytes, so that the fault handler fills it without allocating. The
// faulting thread's stack follows the request, as far as it could be read.

#ifndef QX_UT_CRASH_REPORT_P_H
#define QX_UT_CRASH_REPORT_P_H

#include "platform/signals.h"
#include "ut_call_stack.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ut::internal {

inline constexpr uint32_t kCrashRequestMagic = 0x52435851;  // "QXCR"
inline constexpr uint32_t kCrashAnswerMagic = 0x41435851;   // "QXCA"
inline constexpr size_t kCrashPathSize = 4096;
inline constexpr size_t kCrashTextSize = 4096;
// The report's budget of lines for the whole process.
inline constexpr int kCrashReportLines = 2000;

struct CrashRequest {
  uint32_t magic = kCrashRequestMagic;
  uint32_t size = sizeof(CrashRequest);  // tells a helper of another build that it cannot read this
  int32_t pid = 0;
  uint64_t mainThread = 0;
  bool hasException = false;  // `fault` describes an exception; otherwise only its context is known
  bool fromTopLevelFilter = false;
  bool extended = false;
  int32_t minidumpType = 0;
  int32_t linesLeft = 0;  // of the process's budget
  int64_t uptime = 0;     // processor time used, in clock() ticks
  uint64_t exceptionAddress = 0;
  uint64_t stackStart = 0;      // where the copy of the faulting thread's stack that follows begins
  uint64_t innermostFrame = 0;  // frames of the faulting thread at or below this stack address are the
                                // reporter's own and left out
  platform::Fault fault;        // the faulting (or reporting) thread, its registers and the exception code
  char reportPath[kCrashPathSize] = {};  // empty: no text report
  char testName[256] = {};
  char errorMessage[kCrashTextSize] = {};  // UTF-8; empty: none
};

struct CrashAnswer {
  uint32_t magic = kCrashAnswerMagic;
  int32_t linesWritten = 0;
};

// The name of the Windows exception `code` ("ACCESS_VIOLATION"); null for a code without one.
const char* exceptionName(uint32_t code);

// In the helper: appends the text report `request` asks for to its file, with the stacks of `threads` (the
// faulting or reporting thread first). The number of lines written.
int writeTextReport(const CrashRequest& request, CallStackWalker& walker,
                    const std::vector<unsigned long>& threads);

// The crash helper's work: reads the request from its standard input, writes the minidump and the text
// report, answers. Its exit code: 0 when it answered, 1 for a request it could not read.
int crashHelperMain();

// Makes the fault handler start `path` as its helper instead of the qxcrash beside the library.
void setCrashHelperPath(const char* path);

}  // namespace ut::internal

#endif
