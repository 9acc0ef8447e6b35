// Crash reports from real processes that really fault: tests/helpers/crash_child sets crash reporting up as
// a host does and faults as told; the tests read the report and the minidump it leaves.

#include "ut_crash_report.h"
#include "diagnostics/ut_crash_report_p.h"
#include "test_support.h"
#include "ut_system.h"

#include <gmock/gmock.h>
#include <signal.h>

#include <cstring>
#include <optional>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;

struct Crash {
  int status = -1;                  // the exit code, or 128 + the signal that ended it
  std::string output;               // standard output and error
  std::string text;                 // crash_report.txt
  std::vector<std::string> report;  // its lines
  int faultLine = 0;                // the line where readNull faults
  std::vector<fs::path> dumps;
};

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

size_t count(const std::vector<std::string>& lines, const std::string& part) {
  return std::count_if(lines.begin(), lines.end(),
                       [&](const std::string& l) { return l.find(part) != l.npos; });
}

// The index of the first line that holds `part`, at or after `from`; the size when there is none.
size_t find(const std::vector<std::string>& lines, const std::string& part, size_t from = 0) {
  for (size_t i = from; i < lines.size(); ++i)
    if (lines[i].find(part) != std::string::npos) return i;
  return lines.size();
}

class CrashReportTest : public testing::Test {
 protected:
  // Runs crash_child with `args` in the report directory, without core dumps and with an umask that would
  // let everyone read what it makes; a child still running after a minute has hung and is killed.
  Crash run(const std::vector<std::string>& args,
            const std::optional<std::string>& reportDir = std::nullopt) {
    fs::remove(dir() / "crash_report.txt");
    // Under AddressSanitizer the child's faults must reach the library's handlers, not the sanitizer's.
    std::string command = "cd '" + dir().string() +
                          "' && ulimit -c 0 && umask 0 && VELTOCAD_CRASH_REPORT_DIR='" +
                          reportDir.value_or(dir().string()) +
                          "' ASAN_OPTIONS=\"$ASAN_OPTIONS:handle_segv=0:handle_sigbus=0:handle_sigfpe=0:"
                          "handle_sigill=0:handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0\" timeout -s "
                          "KILL 60 '" QX_CRASH_CHILD_PATH "'";
    for (const std::string& arg : args) command += " '" + arg + "'";
    const int status = std::system((command + " >output.txt 2>&1").c_str());
    Crash result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.output = qxtest::fileBytes(dir() / "output.txt");
    result.text = qxtest::fileBytes(dir() / "crash_report.txt");
    result.report = lines(result.text);
    std::sscanf(result.output.c_str(), "line %d", &result.faultLine);
    for (const auto& entry : fs::directory_iterator(dir()))
      if (entry.path().extension() == ".dmp") result.dumps.push_back(entry.path());
    return result;
  }

  fs::path dir() const { return m_dir.path(); }

 private:
  qxtest::TempDir m_dir;
};

// A regular expression for the lines every report about an exception starts with, in their order.
std::string exceptionHead(const std::string& exceptionLine) {
  return "^\n--------------- [0-9]{2}-[0-9]{2}-[0-9]{4} [0-9:]{8} --------------- v26\\.1\\.07\\.0d? "
         "---------------\nSending status: unsent\nOS: Linux [^\n]+\nUptime: [0-9]+\nPhysical memory: "
         "[1-9][0-9]*\nUUID: [0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}\n" +
         exceptionLine + "\n";
}

struct FaultCase {
  const char* mode;
  const char* kind;
  int signal;
  const char* description;  // the exception's name and code, as a regular expression
  const char* function;     // where it faults, null when the report has no stacks
  int line;                 // the faulting line, from readNull's
  std::string_view stack;   // the faulting thread's stack: "main", or "current" beside the main one
};

const FaultCase kFaults[] = {
    {"fault", "null", SIGSEGV, "ACCESS_VIOLATION\\(C0000005\\)", "readNull", 0, "main"},
    {"fault", "divide", SIGFPE, "INT_DIVIDE_BY_ZERO\\(C0000094\\)", "divide", 1, "main"},
    {"fault", "illegal", SIGILL, "ILLEGAL_INSTRUCTION\\(C000001D\\)", "illegal", 2, "main"},
    {"fault", "breakpoint", SIGTRAP, "BREAKPOINT\\(80000003\\)", "breakpoint", 3, "main"},
    {"thread", "divide", SIGFPE, "INT_DIVIDE_BY_ZERO\\(C0000094\\)", "divide", 1, "current"},
    {"eight", "null", SIGSEGV, "ACCESS_VIOLATION\\(C0000005\\)", "readNull", 0, "current"},
#if !defined(__SANITIZE_ADDRESS__)  // which owns malloc: the child cannot put its own in front of it
    // Inside malloc, holding its lock: the report is still written in full.
    {"fault", "malloc", SIGSEGV, "ACCESS_VIOLATION\\(C0000005\\)", "readNull", 0, "main"},
#endif
    // A stack overflow, on the main thread and on one that asked for a handler's stack.
    {"fault", "overflow", SIGSEGV, "STACK_OVERFLOW\\(C00000FD\\)", nullptr, 0, ""},
    {"thread", "overflow", SIGSEGV, "STACK_OVERFLOW\\(C00000FD\\)", nullptr, 0, ""},
};

