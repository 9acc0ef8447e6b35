// The crashed side of crash reporting: the settings, the decision a fault handler makes (throw, or report
// and end the process), the once-per-process guards, and the hand-over to the helper, which writes the
// report (ut_crash_report_helper.cpp).
//
// Signal safety: onFault, sendReport and what they call use atomics, fixed buffers and the signal-safe
// platform functions only; the settings they read are plain buffers written at start-up.

#include "ut_crash_report.h"

#include "core/ut_assert_p.h"
#include "core/ut_utf8.h"
#include "diagnostics/ut_call_stack_p.h"
#include "diagnostics/ut_crash_report_p.h"
#include "platform/crash_helper.h"
#include "platform/files.h"
#include "platform/signals.h"
#include "platform/text.h"
#include "ut_system.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

namespace ut {

namespace {

constexpr const wchar_t* kReportFileName = L"crash_report.txt";
constexpr const char* kHelperName = "qxcrash";
constexpr int kHelperTimeoutMs = 30000;
// The copy of the faulting thread's stack the helper walks, from below the red zone under the stack
// pointer (which leaf functions use without moving it).
constexpr size_t kStackCopy = 256 * 1024;
constexpr uint64_t kRedZone = 128;
// A report file larger than this is cut to its last kKeptReportBytes behind a marker line.
constexpr std::streamoff kMaxReportBytes = 10485760;
constexpr std::streamoff kKeptReportBytes = 10485741;

// Copies `text` into `out`, cut to fit. Signal-safe.
template <size_t N>
void copyText(char (&out)[N], const char* text) {
  const size_t length = text ? std::min(std::strlen(text), N - 1) : 0;
  std::memcpy(out, text ? text : "", length);
  out[length] = '\0';
}

// What the fault handler reads: fixed buffers and atomics, written outside it.
struct Settings {
  char helperPath[internal::kCrashPathSize] = {};
  char reportPath[internal::kCrashPathSize] = {};
  char testName[256] = {};
  std::atomic<bool> extended{false};
  std::atomic<int> minidumpType{0};
  std::atomic<int> linesLeft{internal::kCrashReportLines};
  std::atomic<bool> translating{false};
};
Settings g_settings;
std::mutex g_settingsMutex;  // the report path as a file name, and the helper's search
OdString g_reportPath;

// Translation is off on a thread while it holds a SehXlatorOverride. Initial-exec: the handler must not
// make the runtime allocate the variable.
__attribute__((tls_model("initial-exec"))) thread_local bool t_translationOff = false;

// The translator and the filter each report once per process: the first fault claims, the others wait
// until its report is written.
class Once {
 public:
  bool claim() {
    int expected = kFree;
    return m_state.compare_exchange_strong(expected, kReporting);
  }
  void finish() { m_state.store(kDone); }
  bool done() const { return m_state.load() == kDone; }
  void waitUntilDone() const {
    for (int waited = 0; m_state.load() == kReporting && waited < kHelperTimeoutMs + 5000; waited += 10)
      platform::sleepFor(10);
  }

