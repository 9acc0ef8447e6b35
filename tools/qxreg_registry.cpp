// The registry verbs of qxreg. Each command that writes is one transaction of the hive it writes, so
// that a failure leaves the hive as it was.

#include "qxreg_registry.h"

#include "ut_file.h"
#include "ut_filename.h"
#include "ut_registry.h"
#include "ut_registry_config.h"

#include <wx/buffer.h>
#include <wx/filename.h>
#include <wx/strconv.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace qxreg {

namespace {

// --- Keys and values as the command line names them ---

struct RootName {
  const char* name;
  const char* alias;
  ut::ERootKey root;
};

constexpr RootName kRoots[] = {
    {"HKEY_CURRENT_USER", "HKCU", ut::eCurrentUser},     {"HKEY_LOCAL_MACHINE", "HKLM", ut::eLocalMachine},
    {"HKEY_CLASSES_ROOT", "HKCR", ut::eClassesRoot},     {"HKEY_USERS", "HKU", ut::eUsers},
    {"HKEY_CURRENT_CONFIG", "HKCC", ut::eCurrentConfig},
};

struct Key {
  ut::ERootKey root;
  OdString path;  // below the root; empty for the root itself
  wxString name;  // with the root's long name, as registration files and reg query write it

  Key child(const OdString& subKey) const {
    return {root, path.isEmpty() ? subKey : path + L"\\" + subKey, name + "\\" + wx(subKey)};
  }
};

std::optional<Key> parseKey(const wxString& text) {
  const wxString rootName = text.BeforeFirst('\\');
  wxString path = text.AfterFirst('\\');
  while (path.StartsWith("\\")) path.erase(0, 1);
  while (path.EndsWith("\\")) path.RemoveLast();
  for (const RootName& root : kRoots) {
    if (rootName.IsSameAs(root.name, false) || rootName.IsSameAs(root.alias, false)) {
      return Key{root.root, od(path), path.empty() ? wxString(root.name) : root.name + ("\\" + path)};
    }
  }
  complain("not a registry key: \"" + text +
           "\"; a key starts with a root such as HKCU or HKEY_LOCAL_MACHINE");
  return std::nullopt;
}

// What a command is about: the key itself, one value (/v NAME, or /ve for the default value, whose name
// is empty) or all of its values (/va).
struct Selection {
  enum Kind { eKey, eOne, eAll } kind;
  OdString name;
};

std::optional<Selection> parseSelection(const CommandLine& line) {
  if (line.has("v") + line.has("ve") + line.has("va") > 1) {
    complain("/v, /ve and /va exclude each other");
    return std::nullopt;
  }
  if (line.has("va")) return Selection{Selection::eAll, OdString()};
  if (line.has("v") || line.has("ve")) return Selection{Selection::eOne, od(line.value("v"))};
  return Selection{Selection::eKey, OdString()};
}

wxString describe(const Key& key, const Selection& selection) {
  switch (selection.kind) {
    case Selection::eKey:
      return key.name;
    case Selection::eAll:
      return "the values of " + key.name;
    case Selection::eOne:
      break;
  }
  if (selection.name.isEmpty()) return "the default value of " + key.name;
  return "the value \"" + wx(selection.name) + "\" of " + key.name;
}

// --- Data in the registry's byte forms ---

struct TypeName {
  ut::ERegType type;
  const char* name;
};

constexpr TypeName kTypes[] = {
    {ut::eRegString, "REG_SZ"},     {ut::eRegExpandString, "REG_EXPAND_SZ"},
    {ut::eRegDword, "REG_DWORD"},   {ut::eRegQword, "REG_QWORD"},
    {ut::eRegBinary, "REG_BINARY"}, {ut::eRegMultiString, "REG_MULTI_SZ"},
    {ut::eRegNone, "REG_NONE"},
};

wxString typeName(ut::ERegType type) {
  for (const TypeName& known : kTypes) {
    if (known.type == type) return known.name;
  }
  return wxString::Format("REG_UNKNOWN(%d)", static_cast<int>(type));
}

std::optional<ut::ERegType> parseType(const wxString& name) {
  for (const TypeName& known : kTypes) {
    if (name.IsSameAs(known.name, false)) return known.type;
  }
  return std::nullopt;
}

// UTF-16LE with a terminating NUL, as the registry keeps strings.
std::string utf16(const wxString& text) {
  const wxScopedCharBuffer bytes = text.mb_str(wxMBConvUTF16LE());
  return std::string(bytes.data(), bytes.length()) + std::string(2, '\0');
}

// The text of UTF-16LE bytes, NULs included; nothing for bytes that are not UTF-16.
std::optional<wxString> utf16Text(const std::string& bytes) {
  const wxMBConvUTF16LE utf16;
  if (bytes.empty()) return wxString();
  if (utf16.ToWChar(nullptr, 0, bytes.data(), bytes.size()) == wxCONV_FAILED) return std::nullopt;
  return wxString(bytes.data(), utf16, bytes.size());
}

std::string littleEndian(uint64_t value, size_t size) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}

