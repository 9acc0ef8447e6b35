// Crash reports from real processes that really fault: tests/helpers/crash_child sets crash reporting up as
// a host does and faults as told; the tests read the report and the minidump it leaves.

#include "ut_crash_report.h"
#include "diagnostics/ut_crash_report_p.h"
#include "test_support.h"
#include "ut_system.h"

#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;

struct Crash {
  int status = -1;                        // the exit code, 128 + the signal that ended it, -1 hung
  std::string output;                     // standard output and error
  std::vector<std::string> report;        // crash_report.txt's lines
  std::map<std::string, int> faultLines;  // "readNull" → the line where it faults
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
  // Runs crash_child with `args` in the report directory, with an umask that would let everyone read what
  // it makes; a child still running after a minute has hung and is killed.
  Crash run(const std::vector<std::string>& args,
            const std::optional<std::string>& reportDir = std::nullopt) {
    const qxtest::ScopedEnv dir("VELTOCAD_CRASH_REPORT_DIR", reportDir.value_or(m_dir.path().string()));
    // Under AddressSanitizer the child's faults must reach the library's handlers, not the sanitizer's.
    const char* asan = std::getenv("ASAN_OPTIONS");
    const qxtest::ScopedEnv sanitizer("ASAN_OPTIONS", std::string(asan ? asan : "") +
                                                          ":handle_segv=0:handle_sigbus=0:handle_sigfpe=0:"
                                                          "handle_sigill=0:handle_sigtrap=0:use_sigaltstack=0"
                                                          ":detect_leaks=0");
    const fs::path output = m_dir.path() / "output.txt";
    std::vector<std::string> argv{QX_CRASH_CHILD_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    Crash result;
    result.status = spawnAndWait(argv, output);
    result.output = qxtest::fileBytes(output);
    result.report = lines(qxtest::fileBytes(m_dir.path() / "crash_report.txt"));
    std::smatch match;
    for (const std::string& line : lines(result.output))
      if (std::regex_match(line, match, std::regex("line (\\w+) (\\d+)")))
        result.faultLines[match[1]] = std::stoi(match[2]);
    for (const auto& entry : fs::directory_iterator(m_dir.path()))
      if (entry.path().extension() == ".dmp") result.dumps.push_back(entry.path());
    return result;
  }

  fs::path dir() const { return m_dir.path(); }

 private:
  int spawnAndWait(const std::vector<std::string>& args, const fs::path& output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addchdir_np(&actions, m_dir.path().c_str());
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    const mode_t mask = umask(0);
    pid_t pid = -1;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    umask(mask);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return -1;
    int status = 0;
    for (int waited = 0; waitpid(pid, &status, WNOHANG) == 0; waited += 10) {
      if (waited > 60000) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        return -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  qxtest::TempDir m_dir;
};

// The lines every report about an exception starts with, in their order.
void expectExceptionHead(const std::vector<std::string>& report, const std::string& exceptionLine) {
  ASSERT_GE(report.size(), 9u);
  EXPECT_EQ(report[0], "");
  EXPECT_THAT(report[1],
              ContainsRegex("^--------------- [0-9]{2}-[0-9]{2}-[0-9]{4} [0-9:]{8} --------------- "
                            "v26\\.1\\.07\\.0d? ---------------$"));
  EXPECT_EQ(report[2], "Sending status: unsent");
  EXPECT_THAT(report[3], ContainsRegex("^OS: Linux "));
  EXPECT_THAT(report[4], ContainsRegex("^Uptime: [0-9]+$"));
  EXPECT_THAT(report[5], ContainsRegex("^Physical memory: [1-9][0-9]*$"));
  EXPECT_THAT(report[6],
              ContainsRegex("^UUID: [0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"));
  EXPECT_EQ(report[7], exceptionLine);
}

struct FaultCase {
  const char* kind;
  int signal;
  const char* description;  // the exception's name and code
  const char* function;
};

const FaultCase kFaults[] = {
    {"null", SIGSEGV, "ACCESS_VIOLATION(C0000005)", "readNull"},
    {"divide", SIGFPE, "INT_DIVIDE_BY_ZERO(C0000094)", "divide"},
    {"illegal", SIGILL, "ILLEGAL_INSTRUCTION(C000001D)", "illegal"},
    {"breakpoint", SIGTRAP, "BREAKPOINT(80000003)", "breakpoint"},
};

TEST_F(CrashReportTest, AFaultIsReportedOnceAndEndsTheProcessByItsSignal) {
  for (const FaultCase& fault : kFaults) {
    SCOPED_TRACE(fault.kind);
    fs::remove(dir() / "crash_report.txt");
    const Crash result = run({"fault", fault.kind});
    EXPECT_EQ(result.status, 128 + fault.signal);
    expectExceptionHead(result.report, "Exception:");
    EXPECT_THAT(
        result.report[8],
        ContainsRegex(std::string("^") + std::regex_replace(fault.description, std::regex("[()]"), "\\$&") +
                      " in module .*/crash_child at 0033:[0-9A-F]{16}$"));
    ASSERT_EQ(result.report.size() > 11 ? result.report[10] : "", "Call stack (main):");
    // The faulting line itself, in the function, with its offset unless the fault is its first instruction.
    EXPECT_THAT(result.report[11], ContainsRegex("/tests/helpers/crash_child\\.cpp\\(" +
                                                 std::to_string(result.faultLines.at(fault.function)) +
                                                 "\\): \\(anonymous namespace\\)::" + fault.function +
                                                 "(\\(\\)\\+0x[0-9A-F]{16})?$"));
    EXPECT_EQ(find(result.report, "crash_child.cpp(") + 0, 11u);
    EXPECT_LT(find(result.report, "main()+0x", 12), result.report.size());
    EXPECT_EQ(count(result.report, "---------------"), 1u);
  }
}

TEST_F(CrashReportTest, AStackOverflowIsReportedWithoutStacks) {
  for (const char* where :
       {"fault", "thread"}) {  // the main thread, and one that asked for a handler's stack
    SCOPED_TRACE(where);
    fs::remove(dir() / "crash_report.txt");
    const Crash result = run({where, "overflow"});
    EXPECT_EQ(result.status, 128 + SIGSEGV);
    expectExceptionHead(result.report, "Exception:");
    EXPECT_THAT(result.report.back(),
                ContainsRegex("^STACK_OVERFLOW\\(C00000FD\\) in module .*/crash_child at "));
  }
}

TEST_F(CrashReportTest, TranslatedFaultsAreCaughtAndOnlyTheFirstIsReported) {
  const std::pair<const char*, const char*> faults[] = {{"null", "caught C0000005 ACCESS_VIOLATION"},
                                                        {"overflow", "caught C00000FD STACK_OVERFLOW"}};
  for (const auto& [kind, caught] : faults) {
    SCOPED_TRACE(kind);
    fs::remove(dir() / "crash_report.txt");
    const Crash result = run({"catch", kind});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(count(lines(result.output), caught), 2u);
    expectExceptionHead(result.report, "Unhandled Exception:");
    EXPECT_EQ(count(result.report, "---------------"), 1u);
  }
}

TEST_F(CrashReportTest, AFaultOnAnotherThreadShowsItsStackAndTheMainThreads) {
  const Crash result = run({"thread", "divide"});
  EXPECT_EQ(result.status, 128 + SIGFPE);
  const size_t current = find(result.report, "Call stack (current):");
  const size_t main = find(result.report, "Call stack (main):");
  ASSERT_LT(current, main);
  ASSERT_LT(main, result.report.size());
  EXPECT_THAT(result.report[current + 1], HasSubstr("::divide()+0x"));
  EXPECT_LT(find(result.report, "std::thread::join()", main), result.report.size());
}

TEST_F(CrashReportTest, EightThreadsFaultingAtOnceGiveOneReport) {
  const Crash result = run({"eight"});
  EXPECT_EQ(result.status, 128 + SIGSEGV);
  EXPECT_EQ(count(result.report, "---------------"), 1u);
  EXPECT_EQ(count(result.report, "Call stack (current):"), 1u);
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

TEST_F(CrashReportTest, TheExtendedReportHasRegistersEveryThreadAndAMinidumpForTheOwnerOnly) {
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
}

// lldb reads the dump: the faulting thread stopped by SIGSEGV in the faulting function at its line, and a
// frame in every other thread.
TEST_F(CrashReportTest, LldbOpensTheMinidump) {
  if (std::system("command -v lldb >/dev/null 2>&1") != 0) GTEST_SKIP() << "lldb is not installed";
  const Crash result = run({"fault", "null", "--extended", "--workers"});
  ASSERT_EQ(result.dumps.size(), 1u);
  const fs::path output = dir() / "lldb.txt";
  const std::string command = "lldb --batch '" QX_CRASH_CHILD_PATH "' -c '" + result.dumps[0].string() +
                              "' -o 'bt all' >'" + output.string() + "' 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << qxtest::fileBytes(output);
  const std::vector<std::string> bt = lines(qxtest::fileBytes(output));
  const size_t first = find(bt, "* thread #1");
  ASSERT_LT(first + 1, bt.size()) << qxtest::fileBytes(output);
  EXPECT_THAT(bt[first], HasSubstr("stop reason = signal SIGSEGV"));
  EXPECT_THAT(bt[first + 1], ContainsRegex("frame #0: .*readNull\\(\\) at crash_child\\.cpp:" +
                                           std::to_string(result.faultLines.at("readNull"))));
  for (int thread = 2; thread <= 4; ++thread) {
    const size_t at = find(bt, "thread #" + std::to_string(thread));
    ASSERT_LT(at + 1, bt.size()) << qxtest::fileBytes(output);
    EXPECT_THAT(bt[at + 1], HasSubstr("frame #0: 0x"));
  }
}

TEST_F(CrashReportTest, AFaultInsideMallocHoldingItsLockIsStillReportedInFull) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "AddressSanitizer owns malloc: the child cannot put its own in front of it";
#endif
  const Crash result = run({"malloc"});
  EXPECT_EQ(result.status, 128 + SIGSEGV);
  const size_t stack = find(result.report, "Call stack (main):");
  ASSERT_LT(stack + 3, result.report.size());
  EXPECT_THAT(result.report[stack + 1], HasSubstr("::readNull()+0x"));
  EXPECT_THAT(result.report[stack + 2], HasSubstr(": malloc()+0x"));
  EXPECT_LT(find(result.report, "main()+0x", stack), result.report.size());
}

TEST_F(CrashReportTest, AFaultInsideTheReportHelperStillEndsTheProcessByItsSignal) {
  const Crash result = run({"fault", "null", "--helper", QX_CRASH_CHILD_PATH});
  EXPECT_EQ(result.status, 128 + SIGSEGV);
  EXPECT_TRUE(result.report.empty());
}

TEST_F(CrashReportTest, TheReportGoesToTheHomeFolderWhenItsFolderCannotBeWritten) {
  const qxtest::ScopedEnv home("HOME", (dir() / "home").string());
  const struct {
    std::string reportDir;
    fs::path expected;
  } cases[] = {
      {(dir() / "sub").string(), dir() / "sub" / "crash_report.txt"},
      {"", dir() / "crash_report.txt"},  // unset: the working folder
      {(dir() / "missing").string(), dir() / "home" / "crash_report.txt"},
  };
  fs::create_directories(dir() / "sub");
  fs::create_directories(dir() / "home");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reportDir);
    const Crash result = run({"path"}, c.reportDir);
    EXPECT_EQ(lines(result.output).at(0), c.expected.string());
  }
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
    const std::string after = qxtest::fileBytes(file);
    if (size <= 10485760) {
      EXPECT_EQ(after, content);
    } else {
      EXPECT_EQ(after, "--- truncated ---\n" + content.substr(size - 10485741));
    }
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
  EXPECT_STREQ(ut::FatalErrorException(0xC0000005).what(), "ACCESS_VIOLATION");
  EXPECT_STREQ(ut::FatalErrorException(0xC00000FD).what(), "STACK_OVERFLOW");
  EXPECT_EQ(ut::FatalErrorException(0x12345678).errorCode(), 0x12345678u);
  EXPECT_EQ(ut::internal::exceptionName(0x12345678), nullptr);
}

}  // namespace
