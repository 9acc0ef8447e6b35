// Fatal errors and crash reports: what the library does when the host process faults (an access
// violation, a division by zero, an illegal instruction, a stack overflow...). The host calls
// initCrashReporting once at start-up. From then on a fault on a thread whose code can catch it becomes a
// C++ exception, FatalErrorException, after a report written the first time; on a thread that has switched
// translation off (SehXlatorOverride) it is reported once and then ends the process as it would have
// without the library, so that a core dump or a debugger still sees it. An uncaught C++ exception is
// reported with its what() before the process ends.
//
//   ut::initCrashReporting();       // crash_report.txt in $VELTOCAD_CRASH_REPORT_DIR, else the current
//                                   // folder, else the home folder
//   try {
//     volatile int* p = nullptr;
//     *p = 1;
//   } catch (const ut::FatalErrorException& e) {
//     // e.errorCode() == 0xC0000005 (ACCESS_VIOLATION); the report says "Unhandled Exception:" and
//     // gives the call stacks of this thread and of the main one
//   }
//   ut::setExtendedCrashReport(true);  // later reports: every thread, the registers and a minidump
//
// A report is lines appended to the file: the head line of getLogStampChar, the exception and where it
// happened, the registers (extended), an error message and the test running when one is given, then the
// call stacks, "file(line): function()+0x..." a frame. A process writes at most 2,000 lines in all.
// The report file and the minidumps are readable by their owner only. Nothing is thrown out of any of
// these functions.
//
// On POSIX the faults are the signals SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGTRAP; the code that faults
// and the code that catches must be built with -fnon-call-exceptions (the CMake target qxutils::qxutils
// passes it on). The report is written by the helper program qxcrash, installed beside the library, which
// the fault handler starts and which reads the crashed process (ptrace): nothing that needs the crashed
// process's heap or locks runs after a fault, so a fault inside malloc is reported too.
//
// Signal safety: the fault handler does only signal-safe work (it copies the faulting thread's registers
// and stack, starts the helper with clone and execve, and waits for it). Every function below is
// not signal-safe and is for ordinary code.
//
// Threads: a fault is reported from any thread. A stack overflow needs a stack for the handler on the
// overflowing thread: initCrashReporting gives its calling thread one, prepareThreadForCrashReporting
// gives one to any other thread that calls it. The settings may be changed from any thread.

#ifndef QX_UT_CRASH_REPORT_H
#define QX_UT_CRASH_REPORT_H

#include "ut_filename.h"
#include "ut_win32_types.h"

#include <exception>

namespace ut {

// A fault, translated into a C++ exception while translation is on for the faulting thread.
class FatalErrorException : public std::exception {
 public:
  explicit FatalErrorException(unsigned int code) noexcept : m_code(code) {}
  // The Windows exception code: 0xC0000005 access violation, 0xC0000094 integer division by zero,
  // 0xC000001D illegal instruction, 0x80000003 breakpoint, 0xC00000FD stack overflow, ...
  [[nodiscard]] unsigned int errorCode() const noexcept { return m_code; }
  // The exception's name, such as "ACCESS_VIOLATION".
  const char* what() const noexcept override;

 private:
  unsigned int m_code;
};

// Switches translation off on the calling thread for its lifetime: a fault in its scope is reported and
// ends the process. The destructor puts back what was there before. Scopes nest.
class SehXlatorOverride {
 public:
  SehXlatorOverride();
  ~SehXlatorOverride();
  SehXlatorOverride(const SehXlatorOverride&) = delete;
  SehXlatorOverride& operator=(const SehXlatorOverride&) = delete;

 private:
  bool m_previous;
};

// Sets crash reporting up: the report's path (see above; truncated to its last 10 MiB when it grew
// larger), the calling thread as the main thread (setMainThreadId), the fault handlers with translation
// on for every thread, and the report of uncaught C++ exceptions. No signal handler is installed before
// it. Calling it again changes nothing. Failures go to the assertion callbacks under its name.
void initCrashReporting();
// Gives the calling thread a stack for the fault handler, so that its stack overflow is reported too;
// freed when the thread ends. The thread that called initCrashReporting has one.
void prepareThreadForCrashReporting();

// Cuts the report file at `path` (null: the report's own) to its last 10,485,741 bytes behind a line
// "--- truncated ---" when it is larger than 10,485,760 bytes; one that cannot be read is left alone.
void truncateReportFile(const wchar_t* path = nullptr);
// Writes a report now: about the fault `ep` describes (null: none, the stacks are walked from here), with
// "Exception:" instead of "Unhandled Exception:" when `fromTopLevelFilter`, and `errorMessage` when it is
// not null. Writes the minidump first with the extended flag. Reports are serialised.
void reportCrash(EXCEPTION_POINTERS* ep, bool fromTopLevelFilter, const wchar_t* errorMessage);
// The report's path; empty before initCrashReporting.
FileName getCrashReportFileName();

// With `extended`, reports give the registers, every thread's stack and a minidump.
void setExtendedCrashReport(bool extended);
// The Windows MINIDUMP_TYPE bits of the minidump: 0 (threads, stacks, modules, the exception),
// MiniDumpWithDataSegs (1, the modules' writable data too), MiniDumpWithFullMemory (2, all readable memory).
void setMinidumpType(int type);
// Names the test that runs from now on in the reports ("Running test: NAME"); null or "" for none.
void startTest(const char* name);

}  // namespace ut

#endif
