// Inside the registry family: the byte forms of values that several of its parts read and write, and
// registration files, the text form in which registry keys travel: reading one into a list of operations,
// and writing keys and values the way the Windows registry editor writes them. Pure text processing;
// applying the operations to a store is the caller's job.
//
//   Writer writer(true);
//   writer.addKey(L"HKEY_CURRENT_USER\\Software\\Korvani");
//   writer.addValue({L"", eRegString, stringValueBytes(L"x")});
//   writer.addValue({L"Count", eRegDword, std::string("\1\0\0\0", 4)});
//   // writer.text():
//   //   Windows Registry Editor Version 5.00
//   //
//   //   [HKEY_CURRENT_USER\Software\Korvani]
//   //   @="x"
//   //   "Count"=dword:00000001
//   //
//   const ReadResult result = read(writer.bytes());
//   // result.operations: select the key, set "" to "x", set "Count" to 1
//
// Everything here keeps no shared state; any function may be called from any thread.

#ifndef QX_UT_REGISTRY_P_H
#define QX_UT_REGISTRY_P_H

#include "platform/registry.h"
#include "ut_registry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ut::internal {

// The platform's name of a root: the same number.
constexpr platform::RegistryRoot platformRoot(ERootKey root) {
  return static_cast<platform::RegistryRoot>(root);
}

// A dword in the registry's little-endian byte order.
inline std::string dwordBytes(uint32_t value) {
  const char bytes[] = {static_cast<char>(value), static_cast<char>(value >> 8),
                        static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
  return std::string(bytes, 4);
}

// The dword a value holds, sign-extended as a 32-bit number; nothing for a value of another type.
inline std::optional<long> dwordValue(const platform::RegistryValue& value) {
  if (value.type != eRegDword || value.data.size() != 4) return std::nullopt;
  uint32_t number = 0;
  for (int i = 3; i >= 0; --i) number = number << 8 | static_cast<unsigned char>(value.data[i]);
  return static_cast<int32_t>(number);
}

// Whether a number fits a dword, read as signed or unsigned.
inline bool fitsDword(long value) { return value >= INT32_MIN && value <= static_cast<long>(UINT32_MAX); }

inline bool isStringValue(const platform::RegistryValue& value) {
  return value.type == eRegString || value.type == eRegExpandString;
}

}  // namespace ut::internal

namespace ut::internal::regfile {

// A value as the registry holds it.
struct Value {
  std::wstring name;  // empty for the key's default value, written "@"
  uint32_t type = eRegNone;
  std::string data;  // the raw bytes; strings are UTF-16LE with their terminator (see ut_utf16.h)

  bool operator==(const Value&) const = default;
};

// The text of a value between its quotes and back: "\" becomes "\\", '"' becomes "\"", a line feed
// becomes CR LF; unescapeText undoes the three in reverse order. unescapeText(escapeText(x)) == x.
[[nodiscard]] std::wstring escapeText(std::wstring_view text);
[[nodiscard]] std::wstring unescapeText(std::wstring_view text);

// A key path split after its root name ("HKEY_CURRENT_USER\\Software" gives eCurrentUser and
// "Software"). The five long root names are recognised, ignoring case; anything else gives nullopt.
struct RootedPath {
  ERootKey root;
  std::wstring_view path;
};
[[nodiscard]] std::optional<RootedPath> splitRoot(std::wstring_view key);
// "HKEY_CURRENT_USER" and its siblings; empty for a value that is none of the five roots.
[[nodiscard]] std::wstring_view rootName(ERootKey root);

// Builds a file in the registry editor's own format: UTF-16LE with a byte-order mark, CR LF line ends,
// the header "Windows Registry Editor Version 5.00" and a blank line, then for each key "[path]", its
// value lines and a blank line. Binary data is wrapped with "\" and a two-space indent once a line has
// grown past 76 characters.
//
// Value lines: strings as "name"="escaped text", dwords as dword:%.8x, binary data as hex: bytes. With
// `exactTypes` every other value is written as hex(type): bytes (REG_EXPAND_SZ as hex(2), REG_QWORD as
// hex(b), ...), and so is a string whose bytes its text would not give back exactly, so that reading the
// file returns every type and byte. Without it an expandable string is written as a plain string and
// any other type as the string "[[Unknown type: N]]". A dword whose data is not four bytes long is
// written as hex(4) either way.
class Writer {
 public:
  explicit Writer(bool exactTypes);

  // Starts a key: `path` is the full path with its root name.
  void addKey(std::wstring_view path);
  // A value of the key added last.
  void addValue(const Value& value);

  // The file as written so far, as text and as the bytes to store.
  [[nodiscard]] std::wstring text() const;
  [[nodiscard]] std::string bytes() const;

 private:
  void addStringLine(const std::wstring& prefix, std::wstring_view text);
  void addHexLines(const std::wstring& prefix, const Value& value);

  bool m_exactTypes;
  std::wstring m_text;
};

// One step of a file, in file order. `line` is the line the statement starts on (the header is line 1).
struct Operation {
  enum Kind { eSelectKey, eDeleteKey, eSetValue, eDeleteValue };

  Kind kind;
  int line;
  std::wstring key;  // eSelectKey, eDeleteKey: the full path as written, without brackets and "-"
  Value value;       // eSetValue: the value; eDeleteValue: its name
};

struct ReadResult {
  // False for an empty file, binary data or a wrong first line; there are then no operations.
  bool isRegistrationFile = false;
  std::vector<Operation> operations;
  // Statements that could not be read and were skipped, and the line the first one starts on (0: none).
  int malformedCount = 0;
  int firstMalformedLine = 0;
};

// Reads a whole file: UTF-16LE with a byte-order mark, or UTF-8 with or without one (invalid sequences
// read as U+FFFD); CR LF or LF line ends. The first line is "Windows Registry Editor Version 5.00" or
// the older "REGEDIT4". Then, line by line (leading and trailing blanks ignored):
//   blank lines and lines starting with ";" are skipped;
//   [path] selects a key and [-path] deletes one; a path must start with a root name (splitRoot);
//   "name"=... or @=... sets a value of the selected key; "name"=- deletes one. Names and string data are
//     quoted and escaped (unescapeText); a quoted text may run over several lines, which join with CR LF.
//     Data is "text" (a string), dword: with 1 to 8 hexadecimal digits, or hex: (binary) or hex(N):
//     (type N, hexadecimal) followed by bytes of 1 or 2 hexadecimal digits parted by commas, blanks
//     allowed around them; a line ending in "\" continues on the next.
// A line that fits none of these, or a value line while no key is selected (before the first key, after
// a deleted or malformed one), is malformed: it is counted and skipped. Linear in the size of the file.
[[nodiscard]] ReadResult read(std::string_view fileBytes);
// The text of a registration file as read() decodes it: UTF-16LE after its byte-order mark, else UTF-8
// (a byte-order mark skipped, a byte that is not UTF-8 taken as the character of its value).
[[nodiscard]] std::wstring decodeText(std::string_view fileBytes);

// Writes the bytes of a registration file; a failure is reported under `operation` with the step that
// failed: "Failed to create file <file>", "Failed to open file <file>" (it exists, but cannot be written)
// or "Failed to write to file <file>".
bool writeFile(const char* operation, const OdString& file, const std::string& bytes);

}  // namespace ut::internal::regfile

#endif
