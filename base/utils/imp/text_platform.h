// What every platform backend provides to the string family: code pages, character direction and the
// user's number format. The POSIX backend is posix/text_platform.cpp; a Windows backend would map these
// onto WideCharToMultiByte, GetStringTypeW and GetLocaleInfoW.
//
// Every function here may be called from any thread and leaves process-wide state (the C library's
// locale among it) as it was.

#ifndef QX_UT_TEXT_PLATFORM_H
#define QX_UT_TEXT_PLATFORM_H

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

// Unicode simple case mappings, the same whatever the locale.
wchar_t toUpper(wchar_t c);
wchar_t toLower(wchar_t c);

// Whether the collation of the C library's current locale is plain code-point order (as in the "C",
// "POSIX" and "C.UTF-8" locales), so that callers may compare characters directly instead of collating.
bool collationIsCodePointOrder();

// The name of the locale the calling thread uses, in the form that threadLocale takes back. The empty
// name stands for the user's locale as the environment sets it.
std::string threadLocaleName();
// Makes the calling thread (and only it) use the locale `name`; the global locale's own name returns the
// thread to the global locale. False, with nothing changed, when that locale is not installed.
bool setThreadLocale(const std::string& name);

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
