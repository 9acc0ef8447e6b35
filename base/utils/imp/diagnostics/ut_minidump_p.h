// Minidumps: the standard crash-dump format of Windows debuggers, which lldb and the Breakpad tools read
// for Linux processes too. A dump holds the system and process information, each thread with its registers
// and stack, each loaded module with its build id, the exception, and Linux's own streams (the process's
// /proc maps and status).

#ifndef QX_UT_MINIDUMP_P_H
#define QX_UT_MINIDUMP_P_H

#include "platform/signals.h"
#include "ut_call_stack.h"

#include <ctime>
#include <string>
#include <vector>

namespace ut::internal {

// The Windows MINIDUMP_TYPE bits that change what a dump holds.
inline constexpr int kMiniDumpWithDataSegs = 0x1;
inline constexpr int kMiniDumpWithFullMemory = 0x2;

// The dump's file name for the time `t`, such as "24-11-2026_15-04-05_v26-1-07-0.dmp", behind `dir` and a
// "/" when `dir` is not empty.
std::string minidumpPath(const std::tm& t, const std::string& dir);

// What a dump is made of besides the process itself.
struct MinidumpRequest {
  int pid = 0;
  const platform::Fault* fault = nullptr;  // the faulting (or reporting) thread and its registers
  bool hasException = false;               // `fault` describes an exception
  int type = 0;                            // MINIDUMP_TYPE bits
};

// Writes the dump of the process `walker` reads, with `threads` stopped (the faulting one waits in its
// handler), to the file minidumpPath names for now and VELTOCAD_CRASH_REPORT_DIR. False when the file
// cannot be written.
bool writeMinidump(const MinidumpRequest& request, CallStackWalker& walker,
                   const std::vector<unsigned long>& threads);

}  // namespace ut::internal

#endif
