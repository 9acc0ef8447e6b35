#include "ut_log.h"
#include "ut_reporter.h"
#include "ut_system.h"

#include "core/ut_log_p.h"
#include "test_support.h"

#include <gmock/gmock.h>

#include <climits>
#include <iomanip>
#include <sstream>
#include <thread>

namespace {

UtTracer& tracer() { return UtTracer::tracer(); }

// Each test traces into a fresh file of its own; written() ends the trace and answers the file.
class TracerTest : public testing::Test {
 protected:
  ~TracerTest() override { tracer().freeStream(); }
  std::string written() {
    tracer().freeStream();
    return qxtest::fileBytes(m_file);
  }
  qxtest::TempDir m_dir;
  std::string m_file = (m_dir.path() / "trace.txt").string();
};

struct Warning : ut::IReporterMessage {
  const char* typeText() const override { return "Warning"; }
  OdString text() const override { return L"Font '\u00e9' not found"; }
};

TEST_F(TracerTest, WritesEachKindOfValueInItsForm) {
  std::ostringstream threadId;
  threadId << std::this_thread::get_id();
  tracer().setStreamName(m_file.c_str(), 2, 0);
  tracer().str(2) << true << false << -5 << ' ' << 7L << ' ' << 8u << ' ' << ~0ULL << ' ' << 1.0 / 3 << ' '
                  << std::chrono::milliseconds(1500) << ' ' << static_cast<const void*>(nullptr) << ' '
                  << reinterpret_cast<void*>(0x1f0) << ' ' << static_cast<const char*>(nullptr) << "a"
                  << std::string("b") << static_cast<const wchar_t*>(nullptr) << L" \u00e9"
                  << OdString(L"\u20ac") << L'\u00fc' << std::wstring{L'a', wchar_t(0xD800)} << ' '
                  << std::this_thread::get_id() << ' ' << std::thread::id() << ' ' << std::hex << 255
                  << std::setw(4) << 7 << Warning() << std::endl;
  EXPECT_EQ(written(), "2> TRUEFALSE-5 7 8 18446744073709551615 0.3333333333333333 1.5 NULL PTR 0x1f0 ab \u00e9"
                       "\u20ac\u00fca\uFFFD " + threadId.str() + " 0 ff   7Message type Warning\n"
                       "Message Font '\u00e9' not found\n\n");
  tracer().setStreamName(m_file.c_str(), 2, 0);  // a new file starts with decimal numbers again
  for (int i = 0; i < 50; ++i) tracer().incIndent();
  tracer().str(2) << 255 << std::endl;
  for (int i = 0; i < 50; ++i) tracer().decIndent();
  EXPECT_EQ(written(), "2> " + std::string(100, ' ') + "255\n");
}

TEST_F(TracerTest, ScopesIndentTheirLinesAndOneLeftOpenIsReportedAtTheEnd) {
  static std::string report;
  const auto collect = [](const char* expression, const char* message, const char* file, int line) {
    report += std::string(expression) + "|" + message + "|" + file + ":" + std::to_string(line);
    return 0;
  };
  report.clear();
  ut::addAssertCallback(collect);
  tracer().setStreamName(m_file.c_str(), 2, 4);
  {
    const ut::TraceIndenter outer(1, "outer", 4 | 8);
    tracer().str(2) << "inside" << std::endl;
    {
      const ut::TraceIndenter unnamed(1, "", 4);
      tracer().str(2) << "deeper" << std::endl;
    }
    // Left out by its area, a scope still takes its two spaces off at the end; by its level, not.
    { const ut::TraceIndenter otherArea(1, "other", 16); }
    { const ut::TraceIndenter tooDetailed(3, "detail", 4); }
    { const ut::ApiScopeLogger api(1, "api"); }  // writes nothing
    tracer().str(2) << "after" << std::endl;
  }
  EXPECT_EQ(written(), "1> Call outer()\n2>   inside\n2>     deeper\n2> after\n1> Done outer()\n");
  EXPECT_EQ(report, "");  // the indent is back at 0, not below
  tracer().setStreamName(m_file.c_str(), 1, 0);
  tracer().incIndent();
  tracer().incIndent();
  tracer().freeStream();
  tracer().freeStream();  // the indent was dropped: nothing more to report
  ut::removeAssertCallback(collect);
  EXPECT_EQ(report, "0 == m_indent|A TraceIndenter is still open: the indent is 4|ut_log.cpp:188");
}

TEST_F(TracerTest, TheEnvironmentSwitchesTracingAndChoosesTheAreas) {
  // Each row: VDM_LOG_LEVEL, VDM_LOG_AREA, the trace level, whether areas 0, 1 and 2 pass.
  const std::tuple<std::optional<std::string>, std::optional<std::string>, int, std::string> cases[] = {
      {"3", "-5", 3, "111"},  // a negative area counts as 0: every area
      {" 2 ", "0x6", 2, "001"},
      {"0", std::nullopt, 0, "111"},
      {std::nullopt, "2", -1, "111"},  // tracing off: no file, and the area (0 above) not read
      {"verbose", "2", -1, "111"},     // reported, as unset
  };
  const qxtest::Reports reports;
  for (const auto& [level, area, traceLevel, areas] : cases) {
    const qxtest::ScopedEnv setLevel("VDM_LOG_LEVEL", level), setArea("VDM_LOG_AREA", area);
    tracer().setStreamName(m_file.c_str());
    EXPECT_EQ(std::tuple(tracer().traceLevel(), tracer().environmentLevel(), std::filesystem::exists(m_file)),
              std::tuple(traceLevel, traceLevel, traceLevel >= 0));
    for (int a = 0; a < 3; ++a) EXPECT_EQ(tracer().checkArea(a), areas[a] == '1') << traceLevel << " " << a;
    tracer().freeStream();
    std::filesystem::remove(m_file);
  }
  EXPECT_EQ(reports.lines(), std::vector<std::string>{"UtTracer: VDM_LOG_LEVEL is not a number: 'verbose'"});
  // readArea, unlike setStreamName, keeps a negative or missing mask as -1: every area but 0.
  const qxtest::ScopedEnv negative("VDM_LOG_AREA", "-5");
  tracer().readArea();
  EXPECT_FALSE(tracer().checkArea(0));
  EXPECT_TRUE(tracer().checkArea(1 << 30));
}

TEST(EnvironmentNumberTest, ReadsDecimalWithinIntAndHexMasks) {
  const std::pair<const char*, std::optional<int>> cases[] = {
      {" -3\t", -3}, {"+7", 7}, {"0XfF", 255}, {"0xFFFFFFFF", -1}, {"-2147483648", INT_MIN},
      {"2147483648", {}}, {"0x100000000", {}}, {"", {}}, {"--1", {}}, {"-0x1", {}}, {"0x", {}}, {"1 2", {}},
  };
  for (const auto& [text, number] : cases)
    EXPECT_EQ(ut::internal::parseEnvironmentNumber(text), number) << text;
}

TEST_F(TracerTest, ADifferentLevelReopensTheFileAndTheSameOneKeepsIt) {
  tracer().setStreamName(m_file.c_str(), 2, 0);
  tracer().str(1) << "first" << std::endl;
  tracer().setTraceLevel(2);
  tracer().str(1) << "kept" << std::endl;
  EXPECT_EQ(qxtest::fileBytes(m_file), "1> first\n1> kept\n");
  tracer().setTraceLevel(3);
  tracer().str(3) << "after the reopening" << std::endl;
  EXPECT_EQ(written(), "3> after the reopening\n");
}

TEST_F(TracerTest, WithoutAFileTheTraceGoesToStandardOutputAndWithABadOneNowhere) {
  // Standard output keeps its own precision.
  const std::pair<std::string, std::string> cases[] = {
      {"", "1> 0.333333\n"}, {m_dir.path() / "missing" / "trace.txt", ""}, {m_dir.path(), ""}};
  for (const auto& [file, printed] : cases) {
    testing::internal::CaptureStdout();
    tracer().setStreamName(file.c_str(), 1, 0);
    tracer().str(1) << 1.0 / 3 << std::endl;
    EXPECT_FALSE(tracer().isOpen());
    tracer().freeStream();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed) << file;
  }
}

