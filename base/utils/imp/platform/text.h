// What every platform backend provides to the string family: code pages, character direction and the
// user's number format. The POSIX backend is posix/text.cpp; a Windows backend would map these
// onto WideCharToMultiByte, GetStringTypeW and GetLocaleInfoW.
//
// Every function here may be called from any thread and leaves process-wide state (the C library's
// locale among it) as it was.

#ifndef QX_UT_TEXT_PLATFORM_H
#define QX_UT_TEXT_PLATFORM_H

#include <memory>
#include <string>
#include <string_view>

namespace ut::platform {

// Code page 0 is the system's ANSI code page; 65001 is UTF-8.
constexpr unsigned kAnsiCodePage = 0;
constexpr unsigned kUtf8CodePage = 65001;

// `text` in `codePage`, characters the code page lacks replaced by a near form or '?'. Empty when the
// code page is unknown.
std::string wideToCodePage(std::wstring_view text, unsigned codePage);
// `bytes` read in `codePage`; empty when the code page is unknown or the bytes are not of it.
std::wstring codePageToWide(std::string_view bytes, unsigned codePage);
// The narrow form of a file name, as the file system takes it.
std::string fileNameToNarrow(std::wstring_view fileName);

// Whether the low byte of `c` leads, resp. may follow, a double-byte character of the ANSI code page.
// Always false where that code page is not a double-byte one.
bool isAnsiLeadByte(unsigned c);
bool isAnsiTrailByte(unsigned c);

// Whether the collation of the C library's current locale is plain code-point order (as in the "C",
// "POSIX" and "C.UTF-8" locales), so that callers may compare characters directly instead of collating.
bool collationIsCodePointOrder();

// A switch of the calling thread's locale (and only that thread's), undone by restore() or the
// destructor: the thread gets back the very locale it had, every category of it, its own or the global
// one. Switches of one thread are undone in the reverse order they were made.
class ThreadLocaleSwitch {
 public:
  // Switches to the locale `name`, every category; "" is the user's locale as the environment names it.
  // Nothing changes when that locale is not installed.
  explicit ThreadLocaleSwitch(const std::string& name);
  ~ThreadLocaleSwitch();
  ThreadLocaleSwitch(const ThreadLocaleSwitch&) = delete;
  ThreadLocaleSwitch& operator=(const ThreadLocaleSwitch&) = delete;

  [[nodiscard]] bool switched() const;
  // The name of the locale the thread used before, as its character types name it.
  [[nodiscard]] std::string previousName() const;
  void restore();

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

// The local time now as strftime writes it with `format` in the user's locale, in the ANSI code page;
// at most 255 bytes, empty when longer.
std::string formatLocalTime(const char* format);

enum class CharDirection { LeftToRight, RightToLeft, Neutral };
CharDirection charDirection(wchar_t c);

// The user's number format. A field the platform cannot tell is left empty (or -1 for the order).
struct NumberFormatInfo {
  std::wstring decimalSeparator;
  std::wstring thousandSeparator;
  // In the form "3;0" (groups of three, repeated), "3;2;0" (three, then twos) or "3" (one group).
  std::wstring grouping;
  // 0 "(1.1)", 1 "-1.1", 2 "- 1.1", 3 "1.1-", 4 "1.1 -".
  int negativeOrder = -1;
};
NumberFormatInfo userNumberFormat();

}  // namespace ut::platform

#endif
