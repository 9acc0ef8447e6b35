// Developer tracing and logging: the process-wide trace stream that environment variables switch on,
// scopes that trace their entry and exit, a debug-output log that tells threads apart, a wxWidgets log
// target that holds records back, and the head line of log files.
//
// The trace stream writes one line per statement: the level, "> ", two spaces per open TraceIndenter,
// then the text. A statement is guarded by its level and area, so that a filtered one costs two reads:
//
//   // VDM_LOG_LEVEL=2 and VDM_LOG_AREA unset in the environment
//   UtTracer& tracer = UtTracer::tracer();
//   tracer.setStreamName("/tmp/trace.txt");          // tracing on at level 2, every area; file truncated
//   {
//     ut::TraceIndenter scope(1, "loadDrawing", 4);  // "1> Call loadDrawing()"
//     if (2 <= tracer.traceLevel() && tracer.checkArea(4))
//       tracer.str(2) << "layers " << 12 << ' ' << true << std::endl;   // "2>   layers 12 TRUE"
//     if (3 <= tracer.traceLevel() && tracer.checkArea(4))
//       tracer.str(3) << "not written" << std::endl;                    // level 3 > 2: filtered out
//   }                                                // "1> Done loadDrawing()"
//   tracer.freeStream();                             // file closed, tracing off
//
//   std::tm t{};
//   t.tm_mday = 24; t.tm_mon = 10; t.tm_year = 126; t.tm_hour = 15; t.tm_min = 4; t.tm_sec = 5;
//   ut::getLogStampChar(t);
//   // "\n--------------- 24-11-2026 15:04:05 --------------- v26.1.07.0 ---------------"
//
// Environment: VDM_LOG_LEVEL (the trace level; unset: tracing off), VDM_LOG_AREA (the area mask; 0 or
// unset: every area), VDM_DEV (set: traceCallStack writes call stacks). Numbers are decimal or "0x" hex;
// a value that is not a number is reported through the assertion callbacks and counts as unset.
//
// Thread safety: the tracer holds no lock of its own. One thread may trace at a time, or several, each
// statement inside a SafeTracerAccessor scope, once the host has installed a lock with setLocker.
// TraceIndenter takes that lock itself. ThreadLog has its own mutex and may be called from any thread.
// LogBuffer relies on wxWidgets' serialisation of logging (records of other threads reach it through the
// main thread). The free functions may be called from any thread. Nothing here is signal-safe.

#ifndef QX_UT_LOG_H
#define QX_UT_LOG_H

#include "OdString.h"

#include <wx/log.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <fstream>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

namespace ut {
class IReporterMessage;
class SafeTracerAccessor;
}  // namespace ut

// The process-wide trace stream. While no file is open it writes to standard output; when a file could
// not be opened, nowhere. Every output operation returns the tracer, for chaining.
class UtTracer {
 public:
  // The one instance, which exists from the library's load.
  static UtTracer& tracer() { return m_sTracer; }

  // Ends the current trace (freeStream), then takes the trace level from VDM_LOG_LEVEL and, when it is
  // at least 0, the area mask from VDM_LOG_AREA (unset or negative: 0) and opens `file` (null or empty:
  // standard output), truncating it. Numbers go to the file with 16 significant digits.
  void setStreamName(const char* file);
  // The same with the level and area given (a negative area counts as 0); the environment is not read.
  void setStreamName(const char* file, int level, int area);
  // A different level is stored; one of at least 0 reopens the file last named, truncating it.
  void setTraceLevel(int level);
  // Lines of level L are written when L <= traceLevel(); -1: tracing is off.
  [[nodiscard]] int traceLevel() const { return m_traceLevel; }
  // VDM_LOG_LEVEL as last read (at the library's load, by readEnvVar or setStreamName); -1 when unset.
  [[nodiscard]] int environmentLevel() const { return m_envLevel; }
  // Reads VDM_LOG_LEVEL into environmentLevel(); the trace level stays.
  void readEnvVar();
  // Reads VDM_LOG_AREA into the area mask, -1 (every area but 0) when unset.
  void readArea();
  // Whether a line of `area` passes the mask: the mask is 0, or shares a bit with `area`.
  [[nodiscard]] bool checkArea(int area) const { return m_area == 0 || (area & m_area) != 0; }
  // Whether the trace file is open.
  [[nodiscard]] bool isOpen() const { return m_file.is_open(); }
  // Indents the lines that follow by two more, or two fewer (never below 0), spaces.
  void incIndent() { m_indent += 2; }
  void decIndent() { m_indent = m_indent > 2 ? m_indent - 2 : 0; }
  // Starts a line of `level`: the level, "> " and the indent.
  UtTracer& str(int level);
  // Closes the file and switches tracing off. An open TraceIndenter (indent not 0) is reported through
  // the assertion callbacks as "0 == m_indent" at ut_log.cpp, line 188, and the indent reset.
  void freeStream();
  // With VDM_DEV set (read once per process), writes the calling thread's call stack; otherwise the line
  // "Call stack trace is available if VDM_DEV is set".
  void traceCallStack();

