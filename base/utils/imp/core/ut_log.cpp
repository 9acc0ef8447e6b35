#include "ut_log.h"

#include "ut_reporter.h"

#include "core/ut_assert_p.h"
#include "core/ut_identity.h"
#include "core/ut_log_p.h"
#include "core/ut_utf8.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>

UtTracer UtTracer::m_sTracer;

namespace {

// Hosts recognise the report of an unbalanced indent by its position, which therefore stays the same
// whatever the layout of this file.
constexpr const char* kIndentCheckFile = "ut_log.cpp";
constexpr int kIndentCheckLine = 188;

constexpr std::string_view kSpaces = "                                                                ";

std::atomic<ut::internal::CallStackSource> g_callStackSource{&ut::getCallStack};

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The number in the environment variable `name`; nothing when it is unset or empty, and nothing, with a
// report, when it holds something else.
std::optional<int> environmentNumber(const char* name) {
  const char* value = std::getenv(name);
  if (!value || !*value) return std::nullopt;
  const std::optional<int> number = ut::internal::parseEnvironmentNumber(value);
  if (!number) ut::internal::report("UtTracer", std::string(name) + " is not a number: '" + value + "'");
  return number;
}

}  // namespace

// --- The trace stream ----------------------------------------------------------------------------------

UtTracer::UtTracer() : m_out(&std::cout) { readEnvVar(); }

void UtTracer::setStreamName(const char* file) {
  freeStream();
  readEnvVar();
  const int area = m_envLevel >= 0 ? environmentNumber("VDM_LOG_AREA").value_or(0) : m_area;
  start(file, m_envLevel, area);
}

void UtTracer::setStreamName(const char* file, int level, int area) {
  freeStream();
  start(file, level, area);
}

void UtTracer::start(const char* file, int level, int area) {
  m_fileName = file ? file : "";
  m_traceLevel = level;
  m_area = std::max(area, 0);
  if (level >= 0) openFile();
}

void UtTracer::openFile() {
  if (m_file.is_open()) m_file.close();
  m_file.clear();
  m_out = &std::cout;
  if (m_fileName.empty()) return;
  // A file that cannot be opened leaves the stream failed, and the trace goes nowhere.
  m_file.open(m_fileName, std::ios::out | std::ios::trunc);
  // A new file starts from the standard formatting, whatever manipulators the last one saw.
  m_file.flags(std::ios::dec | std::ios::skipws);
  m_file.fill(' ');
  m_file.precision(16);
  m_out = &m_file;
}

void UtTracer::setTraceLevel(int level) {
  if (level == m_traceLevel) return;
  m_traceLevel = level;
  if (level >= 0) openFile();
}

void UtTracer::readEnvVar() { m_envLevel = environmentNumber("VDM_LOG_LEVEL").value_or(-1); }

void UtTracer::readArea() { m_area = environmentNumber("VDM_LOG_AREA").value_or(-1); }

UtTracer& UtTracer::str(int level) {
  // The head and an indent of up to 64 spaces go out in one write.
  char line[16 + kSpaces.size()];
  char* end = std::to_chars(line, line + 14, level).ptr;
  *end++ = '>';
  *end++ = ' ';
  const int indent = std::min<int>(m_indent, kSpaces.size());
  end = std::copy_n(kSpaces.data(), indent, end);
  stream().write(line, end - line);
  for (int left = m_indent - indent; left > 0; left -= static_cast<int>(kSpaces.size()))
    stream().write(kSpaces.data(), std::min<std::streamsize>(left, kSpaces.size()));
  return *this;
}

void UtTracer::freeStream() {
  if (m_file.is_open()) m_file.close();
  // A close that failed leaves the stream failed: the rest of the trace goes nowhere.
  m_out = m_file.fail() ? static_cast<std::ostream*>(&m_file) : &std::cout;
  m_traceLevel = -1;
  if (m_indent != 0) {
    const std::string message = "A TraceIndenter is still open: the indent is " + std::to_string(m_indent);
    ut::callAssert("0 == m_indent", message.c_str(), kIndentCheckFile, kIndentCheckLine);
    m_indent = 0;
  }
}

void UtTracer::traceCallStack() {
  static const bool developer = [] {
    const char* value = std::getenv("VDM_DEV");
    return value && *value;
  }();
  if (!developer) {
    *this << "Call stack trace is available if VDM_DEV is set" << std::endl;
    return;
  }
  const std::string stack = g_callStackSource.load()();
  *this << stack;
  if (!stack.empty() && stack.back() != '\n') *this << '\n';
  stream().flush();
}