uint64_t fromLittleEndian(const std::string& bytes) {
  uint64_t value = 0;
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte)
    value = value << 8 | static_cast<unsigned char>(*byte);
  return value;
}

// A number of `size` bytes, given in decimal or, after "0x", in hexadecimal; empty data is 0.
std::optional<std::string> numberBytes(const wxString& data, size_t size) {
  const std::string text(data.Lower().utf8_str());
  const bool hex = text.starts_with("0x");
  const std::string_view digits = std::string_view(text).substr(hex ? 2 : 0);
  uint64_t value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
  const bool fits = size == sizeof(value) || value >> 8 * size == 0;
  if (text.empty() || (error == std::errc() && end == digits.data() + digits.size() && fits)) {
    return littleEndian(value, size);
  }
  return std::nullopt;
}

// Bytes written as pairs of hexadecimal digits: "0aff".
std::optional<std::string> hexBytes(const wxString& data) {
  const std::string digits(data.Lower().utf8_str());
  if (digits.size() % 2 != 0 || digits.find_first_not_of("0123456789abcdef") != std::string::npos) {
    return std::nullopt;
  }
  std::string bytes;
  for (size_t i = 0; i < digits.size(); i += 2)
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  return bytes;
}

// Items parted by "\0", as reg add takes them; the list ends with an empty item.
std::string multiStringBytes(wxString data) {
  if (data.empty()) return utf16(data);
  data.Replace("\\0", wxString(wxUniChar(0)));
  return utf16(data + wxUniChar(0));
}

// The bytes of `data` given on the command line as a value of `type`; nothing when it is no such data.
std::optional<std::string> valueBytes(ut::ERegType type, const wxString& data) {
  switch (type) {
    case ut::eRegString:
    case ut::eRegExpandString:
      return utf16(data);
    case ut::eRegMultiString:
      return multiStringBytes(data);
    case ut::eRegDword:
      return numberBytes(data, 4);
    case ut::eRegQword:
      return numberBytes(data, 8);
    default:
      return hexBytes(data);
  }
}

// The items of a list, shown parted by "\0" as reg query shows them.
wxString multiStringText(const wxString& list) {
  wxString shown;
  for (wxString rest = list; !rest.empty() && rest[0] != wxUniChar(0);) {
    const wxString item = rest.BeforeFirst(wxUniChar(0));
    shown += shown.empty() ? item : "\\0" + item;
    rest = rest.AfterFirst(wxUniChar(0));
  }
  return shown;
}

// The data as reg query shows it: text, numbers in hexadecimal, anything else as hexadecimal bytes.
wxString dataText(ut::ERegType type, const std::string& bytes) {
  const bool isText = type == ut::eRegString || type == ut::eRegExpandString || type == ut::eRegMultiString;
  if (const std::optional<wxString> text = isText ? utf16Text(bytes) : std::nullopt) {
    return type == ut::eRegMultiString ? multiStringText(*text) : text->BeforeFirst(wxUniChar(0));
  }
  if ((type == ut::eRegDword && bytes.size() == 4) || (type == ut::eRegQword && bytes.size() == 8)) {
    return wxString::Format("0x%llx", static_cast<unsigned long long>(fromLittleEndian(bytes)));
  }
  wxString hex;
  for (unsigned char byte : bytes) hex += wxString::Format("%02X", byte);
  return hex;
}

// --- Transactions ---

