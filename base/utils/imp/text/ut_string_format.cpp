// Multi-line text format codes. readToken is the one place that recognises them; removeFormatting and
// isFormattingChar both go through it, so they cannot disagree about what a code is.

#include "ut_string.h"

#include "text/ut_string_p.h"

#include <string>
#include <string_view>

namespace ut {
namespace {

enum class TokenKind {
  Text,       // shows as `ch`
  LineBreak,  // "\P"
  Stack,      // a terminated "\S...;"; its fraction shows
  Code,       // taken out without a trace
};

struct Token {
  TokenKind kind;
  size_t length;
  wchar_t ch = 0;
};

// The length of the code `s` starts with, up to and including the ';' that ends its value; all of `s`
// when no ';' follows.
size_t valueCodeLength(std::wstring_view s) {
  const size_t semicolon = s.find(L';', 2);
  return semicolon == std::wstring_view::npos ? s.size() : semicolon + 1;
}

// The same for "\S...;", where a backslash makes the character after it literal ("\;" does not end the
// stack); 0 when no ';' ends it.
size_t stackLength(std::wstring_view s) {
  for (size_t i = 2; i < s.size(); ++i) {
    if (s[i] == L';') return i + 1;
    if (s[i] == L'\\') ++i;
  }
  return 0;
}

// `s` starts with a backslash and has a character after it.
Token readCode(std::wstring_view s) {
  const wchar_t c = s[1];
  switch (c) {
    case L'\\':
    case L'{':
    case L'}':
      return {TokenKind::Text, 2, c};
    case L'~':
      return {TokenKind::Text, 2, L' '};
    case L'P':
      return {TokenKind::LineBreak, 2};
    case L'S': {
      const size_t length = stackLength(s);
      return length ? Token{TokenKind::Stack, length} : Token{TokenKind::Code, s.size()};
    }
    case L'U':
    case L'u':
      if (const wchar_t ch = internal::unicodeEscapeChar(s))
        return {TokenKind::Text, internal::kUnicodeEscapeLength, ch};
      break;
  }
  if (isMTextFormatCodeWithValue(c)) return {TokenKind::Code, valueCodeLength(s)};
  // The switches \L \l \O \o \K \k, and codes this library does not know, have no value.
  return {TokenKind::Code, 2};
}

// `s` is not empty.
Token readToken(std::wstring_view s) {
  if (s[0] == L'{' || s[0] == L'}') return {TokenKind::Code, 1};
  if (s[0] != L'\\' || s.size() == 1) return {TokenKind::Text, 1, s[0]};
  return readCode(s);
}

// The text between "\S" and ';'. stackLength guarantees that every backslash in it has a character after.
void appendStack(std::wstring_view body, std::wstring& out) {
  for (size_t i = 0; i < body.size(); ++i) {
    const wchar_t c = body[i];
    if (c == L'\\') {
      out += body[++i];
    } else {
      out += (c == L'#' || c == L'^') ? L'/' : c;
    }
  }
}

}  // namespace

OdString removeFormatting(const OdString& text, bool keepLineBreaks) {
  const std::wstring_view s = text.view();
  std::wstring plain;
  plain.reserve(s.size());
  for (size_t i = 0; i < s.size();) {
    const Token token = readToken(s.substr(i));
    switch (token.kind) {
      case TokenKind::Text:
        plain += token.ch;
        break;
      case TokenKind::LineBreak:
        plain += keepLineBreaks ? L'\n' : L' ';
        break;
      case TokenKind::Stack:
        appendStack(s.substr(i + 2, token.length - 3), plain);
        break;
      case TokenKind::Code:
        break;
    }
    i += token.length;
  }
  return OdString(std::move(plain));
}

bool isFormattingChar(const wchar_t* text) {
  return text && *text && readToken(text).kind == TokenKind::Code;
}

}  // namespace ut