// --- What the stream writes ----------------------------------------------------------------------------

UtTracer& UtTracer::operator<<(std::wstring_view text) {
  m_utf8.clear();
  ut::internal::encodeUtf8Lenient(text, m_utf8);
  return put(std::string_view(m_utf8));
}

UtTracer& UtTracer::operator<<(std::thread::id id) {
  // The id is the system's thread handle; its bits are the number (0 for no thread).
  static_assert(sizeof(id) == sizeof(std::uint64_t) && std::is_trivially_copyable_v<std::thread::id>);
  return put(std::bit_cast<std::uint64_t>(id));
}

UtTracer& UtTracer::operator<<(std::chrono::nanoseconds duration) {
  return put(static_cast<float>(static_cast<double>(duration.count()) / 1e9));
}

UtTracer& UtTracer::operator<<(const ut::IReporterMessage& message) {
  return *this << "Message type " << message.typeText() << std::endl
               << "Message " << message.text() << std::endl;
}

namespace ut {

// --- Scopes and the lock -------------------------------------------------------------------------------

std::atomic<SafeTracerAccessorLock*> SafeTracerAccessor::m_pLock{nullptr};

SafeTracerAccessor::SafeTracerAccessor() : m_taken(m_pLock.load(std::memory_order_acquire)) {
  if (m_taken) m_taken->lock();
}

SafeTracerAccessor::~SafeTracerAccessor() {
  if (m_taken) m_taken->unlock();
}

void SafeTracerAccessor::setLocker(SafeTracerAccessorLock* lock) {
  m_pLock.store(lock, std::memory_order_release);
}

TraceIndenter::TraceIndenter(int level, const char* name, int area) : m_level(level) {
  UtTracer& tracer = UtTracer::tracer();
  if (level > tracer.traceLevel() || !tracer.checkArea(area)) return;
  m_name = name ? name : "";
  const SafeTracerAccessor access;
  if (!m_name.empty()) tracer.str(level) << "Call " << m_name << "()" << std::endl;
  tracer.incIndent();
}

TraceIndenter::~TraceIndenter() {
  UtTracer& tracer = UtTracer::tracer();
  if (m_level > tracer.traceLevel()) return;
  const SafeTracerAccessor access;
  tracer.decIndent();
  if (!m_name.empty()) tracer.str(m_level) << "Done " << m_name << "()" << std::endl;
}

// --- Call stacks ---------------------------------------------------------------------------------------

std::string getCallStack() { return std::string(); }

namespace internal {

void setCallStackSource(CallStackSource source) { g_callStackSource.store(source ? source : &getCallStack); }

std::optional<int> parseEnvironmentNumber(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  const bool sign = !text.empty() && (text.front() == '-' || text.front() == '+');
  const bool negative = sign && text.front() == '-';
  if (sign) text.remove_prefix(1);
  // Hex is a bit mask, all 32 bits of which may be set; decimal a signed number within int.
  const bool hex = !sign && text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  if (hex) text.remove_prefix(2);
  // from_chars would take a second sign; a number starts with a digit.
  if (text.empty() || !std::isxdigit(static_cast<unsigned char>(text.front()))) return std::nullopt;
  unsigned long long magnitude = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, hex ? 16 : 10);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  const unsigned long long limit = hex ? UINT_MAX : negative ? 1ULL + INT_MAX : INT_MAX;
  if (magnitude > limit) return std::nullopt;
  return static_cast<int>(static_cast<unsigned int>(negative ? 0 - magnitude : magnitude));
}

}  // namespace internal

// --- Log heads -----------------------------------------------------------------------------------------

std::string getLogStampChar(const std::tm& t) {
  char line[128];
  std::snprintf(line, sizeof line,
                "\n--------------- %02d-%02d-%04d %02d:%02d:%02d --------------- v%s%s ---------------",
                t.tm_mday, t.tm_mon + 1, t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec,
                internal::kVersionText, internal::kBuildSuffix);
  return line;
}

OdString getLogStamp(const std::tm& t) {
  std::wstring line;
  (void)internal::decodeUtf8(getLogStampChar(t), line, true);
  return OdString(line);
}

}  // namespace ut