// A host's lock, which counts its use.
struct CountingLock : ut::SafeTracerAccessorLock {
  void lock() override { ++m_locks; }
  void unlock() override { ++m_unlocks; }
  int m_locks = 0, m_unlocks = 0;
};

TEST_F(TracerTest, TheInstalledLockIsHeldForEachStatementAndEachScopeLine) {
  CountingLock lock;
  ut::SafeTracerAccessor::setLocker(&lock);
  tracer().setStreamName(m_file.c_str(), 1, 0);
  {
    const ut::SafeTracerAccessor access;
    ut::SafeTracerAccessor::get().str(1) << "held" << std::endl;
    EXPECT_EQ(std::pair(lock.m_locks, lock.m_unlocks), std::pair(1, 0));
  }
  { const ut::TraceIndenter scope(1, "scope", 1); }
  { const ut::TraceIndenter filtered(2, "filtered", 1); }
  ut::SafeTracerAccessor::setLocker(nullptr);
  { const ut::SafeTracerAccessor unlocked; }
  EXPECT_EQ(std::pair(lock.m_locks, lock.m_unlocks), std::pair(3, 3));
  EXPECT_EQ(written(), "1> held\n1> Call scope()\n1> Done scope()\n");
}

// What ThreadLog hands to its output.
std::vector<std::wstring> g_lines;
void capture(const wchar_t* text) { g_lines.push_back(text); }

