// The crash helper's work, in a process of its own while the crashed one waits: read the request, stop
// the threads to report, write the minidump and the text report, let the threads go and answer.

#include "diagnostics/ut_call_stack_p.h"
#include "diagnostics/ut_crash_report_p.h"
#include "diagnostics/ut_minidump_p.h"
#include "platform/crash_helper.h"

#include <cstring>
#include <string>

namespace ut::internal {

namespace {

// Reads the request; false when the bytes are not one from this build of the library.
bool parseRequest(const std::string& bytes, CrashRequest& request, std::string& stack) {
  if (bytes.size() < sizeof request) return false;
  std::memcpy(&request, bytes.data(), sizeof request);
  if (request.magic != kCrashRequestMagic || request.size != sizeof request) return false;
  request.reportPath[sizeof request.reportPath - 1] = '\0';
  request.testName[sizeof request.testName - 1] = '\0';
  request.errorMessage[sizeof request.errorMessage - 1] = '\0';
  stack = bytes.substr(sizeof request);
  return true;
}

// The faulting (or reporting) thread first; then the main thread, or with the extended flag every other.
std::vector<unsigned long> reportedThreads(const CrashRequest& request,
                                           const platform::ProcessReader& reader) {
  const unsigned long current = request.fault.threadId;
  std::vector<unsigned long> threads{current};
  if (request.extended) {
    for (unsigned long thread : reader.threadIds())
      if (thread != current) threads.push_back(thread);
  } else if (request.mainThread != 0 && request.mainThread != current) {
    threads.push_back(static_cast<unsigned long>(request.mainThread));
  }
  return threads;
}

int writeReports(const CrashRequest& request, std::string stack) {
  CallStackWalker walker;
  walker.init(reinterpret_cast<void*>(static_cast<intptr_t>(request.pid)));
  platform::ProcessReader& reader = CallStackWalkerAccess::reader(walker);
  reader.addSnapshot(request.stackStart, std::move(stack));
  const std::vector<unsigned long> threads = reportedThreads(request, reader);
  // Every thread stops before anything is written, so that the dump and the report show one moment. The
  // faulting thread waits for this helper already.
  for (unsigned long thread : threads)
    if (thread != request.fault.threadId) (void)reader.stop(thread);
  if (request.extended) {
    const MinidumpRequest dump{request.pid, &request.fault, request.hasException, request.minidumpType};
    writeMinidump(dump, walker, threads);
  }
  return writeTextReport(request, walker, threads);
}

}  // namespace

int crashHelperMain() {
  CrashRequest request;
  std::string stack;
  if (!parseRequest(platform::readCrashRequest(), request, stack)) return 1;
  CrashAnswer answer;
  answer.linesWritten = writeReports(request, std::move(stack));
  return platform::answerCrashRequest(&answer, sizeof answer) ? 0 : 1;
}

}  // namespace ut::internal