  UtTracer& operator<<(bool value) { return put(value ? "TRUE" : "FALSE"); }
  UtTracer& operator<<(char value) { return put(value); }
  UtTracer& operator<<(wchar_t value) { return *this << std::wstring_view(&value, 1); }
  UtTracer& operator<<(int value) { return put(value); }
  UtTracer& operator<<(long value) { return put(value); }
  UtTracer& operator<<(long long value) { return put(value); }
  UtTracer& operator<<(unsigned int value) { return put(value); }
  UtTracer& operator<<(unsigned long value) { return put(value); }
  UtTracer& operator<<(unsigned long long value) { return put(value); }
  UtTracer& operator<<(double value) { return put(value); }
  UtTracer& operator<<(long double value) { return put(value); }
  // The standard form of a pointer; a null one as "NULL PTR".
  UtTracer& operator<<(const void* value) { return value ? put(value) : put("NULL PTR"); }
  // Narrow text as it stands; a null pointer writes nothing.
  UtTracer& operator<<(const char* text) { return text ? put(text) : *this; }
  UtTracer& operator<<(std::string_view text) { return put(text); }
  UtTracer& operator<<(const std::string& text) { return put(text); }
  // Wide text in UTF-8, a character that has no UTF-8 form as U+FFFD; a null pointer writes nothing.
  UtTracer& operator<<(const wchar_t* text) { return text ? *this << std::wstring_view(text) : *this; }
  UtTracer& operator<<(std::wstring_view text);
  UtTracer& operator<<(const std::wstring& text) { return *this << std::wstring_view(text); }
  UtTracer& operator<<(const OdString& text) { return *this << text.view(); }
  // Manipulators act on the stream: std::endl ends the line and flushes it to the file.
  UtTracer& operator<<(std::ostream& (*manipulator)(std::ostream&)) { return put(manipulator); }
  UtTracer& operator<<(std::ios_base& (*manipulator)(std::ios_base&)) { return put(manipulator); }
  // A thread's id as an unsigned decimal number.
  UtTracer& operator<<(std::thread::id id);
  // A duration in seconds, as a single-precision number (1500ms: "1.5").
  UtTracer& operator<<(std::chrono::nanoseconds duration);
  template <class Rep, class Period>
  UtTracer& operator<<(std::chrono::duration<Rep, Period> duration) {
    return *this << std::chrono::duration_cast<std::chrono::nanoseconds>(duration);
  }
  // "Message type <type>" and "Message <text>", each ending a line.
  UtTracer& operator<<(const ut::IReporterMessage& message);
  // Anything else a std::ostream writes (std::setw(4), a std::filesystem::path, the caller's types with
  // an operator<<), as that operator writes it.
  template <class T>
    requires(!std::is_arithmetic_v<T> && !std::is_pointer_v<T> && !std::is_array_v<T> &&
             requires(std::ostream& out, const T& value) { out << value; })
  UtTracer& operator<<(const T& value) {
    return put(value);
  }

  UtTracer(const UtTracer&) = delete;
  UtTracer& operator=(const UtTracer&) = delete;

 private:
  friend class ut::SafeTracerAccessor;

  UtTracer();
  ~UtTracer() = default;

  static UtTracer& safeTracer() { return m_sTracer; }
  // The file while it is open or could not be opened, else standard output.
  std::ostream& stream() { return *m_out; }
  template <class T>
  UtTracer& put(const T& value) {
    stream() << value;
    return *this;
  }
  void start(const char* file, int level, int area);
  void openFile();

  static UtTracer m_sTracer;

  int m_indent = 0;
  int m_envLevel = -1;
  int m_traceLevel = -1;
  int m_area = 0;
  std::ofstream m_file;
  std::string m_fileName;
  std::ostream* m_out;
  // Wide text is encoded here, so that a line costs no allocation once the buffer has grown.
  std::string m_utf8;
};

namespace ut {

// A traced scope: "Call name()" on entry and "Done name()" on exit, with the lines between indented by
// two more spaces. A scope whose level or area is filtered out writes nothing; one with an empty name
// only indents. The exit tests the level alone, so that a scope left out by its area still takes its
// two spaces off (never below 0). Both take the lock installed with SafeTracerAccessor::setLocker.
class TraceIndenter {
 public:
  TraceIndenter(int level, const char* name, int area);
  ~TraceIndenter();
  TraceIndenter(const TraceIndenter&) = delete;
  TraceIndenter& operator=(const TraceIndenter&) = delete;

