#include "ut_log.h"
#include "ut_system.h"

#include "core/ut_log_p.h"
#include "platform/system.h"

#include <algorithm>
#include <cstdarg>
#include <cwchar>
#include <utility>

namespace ut {

namespace {

// ThreadLog::printf formats into this many characters, the terminating NUL included.
constexpr size_t kPrintfBuffer = 2049;

}  // namespace

ThreadLog& ThreadLog::get() {
  // Never destroyed: threads may still print while the process ends.
  static ThreadLog* const log = new ThreadLog;
  return *log;
}

ThreadLog::OutputFunc ThreadLog::setOutputFunc(OutputFunc output) {
  const std::lock_guard lock(m_mutex);
  return std::exchange(m_output, output ? output : defaultOutputFunc);
}

void ThreadLog::print(const wchar_t* text) {
  if (!text) return;
  const unsigned long id = getCurrentThreadId();
  const unsigned long mainId = getMainThreadId();
  const std::lock_guard lock(m_mutex);
  const auto known = std::find(m_threads.begin(), m_threads.end(), id);
  std::wstring line(2 * static_cast<size_t>(known - m_threads.begin()), L' ');
  if (known == m_threads.end()) m_threads.push_back(id);
  wchar_t head[32];
  std::swprintf(head, std::size(head), L"%#lx%ls> ", id, mainId == 0 || mainId == id ? L"*" : L"");
  line += head;
  line += text;
  line += L'\n';
  m_output(line.c_str());
}

void ThreadLog::printf(const wchar_t* format, ...) {
  if (!format) return;
  wchar_t text[kPrintfBuffer];
  va_list args;
  va_start(args, format);
  // On a longer text vswprintf fails and leaves the buffer full but unterminated.
  if (std::vswprintf(text, kPrintfBuffer, format, args) < 0) text[kPrintfBuffer - 1] = L'\0';
  va_end(args);
  print(text);
}

void ThreadLog::defaultOutputFunc(const wchar_t* text) {
  if (text) platform::debugOutput(text);
}

void outputDebugString(const wchar_t* format, ...) {
  if (!format) return;
  OdString text;
  va_list args;
  va_start(args, format);
  text.formatV(format, args);
  va_end(args);
  platform::debugOutput(internal::expandDebugText(text.view()));
}

namespace internal {

std::wstring expandDebugText(std::wstring_view text) {
  std::wstring out;
  out.reserve(text.size() + text.size() / 8);
  for (wchar_t c : text) {
    if (c == L'\t')
      out.append(8, L' ');
    else if (c == L'\n')
      out += L"\r\n";
    else
      out += c;
  }
  return out;
}

}  // namespace internal

}  // namespace ut