 private:
  static constexpr int kFree = 0, kReporting = 1, kDone = 2;
  std::atomic<int> m_state{kFree};
};
Once g_translatorOnce;
Once g_filterOnce;

// The thread that hands a report over now, 0 when none does: one report at a time in the process.
std::atomic<unsigned long> g_writer{0};
std::mutex g_reportMutex;

// Hands `request` to the helper and waits for it. False when this thread is already handing one over
// (it faulted doing so) or the helper did not answer. Signal-safe.
bool sendReport(internal::CrashRequest& request) {
  const unsigned long self = request.fault.threadId;
  for (unsigned long expected = 0; !g_writer.compare_exchange_strong(expected, self); expected = 0) {
    if (expected == self) return false;
    platform::sleepFor(1);
  }
  request.pid = platform::currentProcessId();
  request.mainThread = getMainThreadId();
  request.extended = g_settings.extended.load();
  request.minidumpType = g_settings.minidumpType.load();
  request.linesLeft = g_settings.linesLeft.load();
  request.uptime = platform::processorTime();
  request.stackStart = request.fault.context.rsp - kRedZone;
  copyText(request.reportPath, g_settings.reportPath);
  copyText(request.testName, g_settings.testName);
  internal::CrashAnswer answer;
  const bool answered =
      g_settings.helperPath[0] &&
      platform::runCrashHelper(g_settings.helperPath, &request, sizeof request, request.stackStart,
                               kStackCopy, &answer, sizeof answer, kHelperTimeoutMs) &&
      answer.magic == internal::kCrashAnswerMagic;
  if (answered) g_settings.linesLeft.fetch_sub(answer.linesWritten);
  g_writer.store(0);
  return answered;
}

// Decides what becomes of a fault, writing the report first when it is the first of its kind. Signal-safe.
platform::FaultOutcome onFault(const platform::Fault& fault) {
  const bool translate = g_settings.translating.load() && !t_translationOff && fault.raisedByFault;
  Once& once = translate ? g_translatorOnce : g_filterOnce;
  if (once.claim()) {
    internal::CrashRequest request;
    request.fault = fault;
    request.hasException = true;
    request.fromTopLevelFilter = !translate;
    request.exceptionAddress = fault.context.rip;
    sendReport(request);
    once.finish();
  } else {
    once.waitUntilDone();
  }
  return translate ? platform::FaultOutcome::eThrow : platform::FaultOutcome::eEndProcess;
}

[[noreturn]] void throwFatalError(uint32_t code) { throw FatalErrorException(code); }

std::string utf8(const wchar_t* text) {
  std::string bytes;
  if (text) (void)internal::encodeUtf8(text, bytes);
  return bytes;
}

// What an uncaught exception says about itself.
std::string uncaughtMessage() {
  const std::exception_ptr current = std::current_exception();
  if (!current) return "std::terminate called without an active exception";
  try {
    std::rethrow_exception(current);
  } catch (const std::exception& e) {
    return std::string("Uncaught exception: ") + e.what();
  } catch (...) {
    return "Uncaught exception of an unknown type";
  }
}

// A fault the translator threw and reported, which no one caught: reported already.
bool isReportedFault() {
  try {
    if (std::current_exception()) std::rethrow_exception(std::current_exception());
  } catch (const FatalErrorException&) {
    return g_translatorOnce.done();
  } catch (...) {
  }
  return false;
}

std::terminate_handler g_previousTerminate = nullptr;

[[noreturn]] void onTerminate() {
  if (!isReportedFault() && g_filterOnce.claim()) {
    const std::string message = uncaughtMessage();
    std::wstring wide;
    (void)internal::decodeUtf8(message, wide, true);
    reportCrash(nullptr, true, wide.c_str());
    g_filterOnce.finish();
  }
  if (g_previousTerminate) g_previousTerminate();
  std::abort();
}

// The report's path: in VELTOCAD_CRASH_REPORT_DIR or the working folder, made absolute; in the home folder
// when that folder cannot be written.
OdString chooseReportPath() {
  const char* dir = std::getenv("VELTOCAD_CRASH_REPORT_DIR");
  std::wstring wideDir;
  if (dir && *dir) (void)internal::decodeUtf8(dir, wideDir, true);
  FileName name(wideDir.empty() ? OdString(kReportFileName)
                                : OdString(wideDir.c_str()) + L"/" + kReportFileName);
  name.makeAbsolute();
  const std::string narrow = platform::fileNameToNarrow(name.getFullPath().view());
  if (!FileName::isDirWritable(name.getPath()) || narrow.size() >= internal::kCrashPathSize)
    return FileName::getHomeDir() + L"/" + kReportFileName;
  return name.getFullPath();
}

void setReportPath(const OdString& path) {
  const std::lock_guard<std::mutex> lock(g_settingsMutex);
  g_reportPath = path;
  copyText(g_settings.reportPath, platform::fileNameToNarrow(path.view()).c_str());
}

// Finds the helper beside the library, once; false when it is not there.
bool locateHelper() {
  const std::lock_guard<std::mutex> lock(g_settingsMutex);
  if (g_settings.helperPath[0]) return true;
  copyText(g_settings.helperPath, platform::locateCrashHelper(kHelperName).c_str());
  return g_settings.helperPath[0] != '\0';
}

}  // namespace

const char* FatalErrorException::what() const noexcept {
  const char* name = internal::exceptionName(m_code);
  return name ? name : "FATAL_ERROR";
}

SehXlatorOverride::SehXlatorOverride() : m_previous(t_translationOff) { t_translationOff = true; }

SehXlatorOverride::~SehXlatorOverride() { t_translationOff = m_previous; }

void initCrashReporting() {
  setReportPath(chooseReportPath());
  truncateReportFile(nullptr);
  setMainThreadId(getCurrentThreadId());
  if (!locateHelper())
    internal::report("ut::initCrashReporting", std::string("The crash report helper ") + kHelperName +
                                                   " is not beside the library: reports are not written");
  std::string error;
  if (!platform::installFaultHandlers(onFault, throwFatalError, error) ||
      !platform::prepareThreadForFaults(error))
    internal::report("ut::initCrashReporting", error);
  static std::once_flag terminateHandler;
  std::call_once(terminateHandler, [] { g_previousTerminate = std::set_terminate(onTerminate); });
  g_settings.translating.store(true);
}

void prepareThreadForCrashReporting() {
  std::string error;
  if (!platform::prepareThreadForFaults(error)) internal::report("ut::prepareThreadForCrashReporting", error);
}

void reportCrash(EXCEPTION_POINTERS* ep, bool fromTopLevelFilter, const wchar_t* errorMessage) {
  const std::lock_guard<std::mutex> lock(g_reportMutex);
  if (!locateHelper()) return;
  auto request = std::make_unique<internal::CrashRequest>();
  request->fault.threadId = getCurrentThreadId();
  if (ep && ep->ContextRecord) {
    request->fault.context = internal::fromWindowsContext(*ep->ContextRecord);
  } else {
    platform::captureContext(request->fault.context);
    request->innermostFrame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  }
  if (ep && ep->ExceptionRecord) {
    request->hasException = true;
    request->fault.code = ep->ExceptionRecord->ExceptionCode;
    request->exceptionAddress = reinterpret_cast<uintptr_t>(ep->ExceptionRecord->ExceptionAddress);
  }
  request->fromTopLevelFilter = fromTopLevelFilter;
  copyText(request->errorMessage, utf8(errorMessage).c_str());
  sendReport(*request);
}

void truncateReportFile(const wchar_t* path) {
  const OdString file = path ? OdString(path) : getCrashReportFileName().getFullPath();
  if (file.isEmpty()) return;
  std::fstream report(platform::fileNameToNarrow(file.view()),
                      std::ios::in | std::ios::out | std::ios::binary);
  if (!report.seekg(0, std::ios::end)) return;
  const std::streamoff size = report.tellg();
  if (size <= kMaxReportBytes) return;
  std::string kept = "--- truncated ---\n";
  const size_t marker = kept.size();
  kept.resize(marker + static_cast<size_t>(kKeptReportBytes));
  if (!report.seekg(size - kKeptReportBytes) || !report.read(kept.data() + marker, kKeptReportBytes)) return;
  report.close();
  // Through a finished copy: a crash while it is written leaves the report as it was.
  (void)platform::replaceFile(file, kept, platform::Sharing::eOwnerOnly);
}

FileName getCrashReportFileName() {
  const std::lock_guard<std::mutex> lock(g_settingsMutex);
  return g_reportPath.isEmpty() ? FileName() : FileName(g_reportPath);
}

void setExtendedCrashReport(bool extended) { g_settings.extended.store(extended); }

void setMinidumpType(int type) { g_settings.minidumpType.store(type); }

void startTest(const char* name) {
  const std::lock_guard<std::mutex> lock(g_settingsMutex);
  copyText(g_settings.testName, name);
}

namespace internal {

void setCrashHelperPath(const char* path) {
  const std::lock_guard<std::mutex> lock(g_settingsMutex);
  copyText(g_settings.helperPath, path);
}

}  // namespace internal

}  // namespace ut