// Eight threads faulting at once give one report, too.
TEST_F(CrashReportTest, AFaultIsReportedOnceAndEndsTheProcessByItsSignal) {
  for (const FaultCase& fault : kFaults) {
    SCOPED_TRACE(std::string(fault.mode) + " " + fault.kind);
    const Crash result = run({fault.mode, fault.kind});
    EXPECT_EQ(result.status, 128 + fault.signal);
    EXPECT_THAT(result.text, ContainsRegex(exceptionHead("Exception:") + fault.description +
                                           " in module [^\n]*/crash_child at 0033:[0-9A-F]{16}\n"));
    EXPECT_EQ(count(result.report, "---------------"), 1u);
    if (!fault.function) {  // the report ends with the exception
      EXPECT_EQ(result.report.size(), 9u);
      continue;
    }
    ASSERT_GT(result.report.size(), 12u);
    EXPECT_EQ(result.report[10], "Call stack (" + std::string(fault.stack) + "):");
    // The faulting line itself, in the function, with its offset unless the fault is its first instruction.
    EXPECT_THAT(
        result.report[11],
        ContainsRegex("/tests/helpers/crash_child\\.cpp\\(" + std::to_string(result.faultLine + fault.line) +
                      "\\): \\(anonymous namespace\\)::" + fault.function + "(\\(\\)\\+0x[0-9A-F]{16})?$"));
    EXPECT_EQ(find(result.report, "crash_child.cpp("), 11u);
    EXPECT_EQ(result.report[12].find(": malloc()+0x") != std::string::npos,
              fault.kind == std::string("malloc"));
    EXPECT_LT(find(result.report, "main()+0x", find(result.report, "Call stack (main):")),
              result.report.size());
    EXPECT_EQ(count(result.report, "Call stack"), fault.stack == "main" ? 1u : 2u);
  }
}

TEST_F(CrashReportTest, TranslatedFaultsAreCaughtAndOnlyTheFirstIsReported) {
  const std::pair<const char*, const char*> faults[] = {{"null", "caught C0000005 ACCESS_VIOLATION"},
                                                        {"overflow", "caught C00000FD STACK_OVERFLOW"}};
  for (const auto& [kind, caught] : faults) {
    SCOPED_TRACE(kind);
    const Crash result = run({"catch", kind});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(count(lines(result.output), caught), 2u);
    EXPECT_THAT(result.text, ContainsRegex(exceptionHead("Unhandled Exception:")));
    EXPECT_EQ(count(result.report, "---------------"), 1u);
  }
}

TEST_F(CrashReportTest, AnUncaughtExceptionIsReportedWithItsText) {
  const Crash result = run({"uncaught"});
  EXPECT_EQ(result.status, 128 + SIGABRT);
  EXPECT_EQ(find(result.report, "Exception:"), result.report.size());
  EXPECT_LT(find(result.report, "Error message: Uncaught exception: disk on fire"), result.report.size());
}