TEST(ThreadLogTest, EachThreadIsIndentedByItsPlaceAndTheMainOneMarked) {
  ut::ThreadLog::get().setOutputFunc(capture);
  std::vector<std::wstring> expected;
  const auto printOnNewThread = [&](const wchar_t* text, bool becomeMain, const wchar_t* mark) {
    std::thread([&] {
      if (becomeMain) ut::setMainThreadId(ut::getCurrentThreadId());
      wchar_t head[32];
      std::swprintf(head, 32, L"%#lx%ls> ", ut::getCurrentThreadId(), mark);
      expected.push_back(std::wstring(2 * expected.size(), L' ') + head + text + L"\n");
      ut::ThreadLog::get().print(text);
    }).join();
  };
  g_lines.clear();
  printOnNewThread(L"first", true, L"*");
  printOnNewThread(L"second", false, L"");
  ut::setMainThreadId(0);
  printOnNewThread(L"third, none recorded as the main thread", false, L"*");
  // The threads are new to the log, so each is one place after those before it.
  const std::wstring before(g_lines.at(0).find(L'0'), L' ');
  for (std::wstring& line : expected) line = before + line;
  EXPECT_EQ(g_lines, expected);
}

TEST(ThreadLogTest, PrintfFormatsAtMost2048CharactersAndTheDefaultOutputIsStandardError) {
  ut::ThreadLog& log = ut::ThreadLog::get();
  log.setOutputFunc(capture);
  g_lines.clear();
  log.printf(L"%d-%ls", 7, std::wstring(3000, L'a').c_str());
  log.print(nullptr);
  EXPECT_THAT(g_lines, testing::ElementsAre(testing::EndsWith(L"> 7-" + std::wstring(2046, L'a') + L"\n")));
  EXPECT_EQ(log.setOutputFunc(nullptr), &capture);
  testing::internal::CaptureStderr();
  ut::outputDebugString(L"a\tb %d\n%ls", 5, L"\u00e9");
  log.print(L"from the log");
  const std::string printed = testing::internal::GetCapturedStderr();
  EXPECT_THAT(printed, testing::MatchesRegex("a        b 5\r\n\u00e9.*> from the log\n"));
}

// A log target that keeps what reaches it as "level message file:line" lines.
struct Recorder : wxLog {
  void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) override {
    m_records.push_back(std::to_string(level) + message.utf8_string() + info.filename +
                        std::to_string(info.line));
  }
  std::vector<std::string> m_records;
};

TEST(LogBufferTest, HoldsRecordsBackAndEachCopyReplaysThemInOrderAtItsEnd) {
  Recorder recorder;
  wxLog* const previous = wxLog::SetActiveTarget(&recorder);
  int line = 0;
  {
    ut::LogBuffer held;
    wxLog::SetActiveTarget(&held);
    wxLogWarning("Layer %s not found", "A1");
    line = __LINE__ - 1;
    wxLogMessage("Loaded");
    wxLog::SetActiveTarget(&recorder);
    ut::LogBuffer copy;
    copy = held;
    EXPECT_TRUE(recorder.m_records.empty());
  }
  wxLog::SetActiveTarget(previous);
  const std::string warning =
      std::to_string(wxLOG_Warning) + "Layer A1 not found" + __FILE__ + std::to_string(line);
  const std::string message = std::to_string(wxLOG_Message) + "Loaded" + __FILE__ + std::to_string(line + 2);
  EXPECT_EQ(recorder.m_records, (std::vector<std::string>{warning, message, warning, message}));
}

TEST(LogStampTest, NamesTheTimeAndTheBuild) {
  std::tm t{};  // 4 January 2026, 09:07:03
  t.tm_year = 126, t.tm_mday = 4, t.tm_hour = 9, t.tm_min = 7, t.tm_sec = 3;
  const std::string line = ut::getLogStampChar(t);
  // The build's suffix follows the version: empty in release builds, "d" in debug ones.
  EXPECT_THAT(
      line, testing::MatchesRegex(
                "\n--------------- 04-01-2026 09:07:03 --------------- v26\\.1\\.07\\.0d? ---------------"));
  EXPECT_EQ(ut::getLogStamp(t), OdString(std::wstring(line.begin(), line.end())));
}

}  // namespace