// Makes what a command writes to one hive a single change: kept by commit(), undone when the scope ends
// without it.
class HiveTransaction {
 public:
  explicit HiveTransaction(ut::ERootKey root)
      : m_hive(root, OdString()), m_active(m_hive.beginTransaction()) {}
  ~HiveTransaction() {
    if (m_active) m_hive.rollbackTransaction();
  }
  HiveTransaction(const HiveTransaction&) = delete;
  HiveTransaction& operator=(const HiveTransaction&) = delete;

  bool active() const { return m_active; }
  bool commit() { return std::exchange(m_active, false) && m_hive.commitTransaction(); }

 private:
  ut::RegistryConfig m_hive;
  bool m_active;
};

bool inTransaction(ut::ERootKey root, const std::function<bool()>& change) {
  HiveTransaction transaction(root);
  if (!transaction.active()) return complain("the registry hive cannot be written");
  return change() && transaction.commit();
}

// --- Writing ---

// Registry::write has no call for the other types: a registration file is the one public way to store a
// value with its own type.
bool importValue(const Key& key, const OdString& name, ut::ERegType type, const std::string& bytes) {
  wxString hex;
  for (unsigned char byte : bytes) hex += wxString::Format(hex.empty() ? "%02x" : ",%02x", byte);
  const wxString valueName = name.isEmpty() ? wxString("@") : "\"" + ut::escape(wx(name)) + "\"";
  const wxString text = "Windows Registry Editor Version 5.00\n\n[" + key.name + "]\n" + valueName +
                        wxString::Format("=hex(%x):", static_cast<unsigned>(type)) + hex + "\n";
  const OdString file = ut::FileName::createTempFileName(L"qxreg");
  const bool imported = !file.isEmpty() && ut::writeEntireFile(file, std::string(text.utf8_str())) &&
                        ut::Registry::importKey(file, false);
  if (!file.isEmpty()) ut::removeFile(file);
  return imported;
}

bool writeValue(const Key& key, const OdString& name, ut::ERegType type, const wxString& data,
                const std::string& bytes) {
  ut::Registry opened(true);
  if (!opened.create(key.root, key.path)) return false;
  switch (type) {
    case ut::eRegString:
      return opened.write(name, od(data));
    case ut::eRegDword:
      return opened.write(name, static_cast<long>(fromLittleEndian(bytes)));
    case ut::eRegBinary: {
      wxMemoryBuffer buffer;
      buffer.AppendData(bytes.data(), bytes.size());
      return opened.write(name, buffer);
    }
    default:
      return importValue(key, name, type, bytes);
  }
}

// What reg copy does without /s: the key's values, each with its own type and bytes, and no sub-key.
bool copyValues(const Key& from, const Key& to) {
  OdArray<OdString> names;
  ut::Registry source;
  if (!ut::Registry::listValues(from.root, from.path, names) || !source.open(from.root, from.path, ut::eRead) ||
      !ut::Registry::createKey(to.root, to.path, nullptr)) {
    return false;
  }
  return std::all_of(names.begin(), names.end(), [&](const OdString& name) {
    wxMemoryBuffer data;
    return source.read(name, data) &&
           importValue(to, name, source.valueType(name),
                       std::string(static_cast<const char*>(data.GetData()), data.GetDataLen()));
  });
}

bool deleteValues(const Key& key, const Selection& selection) {
  OdArray<OdString> names;
  if (selection.kind == Selection::eAll)
    ut::Registry::listValues(key.root, key.path, names);
  else
    names.append(selection.name);
  ut::Registry opened;
  return opened.open(key.root, key.path, ut::eReadWrite) &&
         std::all_of(names.begin(), names.end(),
                     [&](const OdString& name) { return opened.deleteValue(name); });
}

// --- Verbs ---