TEST_F(CrashReportTest, ReportCrashAddsItsMessageAndTheRunningTestEachCall) {
  const Crash result = run({"report", "--test", "Drawing.Save"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(count(result.report, "---------------"), 3u);
  EXPECT_EQ(count(result.report, "Error message: The drawing could not be saved"), 3u);
  EXPECT_EQ(count(result.report, "Running test: Drawing.Save"), 3u);
  // The stack starts at the caller: the reporter's own frames are left out.
  EXPECT_EQ(count(result.report, "captureContext"), 0u);
  EXPECT_EQ(count(result.report, "reportThrice()+0x"), 3u);
}

TEST_F(CrashReportTest, TheExtendedReportHasRegistersEveryThreadAndAMinidumpForTheOwnerOnlyThatLldbReads) {
  const Crash result = run({"fault", "null", "--extended", "--workers"});
  EXPECT_EQ(result.status, 128 + SIGSEGV);
  const size_t registers = find(result.report, "Registers:");
  ASSERT_LT(registers + 1, result.report.size());
  EXPECT_THAT(
      result.report[registers + 1],
      ContainsRegex("^RAX=[0-9A-F]{16}  RBX=.*  RIP=[0-9A-F]{16}  EFL=[0-9A-F]{8}  CS=0033  DS=[0-9A-F]{4}  "
                    "SS=002B  ES=[0-9A-F]{4}  FS=[0-9A-F]{4}  GS=[0-9A-F]{4}$"));
  EXPECT_EQ(count(result.report, "Call stack"), 4u);
  EXPECT_EQ(count(result.report, "::idleWorker()+0x"), 3u);
  ASSERT_EQ(result.dumps.size(), 1u);
  EXPECT_THAT(result.dumps[0].filename().string(),
              ContainsRegex("^[0-9]{2}-[0-9]{2}-[0-9]{4}_[0-9]{2}-[0-9]{2}-[0-9]{2}_v26-1-07-0d?\\.dmp$"));
  EXPECT_EQ(qxtest::fileBytes(result.dumps[0]).substr(0, 4), "MDMP");
  for (const fs::path& file : {result.dumps[0], dir() / "crash_report.txt"})
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);

  // lldb reads the dump: the faulting thread stopped by SIGSEGV in the faulting function at its line, and
  // a frame in every other thread.
  if (std::system("command -v lldb >/dev/null 2>&1") != 0) GTEST_SKIP() << "lldb is not installed";
  const fs::path output = dir() / "lldb.txt";
  const std::string command = "lldb --batch '" QX_CRASH_CHILD_PATH "' -c '" + result.dumps[0].string() +
                              "' -o 'bt all' >'" + output.string() + "' 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << qxtest::fileBytes(output);
  const std::string bt = qxtest::fileBytes(output);
  EXPECT_THAT(bt, ContainsRegex(
                      "\\* thread #1, stop reason = signal SIGSEGV\n[^\n]*frame #0: [^\n]*readNull\\(\\) at "
                      "crash_child\\.cpp:" +
                      std::to_string(result.faultLine) + "[^0-9]"));
  EXPECT_EQ(count(lines(bt), "frame #0: "), 4u) << bt;  // each thread shows where it is
}

TEST_F(CrashReportTest, AFaultInsideTheReportHelperStillEndsTheProcessByItsSignal) {
  const Crash result = run({"fault", "null", "--helper", QX_CRASH_CHILD_PATH});
  EXPECT_EQ(result.status, 128 + SIGSEGV);
  EXPECT_TRUE(result.report.empty());
}

TEST_F(CrashReportTest, TheReportGoesToTheHomeFolderWhenItsFolderCannotBeWritten) {
  const fs::path home = dir() / "home";
  fs::create_directory(home);
  const qxtest::ScopedEnv setHome("HOME", home.string());
  // Unset, the report goes to the working folder.
  const std::pair<std::string, fs::path> cases[] = {
      {"", dir()}, {home.string(), home}, {(dir() / "missing").string(), home}};
  for (const auto& [reportDir, expected] : cases)
    EXPECT_EQ(lines(run({"path"}, reportDir).output).at(0), (expected / "crash_report.txt").string())
        << reportDir;
}

TEST(TruncateReportFile, CutsAFileOverTenMebibytesToItsLastBytesBehindAMarker) {
  const qxtest::TempDir dir;
  const fs::path file = dir.path() / "crash_report.txt";
  for (const size_t size : {size_t{10485760}, size_t{10485761}, size_t{12000000}}) {
    SCOPED_TRACE(size);
    std::string content(size, 'x');
    for (size_t i = 0; i < size; i += 1000) content[i] = static_cast<char>('a' + (i / 1000) % 26);
    std::ofstream(file, std::ios::binary) << content;
    ut::truncateReportFile(file.wstring().c_str());
    EXPECT_EQ(qxtest::fileBytes(file),
              size <= 10485760 ? content : "--- truncated ---\n" + content.substr(size - 10485741));
  }
  ut::truncateReportFile((dir.path() / "missing.txt").wstring().c_str());
  EXPECT_FALSE(fs::exists(dir.path() / "missing.txt"));
}

// A report stops where the process's budget of lines runs out; a line that starts with an empty one costs
// two.
TEST(CrashReportText, StopsWhereTheLineBudgetRunsOut) {
  const qxtest::TempDir dir;
  const fs::path file = dir.path() / "report.txt";
  const std::pair<int, size_t> budgets[] = {{0, 0}, {1, 0}, {2, 2}, {3, 2}, {5, 4}, {7, 7}};
  for (const auto& [budget, expected] : budgets) {
    SCOPED_TRACE(budget);
    fs::remove(file);
    ut::internal::CrashRequest request;
    std::strcpy(request.reportPath, file.c_str());
    std::strcpy(request.errorMessage, "The drawing could not be saved");
    request.linesLeft = budget;
    request.fault.threadId = ut::getCurrentThreadId();
    ut::platform::captureContext(request.fault.context);
    ut::CallStackWalker walker;
    EXPECT_EQ(ut::internal::writeTextReport(request, walker, {request.fault.threadId}),
              static_cast<int>(expected));
    EXPECT_EQ(lines(qxtest::fileBytes(file)).size(), expected);
  }
}

TEST(FatalErrorException, NamesItsCode) {
  EXPECT_STREQ(ut::FatalErrorException(0xC0000094).what(), "INT_DIVIDE_BY_ZERO");
  EXPECT_EQ(ut::internal::exceptionName(0x12345678), nullptr);
}

// Loading the library changes nothing: the host decides when faults are the library's.
TEST(InitCrashReporting, NoHandlerIsInstalledBeforeIt) {
  for (const int signal : {SIGILL, SIGTRAP}) {  // two that AddressSanitizer leaves alone
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL) << signal;
  }
}

}  // namespace
