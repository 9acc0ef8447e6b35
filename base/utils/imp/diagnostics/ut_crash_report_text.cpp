// The text of a crash report, written by the helper: the lines in their order, each spending the process's
// budget of lines, the exception's name and code, the registers, and a call stack per thread.

#include "diagnostics/ut_call_stack_p.h"
#include "diagnostics/ut_crash_report_p.h"
#include "platform/crash_helper.h"
#include "platform/stack.h"
#include "ut_log.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <memory>
#include <random>
#include <string>

namespace ut::internal {

namespace {

constexpr uint32_t kStackOverflow = 0xC00000FD;
constexpr int kMaxFrames = 2000;

struct NamedCode {
  uint32_t code;
  const char* name;
};

constexpr NamedCode kExceptionNames[] = {
    {0xC0000005, "ACCESS_VIOLATION"},
    {0x80000002, "DATATYPE_MISALIGNMENT"},
    {0x80000003, "BREAKPOINT"},
    {0x80000004, "SINGLE_STEP"},
    {0xC000008C, "ARRAY_BOUNDS_EXCEEDED"},
    {0xC000008D, "FLT_DENORMAL_OPERAND"},
    {0xC000008E, "FLT_DIVIDE_BY_ZERO"},
    {0xC000008F, "FLT_INEXACT_RESULT"},
    {0xC0000090, "FLT_INVALID_OPERATION"},
    {0xC0000091, "FLT_OVERFLOW"},
    {0xC0000092, "FLT_STACK_CHECK"},
    {0xC0000093, "FLT_UNDERFLOW"},
    {0xC0000094, "INT_DIVIDE_BY_ZERO"},
    {0xC0000095, "INT_OVERFLOW"},
    {0xC0000096, "PRIV_INSTRUCTION"},
    {0xC0000006, "IN_PAGE_ERROR"},
    {0xC000001D, "ILLEGAL_INSTRUCTION"},
    {0xC0000025, "NONCONTINUABLE_EXCEPTION"},
    {0xC00000FD, "STACK_OVERFLOW"},
    {0xC0000026, "INVALID_DISPOSITION"},
    {0x80000001, "GUARD_PAGE"},
    {0xC0000008, "INVALID_HANDLE"},
};

// Writes the report's lines: each is formatted into at most 1,023 characters, ended by a line feed and
// flushed, so that a report cut short keeps every line before the cut. A line that begins with a line feed
// costs two of the budget; once the budget is spent nothing more is written.
class ReportWriter {
 public:
  ReportWriter(std::FILE* file, int budget) : m_file(file), m_left(file ? budget : 0) {}