// Prints the key as reg query does: its name and its values (only the value `only` when given), then the
// names of its sub-keys or, when `recursive`, their own listings. Answers the number of values shown.
int queryKey(const Key& key, const std::optional<OdString>& only, bool recursive) {
  ut::Registry opened;
  OdArray<OdString> names;
  OdArray<OdString> subKeys;
  if (!opened.open(key.root, key.path, ut::eRead)) return 0;
  ut::Registry::listValues(key.root, key.path, names);
  ut::Registry::listKeys(key.root, key.path, subKeys);
  std::vector<wxString> lines;
  for (const OdString& name : names) {
    if (only && !wx(name).IsSameAs(wx(*only), false)) continue;
    wxMemoryBuffer data;
    opened.read(name, data);
    const ut::ERegType type = opened.valueType(name);
    const std::string bytes(static_cast<const char*>(data.GetData()), data.GetDataLen());
    lines.push_back("    " + (name.isEmpty() ? wxString("(Default)") : wx(name)) + "    " + typeName(type) +
                    "    " + dataText(type, bytes));
  }
  if (!only || !lines.empty()) {
    print("");
    print(key.name);
    for (const wxString& line : lines) print(line);
  }
  int shown = static_cast<int>(lines.size());
  if (!recursive && !only && !subKeys.isEmpty()) print("");
  for (const OdString& subKey : subKeys) {
    if (recursive)
      shown += queryKey(key.child(subKey), only, true);
    else if (!only)
      print(key.child(subKey).name);
  }
  return shown;
}

int query(const CommandLine& line) {
  const std::optional<Key> key = parseKey(line.args[0]);
  const std::optional<Selection> selection = key ? parseSelection(line) : std::nullopt;
  if (!selection) return 1;
  if (!ut::Registry::verifyKey(key->root, key->path)) return fail("no such key: " + key->name);
  const bool one = selection->kind == Selection::eOne;
  const int shown = queryKey(*key, one ? std::optional(selection->name) : std::nullopt, line.has("s"));
  return one && shown == 0 ? fail("not found: " + describe(*key, *selection)) : 0;
}

int add(const CommandLine& line) {
  const std::optional<Key> key = parseKey(line.args[0]);
  const std::optional<Selection> selection = key ? parseSelection(line) : std::nullopt;
  if (!selection) return 1;
  if (selection->kind == Selection::eKey) {
    if (line.has("t") || line.has("d")) return fail("/t and /d need /v NAME or /ve");
    return ut::Registry::createKey(key->root, key->path, nullptr) ? 0 : fail("cannot create " + key->name);
  }
  const std::optional<ut::ERegType> type = parseType(line.has("t") ? line.value("t") : "REG_SZ");
  if (!type) return fail("unknown type " + line.value("t"));
  const wxString data = line.value("d");
  const std::optional<std::string> bytes = valueBytes(*type, data);
  if (!bytes) return fail("not " + typeName(*type) + " data: \"" + data + "\"");
  const wxString what = describe(*key, *selection);
  if (ut::Registry::verifyValue(key->root, key->path, selection->name) && !line.has("f")) {
    return fail(what + " exists; use /f to overwrite it");
  }
  const bool written =
      inTransaction(key->root, [&] { return writeValue(*key, selection->name, *type, data, *bytes); });
  return written ? 0 : fail("cannot write " + what);
}

int remove(const CommandLine& line) {
  const std::optional<Key> key = parseKey(line.args[0]);
  const std::optional<Selection> selection = key ? parseSelection(line) : std::nullopt;
  if (!selection) return 1;
  const wxString what = describe(*key, *selection);
  if (!ut::Registry::verifyKey(key->root, key->path)) return fail("no such key: " + key->name);
  if (selection->kind == Selection::eOne &&
      !ut::Registry::verifyValue(key->root, key->path, selection->name)) {
    return fail("not found: " + what);
  }
  if (selection->kind == Selection::eKey && key->path.isEmpty()) return fail("a root key cannot be deleted");
  if (!line.has("f")) return fail("nothing deleted: add /f to delete " + what);
  const bool deleted = selection->kind == Selection::eKey
                           ? ut::Registry::deleteKey(key->root, key->path)
                           : inTransaction(key->root, [&] { return deleteValues(*key, *selection); });
  return deleted ? 0 : fail("cannot delete " + what);
}

int copy(const CommandLine& line) {
  const std::optional<Key> from = parseKey(line.args[0]);
  const std::optional<Key> to = from ? parseKey(line.args[1]) : std::nullopt;
  if (!to) return 1;
  if (!ut::Registry::verifyKey(from->root, from->path)) return fail("no such key: " + from->name);
  if (ut::Registry::verifyKey(to->root, to->path) && !line.has("f")) {
    return fail(to->name + " exists; use /f to copy into it");
  }
  const bool copied = line.has("s") ? ut::Registry::copyKey(from->root, to->root, from->path, to->path, false)
                                     : inTransaction(to->root, [&] { return copyValues(*from, *to); });
  return copied ? 0 : fail("cannot copy " + from->name + " to " + to->name);
}