 private:
  int m_level;
  std::string m_name;
};

// A scope marker for the library's interface functions. It writes nothing; the type is kept so that
// callers stay source-compatible.
class ApiScopeLogger {
 public:
  ApiScopeLogger(int level, const char* name) : m_level(level), m_name(name) {}
  void succeeded() { m_success = true; }

  [[nodiscard]] int level() const { return m_level; }
  [[nodiscard]] const char* name() const { return m_name; }
  [[nodiscard]] bool success() const { return m_success; }

 private:
  int m_level;
  const char* m_name;
  bool m_success = true;
};

// The lock that makes tracing from several threads safe. The host implements it (over its own mutex)
// and installs it with SafeTracerAccessor::setLocker.
class SafeTracerAccessorLock {
 public:
  virtual ~SafeTracerAccessorLock() = default;
  virtual void lock() = 0;
  virtual void unlock() = 0;
};

// Holds the installed lock for one scope, during which the tracer may be used:
//   { ut::SafeTracerAccessor access; ut::SafeTracerAccessor::get().str(1) << "x" << std::endl; }
// Without an installed lock it does nothing.
class SafeTracerAccessor {
 public:
  SafeTracerAccessor();
  ~SafeTracerAccessor();
  SafeTracerAccessor(const SafeTracerAccessor&) = delete;
  SafeTracerAccessor& operator=(const SafeTracerAccessor&) = delete;

  // The tracer.
  static UtTracer& get() { return UtTracer::safeTracer(); }
  // Installs `lock` (null removes it). The host keeps ownership; the lock must outlive its use. Install
  // it while no other thread traces.
  static void setLocker(SafeTracerAccessorLock* lock);

 private:
  SafeTracerAccessorLock* m_taken;
  static std::atomic<SafeTracerAccessorLock*> m_pLock;
};

// A debug-output log that tells threads apart: each line starts with two spaces for every thread that
// printed before the calling one first did, the thread's id in hex, "*" for the main thread (for every
// thread while none is recorded, see ut::setMainThreadId) and "> ":
//   ut::ThreadLog::get().printf(L"%d layers", 3);   // "0x1f2e*> 3 layers\n" on the main thread
// Safe from any thread: a line is written whole, under the log's mutex.
class ThreadLog {
 public:
  // Receives each line, with its line feed, under the log's mutex: it must not print to the log itself.
  using OutputFunc = void (*)(const wchar_t* text);

  // The one log, made on first use and kept until the process ends.
  static ThreadLog& get();
  // Installs `output` (null: defaultOutputFunc) and returns the one it replaces.
  OutputFunc setOutputFunc(OutputFunc output);
  // Writes `text` as one line of the calling thread; null writes nothing.
  void print(const wchar_t* text);
  // Formats as swprintf does, at most 2,048 characters, and prints that.
  void printf(const wchar_t* format, ...);
  // Writes to the debug output: standard error on POSIX, OutputDebugStringW on Windows.
  static void defaultOutputFunc(const wchar_t* text);

 private:
  ThreadLog() = default;

  OutputFunc m_output = defaultOutputFunc;
  std::vector<unsigned long> m_threads;  // in the order of their first line
  std::mutex m_mutex;
};

// A wxWidgets log target that holds every record back and, when destroyed, hands them in order to the
// target active then:
//   ut::LogBuffer held;
//   wxLog* previous = wxLog::SetActiveTarget(&held);
//   wxLogWarning("Layer %s not found", "A1");     // held, not shown
//   wxLog::SetActiveTarget(previous);
//   // at the end of `held`'s scope, `previous` receives the warning with its time and source
// Destroy it while it is not the active target; otherwise its records are lost.
class LogBuffer : public wxLog {
 public:
  LogBuffer() = default;
  // A copy holds the same records, which each copy replays.
  LogBuffer(const LogBuffer& other);
  LogBuffer& operator=(const LogBuffer& other);
  ~LogBuffer() override;

 protected:
  // Keeps the record; nothing is passed on.
  void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) override;

 private:
  struct Record {
    wxLogLevel level;
    wxString message;
    wxLogRecordInfo info;
  };
  std::vector<Record> m_records;
};

// Formats as swprintf does, turns each tab into eight spaces and each "\n" into "\r\n", and writes the
// text to the debug output (standard error on POSIX). A null format writes nothing.
void outputDebugString(const wchar_t* format, ...);

// The calling thread's call stack as this layer knows it: empty. Crash reporting installs the walker
// that traceCallStack uses instead.
std::string getCallStack();

// The head line for the broken-down time `t`: day, month, year, hour, minute and second, then the
// library's version with the build's suffix (empty in release builds).
OdString getLogStamp(const std::tm& t);
// The same in narrow characters.
std::string getLogStampChar(const std::tm& t);

}  // namespace ut

#endif
