#include "config/ut_registry_p.h"

#include "core/ut_nocase.h"
#include "text/ut_string_p.h"
#include "core/ut_utf16.h"
#include "core/ut_utf8.h"

#include <algorithm>
#include <array>

namespace ut::internal::regfile {

namespace {

constexpr std::wstring_view kHeader = L"Windows Registry Editor Version 5.00";
constexpr std::wstring_view kOldHeader = L"REGEDIT4";
constexpr std::wstring_view kLineEnd = L"\r\n";
constexpr size_t kWrapColumn = 76;

// Indexed by ERootKey.
constexpr std::array<std::wstring_view, 5> kRootNames = {
    L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE", L"HKEY_USERS", L"HKEY_CURRENT_CONFIG",
};

std::wstring replaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to) {
  std::wstring out;
  out.reserve(text.size());
  for (size_t pos = 0;;) {
    const size_t hit = text.find(from, pos);
    out.append(text.substr(pos, hit - pos));
    if (hit == std::wstring_view::npos) return out;
    out.append(to);
    pos = hit + from.size();
  }
}

bool startsWithNoCase(std::wstring_view s, std::wstring_view prefix) {
  return s.size() >= prefix.size() && equalNoCase(s.substr(0, prefix.size()), prefix);
}

bool isBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

std::wstring_view trimLeadingBlanks(std::wstring_view s) {
  while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
  return s;
}

std::wstring_view trimTrailingBlanks(std::wstring_view s) {
  while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
  return s;
}

// --- Writing -------------------------------------------------------------------------------------------

enum class Form { eString, eDword, eHex, eUnknown };

bool isExactString(const std::string& data) { return stringValueBytes(stringFromValueBytes(data)) == data; }

Form formOf(const Value& value, bool exactTypes) {
  if (value.type == eRegDword) return value.data.size() == 4 ? Form::eDword : Form::eHex;
  if (value.type == eRegBinary) return Form::eHex;
  if (exactTypes) return value.type == eRegString && isExactString(value.data) ? Form::eString : Form::eHex;
  return value.type == eRegString || value.type == eRegExpandString ? Form::eString : Form::eUnknown;
}

// Lower-case hexadecimal digits, at least `width` of them.
void appendHex(std::wstring& out, uint32_t value, int width) {
  int digits = 1;
  while (digits < 8 && value >> (4 * digits) != 0) ++digits;
  for (int i = std::max(digits, width) - 1; i >= 0; --i) out += L"0123456789abcdef"[(value >> (4 * i)) & 0xF];
}

uint32_t littleEndian32(std::string_view bytes) {
  uint32_t value = 0;
  for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

std::wstring quotedName(const std::wstring& name) {
  return name.empty() ? std::wstring(L"@") : L"\"" + escapeText(name) + L"\"";
}

// --- Reading -------------------------------------------------------------------------------------------

// The lines of a text, without their ends (LF or CR LF).
class LineSource {
 public:
  explicit LineSource(std::wstring_view text) : m_text(text) {}

  [[nodiscard]] bool atEnd() const { return m_pos >= m_text.size(); }
  // The number of the line next() returns next, counting from 1.
  [[nodiscard]] int nextLineNumber() const { return m_count + 1; }

  std::wstring_view next() {
    const size_t end = std::min(m_text.find(L'\n', m_pos), m_text.size());
    std::wstring_view line = m_text.substr(m_pos, end - m_pos);
    m_pos = end + 1;
    ++m_count;
    if (line.ends_with(L'\r')) line.remove_suffix(1);
    return line;
  }

 private:
  std::wstring_view m_text;
  size_t m_pos = 0;
  int m_count = 0;
};

// Whether a quoted text is open after `chunk`, given whether one was open before it. Inside quotes a
// backslash escapes the character after it.
bool scanQuotes(std::wstring_view chunk, bool inQuotes) {
  for (size_t i = 0; i < chunk.size(); ++i) {
    if (chunk[i] == L'"')
      inQuotes = !inQuotes;
    else if (inQuotes && chunk[i] == L'\\')
      ++i;
  }
  return inQuotes;
}

// The next statement without its leading and trailing blanks: one line, or for a value line also the
// lines an open quoted text runs over (joined with CR LF) and those a "\" at a line's end continues
// (joined without the "\" and the indent). Each line is scanned once, so reading stays linear.
std::wstring nextStatement(LineSource& lines) {
  std::wstring statement(trimLeadingBlanks(lines.next()));
  if (!statement.starts_with(L'"') && !statement.starts_with(L'@'))
    return std::wstring(trimTrailingBlanks(statement));
  bool inQuotes = scanQuotes(statement, false);
  for (;;) {
    if (!inQuotes) statement.resize(trimTrailingBlanks(statement).size());
    if (lines.atEnd()) return statement;
    std::wstring_view line;
    if (inQuotes) {
      statement += kLineEnd;
      line = lines.next();
    } else if (statement.ends_with(L'\\')) {
      statement.pop_back();
      line = trimLeadingBlanks(lines.next());
    } else {
      return statement;
    }
    inQuotes = scanQuotes(line, inQuotes);
    statement += line;
  }
}

// The raw text between the quote at s[pos] and its closing quote; pos moves past the closing quote.
std::optional<std::wstring_view> quotedAt(std::wstring_view s, size_t& pos) {
  if (pos >= s.size() || s[pos] != L'"') return std::nullopt;
  for (size_t i = pos + 1; i < s.size(); ++i) {
    if (s[i] == L'\\') {
      ++i;
    } else if (s[i] == L'"') {
      const std::wstring_view raw = s.substr(pos + 1, i - pos - 1);
      pos = i + 1;
      return raw;
    }
  }
  return std::nullopt;
}

void skipBlanks(std::wstring_view s, size_t& pos) {
  while (pos < s.size() && isBlank(s[pos])) ++pos;
}

// Up to `maxDigits` hexadecimal digits at s[pos]; pos moves past them. Nullopt when there is none.
std::optional<uint32_t> hexAt(std::wstring_view s, size_t& pos, size_t maxDigits) {
  const size_t start = pos;
  uint32_t value = 0;
  for (; pos < s.size() && pos - start < maxDigits; ++pos) {
    const int digit = hexDigitValue(s[pos]);
    if (digit < 0) break;
    value = value << 4 | static_cast<uint32_t>(digit);
  }
  if (pos == start) return std::nullopt;
  return value;
}

std::optional<Value> stringData(std::wstring_view data) {
  size_t pos = 0;
  const std::optional<std::wstring_view> raw = quotedAt(data, pos);
  if (!raw || pos != data.size()) return std::nullopt;
  return Value{{}, eRegString, stringValueBytes(unescapeText(*raw))};
}

std::optional<Value> dwordData(std::wstring_view digits) {
  size_t pos = 0;
  const std::optional<uint32_t> number = hexAt(digits, pos, 8);
  if (!number || pos != digits.size()) return std::nullopt;
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(*number >> shift & 0xFF);
  return Value{{}, eRegDword, bytes};
}

// Bytes of one or two digits parted by commas, blanks around them; a comma may end the list.
std::optional<Value> bytesData(uint32_t type, std::wstring_view list) {
  Value value{{}, type, {}};
  size_t pos = 0;
  skipBlanks(list, pos);
  while (pos < list.size()) {
    const std::optional<uint32_t> byte = hexAt(list, pos, 2);
    if (!byte) return std::nullopt;
    value.data += static_cast<char>(*byte);
    skipBlanks(list, pos);
    if (pos == list.size()) break;
    if (list[pos] != L',') return std::nullopt;
    skipBlanks(list, ++pos);
  }
  return value;
}

std::optional<Value> typedData(std::wstring_view data) {
  if (data.starts_with(L'"')) return stringData(data);
  if (startsWithNoCase(data, L"dword:")) return dwordData(data.substr(6));
  if (startsWithNoCase(data, L"hex:")) return bytesData(eRegBinary, data.substr(4));
  if (!startsWithNoCase(data, L"hex(")) return std::nullopt;
  size_t pos = 4;
  const std::optional<uint32_t> type = hexAt(data, pos, 8);
  if (!type || data.substr(pos, 2) != L"):") return std::nullopt;
  return bytesData(*type, data.substr(pos + 2));
}

class Reader {
 public:
  void statement(std::wstring_view s, int line) {
    if (s.empty() || s.front() == L';') return;
    if (s.front() == L'[') return keyLine(s, line);
    if (!m_keySelected || !valueLine(s, line)) malformed(line);
  }

  ReadResult result() && { return std::move(m_result); }

 private:
  void keyLine(std::wstring_view s, int line) {
    std::wstring_view path = s.substr(1, s.size() - 1);
    const bool deletion = path.starts_with(L'-');
    if (deletion) path.remove_prefix(1);
    m_keySelected = path.ends_with(L']') && splitRoot(path.substr(0, path.size() - 1)).has_value();
    if (!m_keySelected) return malformed(line);
    path.remove_suffix(1);
    add({deletion ? Operation::eDeleteKey : Operation::eSelectKey, line, std::wstring(path), {}});
    m_keySelected = !deletion;
  }

  bool valueLine(std::wstring_view s, int line) {
    size_t pos = 0;
    Value value;
    if (s.front() == L'@') {
      pos = 1;
    } else if (const std::optional<std::wstring_view> raw = quotedAt(s, pos)) {
      value.name = unescapeText(*raw);
    } else {
      return false;
    }
    skipBlanks(s, pos);
    if (pos == s.size() || s[pos] != L'=') return false;
    skipBlanks(s, ++pos);
    const std::wstring_view data = s.substr(pos);
    if (data == L"-") {
      add({Operation::eDeleteValue, line, {}, std::move(value)});
      return true;
    }
    std::optional<Value> typed = typedData(data);
    if (!typed) return false;
    typed->name = std::move(value.name);
    add({Operation::eSetValue, line, {}, std::move(*typed)});
    return true;
  }

  void add(Operation operation) { m_result.operations.push_back(std::move(operation)); }

  void malformed(int line) {
    if (m_result.malformedCount++ == 0) m_result.firstMalformedLine = line;
  }

  ReadResult m_result{true, {}, 0, 0};
  bool m_keySelected = false;
};

}  // namespace

std::wstring escapeText(std::wstring_view text) {
  return replaceAll(replaceAll(replaceAll(text, L"\\", L"\\\\"), L"\"", L"\\\""), L"\n", L"\r\n");
}

std::wstring unescapeText(std::wstring_view text) {
  return replaceAll(replaceAll(replaceAll(text, L"\r\n", L"\n"), L"\\\"", L"\""), L"\\\\", L"\\");
}

std::optional<RootedPath> splitRoot(std::wstring_view key) {
  for (size_t root = 0; root < kRootNames.size(); ++root) {
    const std::wstring_view name = kRootNames[root];
    if (!startsWithNoCase(key, name)) continue;
    const std::wstring_view rest = key.substr(name.size());
    if (rest.empty() || rest.front() == L'\\')
      return RootedPath{static_cast<ERootKey>(root), rest.substr(rest.empty() ? 0 : 1)};
  }
  return std::nullopt;
}

std::wstring_view rootName(ERootKey root) {
  const auto index = static_cast<size_t>(root);
  return index < kRootNames.size() ? kRootNames[index] : std::wstring_view();
}

Writer::Writer(bool exactTypes) : m_exactTypes(exactTypes), m_text(kHeader) { m_text += kLineEnd; }

void Writer::addKey(std::wstring_view path) {
  m_text.append(kLineEnd).append(L"[").append(path).append(L"]").append(kLineEnd);
}

void Writer::addValue(const Value& value) {
  const std::wstring prefix = quotedName(value.name) + L"=";
  switch (formOf(value, m_exactTypes)) {
    case Form::eString:
      return addStringLine(prefix, stringFromValueBytes(value.data));
    case Form::eDword:
      m_text.append(prefix).append(L"dword:");
      appendHex(m_text, littleEndian32(value.data), 8);
      m_text.append(kLineEnd);
      return;
    case Form::eHex:
      return addHexLines(prefix, value);
    case Form::eUnknown:
      return addStringLine(prefix, L"[[Unknown type: " + std::to_wstring(value.type) + L"]]");
  }
}

void Writer::addStringLine(const std::wstring& prefix, std::wstring_view text) {
  m_text.append(prefix).append(L"\"").append(escapeText(text)).append(L"\"").append(kLineEnd);
}

void Writer::addHexLines(const std::wstring& prefix, const Value& value) {
  m_text.append(prefix).append(L"hex");
  if (value.type != eRegBinary) {
    m_text += L'(';
    appendHex(m_text, value.type, 1);
    m_text += L')';
  }
  m_text += L':';
  // A name holding a line break spans lines itself; only the last of them counts.
  size_t lineStart = m_text.rfind(L'\n') + 1;
  for (size_t i = 0; i < value.data.size(); ++i) {
    appendHex(m_text, static_cast<unsigned char>(value.data[i]), 2);
    if (i + 1 == value.data.size()) break;
    m_text += L',';
    if (m_text.size() - lineStart > kWrapColumn) {
      m_text.append(L"\\").append(kLineEnd);
      lineStart = m_text.size();
      m_text.append(L"  ");
    }
  }
  m_text.append(kLineEnd);
}

std::wstring Writer::text() const { return m_text + std::wstring(kLineEnd); }

std::string Writer::bytes() const { return "\xFF\xFE" + toUtf16le(text()); }

std::wstring decodeText(std::string_view fileBytes) {
  if (fileBytes.starts_with("\xFF\xFE")) return fromUtf16le(fileBytes.substr(2));
  if (fileBytes.starts_with("\xEF\xBB\xBF")) fileBytes.remove_prefix(3);
  std::wstring text;
  (void)decodeUtf8(fileBytes, text, true);
  return text;
}

ReadResult read(std::string_view fileBytes) {
  const std::wstring text = decodeText(fileBytes);
  LineSource lines(text);
  if (lines.atEnd()) return {};
  const std::wstring_view header = trimTrailingBlanks(lines.next());
  if (header != kHeader && header != kOldHeader) return {};
  Reader reader;
  while (!lines.atEnd()) {
    const int line = lines.nextLineNumber();
    reader.statement(nextStatement(lines), line);
  }
  return std::move(reader).result();
}

}  // namespace ut::internal::regfile

namespace ut {

wxString escape(const wxString& text) { return internal::regfile::escapeText(text.ToStdWstring()); }

wxString unescape(const wxString& text) { return internal::regfile::unescapeText(text.ToStdWstring()); }

}  // namespace ut