int exportKey(const CommandLine& line) {
  const std::optional<Key> key = parseKey(line.args[0]);
  const wxString& file = line.args[1];
  if (!key) return 1;
  if (!ut::Registry::verifyKey(key->root, key->path)) return fail("no such key: " + key->name);
  if (wxFileName::Exists(file) && !line.has("y")) return fail(file + " exists; use /y to overwrite it");
  return ut::Registry::exportKey(od(key->name), od(file), true) ? 0 : fail("cannot export " + key->name);
}

int importFile(const CommandLine& line) {
  const bool imported = inTransaction(ut::eCurrentUser, [&] {
    // The machine hive joins when it exists and may be written; otherwise an import into it fails anyway.
    std::optional<HiveTransaction> machine;
    if (ut::Registry::verifyKey(ut::eLocalMachine, OdString())) machine.emplace(ut::eLocalMachine);
    return ut::Registry::importKey(od(line.args[0]), false) &&
           (!machine || !machine->active() || machine->commit());
  });
  return imported ? 0 : fail("nothing imported from " + line.args[0]);
}

}  // namespace

std::span<const Verb> registryVerbs() {
  static const Verb verbs[] = {
      {.name = "query",
       .usage = "KEY [/v NAME | /ve] [/s]",
       .help =
           "Prints the values of KEY (name, type, data) and the names of its sub-keys, as reg query does.\n"
           "  /v NAME  only the value NAME\n"
           "  /ve      only the default (unnamed) value\n"
           "  /s       every key below KEY too, each with its values",
       .flags = "ve s",
       .options = "v",
       .minArgs = 1,
       .maxArgs = 1,
       .run = query},
      {.name = "add",
       .usage = "KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/f]",
       .help =
           "Creates KEY with any missing parents or, with /v or /ve, writes a value into it.\n"
           "  /v NAME  the value NAME\n"
           "  /ve      the default (unnamed) value\n"
           "  /t TYPE  REG_SZ (the default), REG_EXPAND_SZ, REG_DWORD, REG_QWORD, REG_BINARY, REG_MULTI_SZ\n"
           "           or REG_NONE\n"
           "  /d DATA  text; a number in decimal or 0x hexadecimal; pairs of hexadecimal digits for\n"
           "           REG_BINARY and REG_NONE (\"0aff\"); items parted by \\0 for REG_MULTI_SZ\n"
           "  /f       overwrite a value that exists",
       .flags = "ve f",
       .options = "v t d",
       .minArgs = 1,
       .maxArgs = 1,
       .run = add},
      {.name = "delete",
       .usage = "KEY [/v NAME | /ve | /va] [/f]",
       .help = "Deletes KEY with everything below it or, with /v, /ve or /va, values of it. There is no\n"
               "prompt: without /f nothing is deleted.\n"
               "  /v NAME  the value NAME\n"
               "  /ve      the default (unnamed) value\n"
               "  /va      every value of KEY; its sub-keys stay\n"
               "  /f       delete",
       .flags = "ve va f",
       .options = "v",
       .minArgs = 1,
       .maxArgs = 1,
       .run = remove},
      {.name = "copy",
       .usage = "KEY1 KEY2 [/s] [/f]",
       .help = "Copies the values of KEY1 into KEY2, which is created.\n"
               "  /s  copy the sub-keys too, with everything below them\n"
               "  /f  copy into a KEY2 that exists, overwriting its values of the same names",
       .flags = "s f",
       .minArgs = 2,
       .maxArgs = 2,
       .run = copy},
      {.name = "export",
       .usage = "KEY FILE [/y]",
       .help =
           "Writes KEY with everything below it to the registration file FILE, keeping every value's type.\n"
           "  /y  overwrite FILE if it exists",
       .flags = "y",
       .minArgs = 2,
       .maxArgs = 2,
       .run = exportKey},
      {.name = "import",
       .usage = "FILE",
       .help = "Reads the registration file FILE into the registry: all of it or, when any part fails or a\n"
               "line cannot be read, none of it.",
       .minArgs = 1,
       .maxArgs = 1,
       .run = importFile},
  };
  return verbs;
}

}  // namespace qxreg