  bool line(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    char text[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    const int cost = text[0] == '\n' ? 2 : 1;
    if (m_left < cost) {
      m_left = 0;
      return false;
    }
    std::fputs(text, m_file);
    std::fputc('\n', m_file);
    std::fflush(m_file);
    m_left -= cost;
    m_written += cost;
    return true;
  }
  int written() const { return m_written; }

 private:
  std::FILE* m_file;
  int m_left;
  int m_written = 0;
};

// A version 4 UUID from the system's random source, in its usual lower-case text.
std::string randomUuid() {
  std::random_device random;
  uint8_t bytes[16];
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  bytes[6] = (bytes[6] & 0x0F) | 0x40;
  bytes[8] = (bytes[8] & 0x3F) | 0x80;
  std::string text;
  for (int i = 0; i < 16; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
    text += digits;
    if (i == 3 || i == 5 || i == 7 || i == 9) text += '-';
  }
  return text;
}

// "ACCESS_VIOLATION(C0000005) in module /usr/bin/app at 0033:000055D0C0FFEE42".
std::string exceptionDescription(const CrashRequest& request, CallStackWalker& walker) {
  const char* name = exceptionName(request.fault.code);
  const std::string module =
      CallStackWalkerAccess::symbols(walker).lookup(request.exceptionAddress, false).module;
  char code[16];
  std::snprintf(code, sizeof code, "(%08X)", request.fault.code);
  char at[32];
  std::snprintf(at, sizeof at, " at %04X:", request.fault.context.cs);
  return std::string(name ? name : "Unknown exception") + code + " in module " +
         (module.empty() ? "<UNKNOWN>" : module) + at + hexAddress(request.exceptionAddress);
}

std::string registerDump(const platform::CpuContext& c) {
  char text[512];
  std::snprintf(text, sizeof text,
                "RAX=%016" PRIX64 "  RBX=%016" PRIX64 "  RCX=%016" PRIX64 "  RDX=%016" PRIX64
                "  RSI=%016" PRIX64 "  RDI=%016" PRIX64 "  RBP=%016" PRIX64 "  RSP=%016" PRIX64
                "  RIP=%016" PRIX64 "  EFL=%08X  CS=%04X  DS=%04X  SS=%04X  ES=%04X  FS=%04X  GS=%04X",
                c.rax, c.rbx, c.rcx, c.rdx, c.rsi, c.rdi, c.rbp, c.rsp, c.rip,
                static_cast<uint32_t>(c.eflags), c.cs, c.ds, c.ss, c.es, c.fs, c.gs);
  return text;
}

// The lines about the exception; false when the report ends after them (a stack overflow's stacks are
// not walked: the stack is what failed).
bool writeException(ReportWriter& out, const CrashRequest& request, CallStackWalker& walker) {
  out.line("Sending status: unsent");
  out.line("OS: %s", platform::systemDescription().c_str());
  out.line("Uptime: %" PRId64, request.uptime);
  if (const uint64_t resident = CallStackWalkerAccess::reader(walker).residentBytes())
    out.line("Physical memory: %" PRIu64, resident);
  out.line("UUID: %s", randomUuid().c_str());
  out.line("%sException:", request.fromTopLevelFilter ? "" : "Unhandled ");
  out.line("%s", exceptionDescription(request, walker).c_str());
  if (request.extended) {
    out.line("Registers:");
    out.line("%s", registerDump(request.fault.context).c_str());
  }
  return request.fault.code != kStackOverflow;
}

void writeStack(ReportWriter& out, const CrashRequest& request, CallStackWalker& walker,
                unsigned long thread) {
  const bool current = thread == request.fault.threadId;
  const char* label = thread == request.mainThread ? " (main)" : current ? " (current)" : "";
  if (!out.line("\nCall stack%s:", label)) return;
  const CONTEXT context = toWindowsContext(request.fault.context);
  std::vector<CallStackWalker::CallStackFrameParams> frames;
  walker.getCallStack(frames, thread, kMaxFrames, current ? &context : nullptr);
  if (current)
    std::erase_if(frames, [&](const auto& frame) { return frame.frame <= request.innermostFrame; });
  if (frames.empty()) {
    out.line("empty..");
    return;
  }
  for (const CallStackWalker::CallStackFrameParams& frame : frames) {
    const std::string text = walker.getSymbolsForStackFrame(frame, true, request.extended);
    if (text.empty() || !out.line("%s", text.c_str())) return;
  }
}

std::tm localNow() {
  // The helper has no other thread: localtime's shared result is safe here.
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  return local ? *local : std::tm{};
}

}  // namespace

const char* exceptionName(uint32_t code) {
  const auto* found = std::find_if(std::begin(kExceptionNames), std::end(kExceptionNames),
                                   [code](const NamedCode& named) { return named.code == code; });
  return found == std::end(kExceptionNames) ? nullptr : found->name;
}

int writeTextReport(const CrashRequest& request, CallStackWalker& walker,
                    const std::vector<unsigned long>& threads) {
  if (!request.reportPath[0]) return 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      platform::openPrivateFile(request.reportPath, true), &std::fclose);
  if (!file) return 0;
  ReportWriter out(file.get(), request.linesLeft);
  out.line("%s", getLogStampChar(localNow()).c_str());
  if (!request.hasException || writeException(out, request, walker)) {
    if (request.errorMessage[0]) out.line("\nError message: %s", request.errorMessage);
    if (request.testName[0]) out.line("\nRunning test: %s", request.testName);
    for (unsigned long thread : threads) writeStack(out, request, walker, thread);
  }
  return out.written();
}

}  // namespace ut::internal
