// The registry store: keys holding named values under five roots, and the registration files
// ("Windows Registry Editor Version 5.00") through which keys travel to and from text.
//
// On POSIX the registry is a hive: an SQLite database per user ($VELTOCAD_REGISTRY_DIR/user.hive, holding
// HKEY_CURRENT_USER, HKEY_CLASSES_ROOT, HKEY_USERS and HKEY_CURRENT_CONFIG) and one per machine
// (machine.hive, HKEY_LOCAL_MACHINE, read-only where not writable). Key and value names compare ignoring
// case and keep their spelling. Every change of several steps (a key copy or delete, an import) is one
// transaction: after a crash the hive holds all of it or none of it.
//
//   ut::Registry key(true);
//   key.create(ut::eCurrentUser, L"Software\\Korvani\\Test");
//   key.write(L"Count", 3L);
//   key.write(L"Name", OdString(L"first"));
//   long count = 0;
//   key.read(L"count", count);                       // true, count == 3: names ignore case
//   key.valueType(L"Name");                          // ut::eRegString
//   ut::Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\Korvani\\Test", L"/tmp/test.reg", true);
//
// Failures answer false and leave the registry as it was; the operations on whole keys and files also
// report them through ut::callAssert with the operation's name ("ut::Registry::exportKey", ...).
//
// Thread safety: a Registry object belongs to one thread at a time. Any number of objects, in any
// number of threads and processes, may use the same hive at once.

#ifndef QX_UT_REGISTRY_H
#define QX_UT_REGISTRY_H

#include "OdArray.h"
#include "OdString.h"

#include <wx/buffer.h>
#include <wx/confbase.h>
#include <wx/string.h>

#include <memory>

namespace ut {

// The five roots, and the prefix each has in a registration file ("HKEY_CURRENT_USER\\", ...).
enum ERootKey {
  eClassesRoot = 0,
  eCurrentUser = 1,
  eLocalMachine = 2,
  eUsers = 3,
  eCurrentConfig = 4,
};

// Value types, numbered as the registry numbers them (REG_SZ is 1, REG_QWORD is 11).
enum ERegType {
  eRegNone = 0,
  eRegString = 1,
  eRegExpandString = 2,
  eRegBinary = 3,
  eRegDword = 4,
  eRegMultiString = 7,
  eRegQword = 11,
};

enum EAccessMode { eRead = 0, eReadWrite = 1 };

// A key created by Registry::createKey, owned by the caller.
class RegKey {
 public:
  RegKey(ERootKey root, const OdString& path) : m_root(root), m_path(path) {}
  ERootKey root() const { return m_root; }
  const OdString& path() const { return m_path; }

 private:
  ERootKey m_root;
  OdString m_path;
};

class Registry {
 public:
  // With `writable`, keys are opened for reading and writing unless open() says otherwise.
  explicit Registry(bool writable = false);
  virtual ~Registry();
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // Creates the key with any missing parents, or opens it, and makes it the open key.
  bool create(ERootKey root, const OdString& path);
  bool open(ERootKey root, const OdString& path, EAccessMode mode);
  // Opens with the access mode chosen at construction.
  bool open(ERootKey root, const OdString& path);
  // Closes the open key; harmless when none is open.
  bool close();

  // A dword, sign-extended as a 32-bit number; a plain or expandable string; binary data of any type.
  bool read(const OdString& name, long& value) const;
  bool read(const OdString& name, OdString& value) const;
  bool read(const OdString& name, wxMemoryBuffer& value) const;
  // A dword (a value outside the 32-bit range is refused), a string, binary data. The empty name is
  // the key's default value.
  bool write(const OdString& name, long value);
  bool write(const OdString& name, const OdString& value);
  bool write(const OdString& name, const wxMemoryBuffer& value);
  bool deleteValue(const OdString& name);
  // eRegNone when there is no such value.
  ERegType valueType(const OdString& name) const;
  bool verifyKey(const OdString& name) const;
  bool verifyValue(const OdString& name) const;
  // Whether the value exists and holds data; with `text`, the data as text (numbers in decimal, binary
  // data as hexadecimal bytes). With `allowEmpty`, an empty string counts as data.
  bool verifyData(const OdString& name, bool allowEmpty, OdString* text) const;

  static bool verifyValue(ERootKey root, const OdString& key, const OdString& value);
  // Creates the key and hands a key object to the caller, who owns it (`key` may be null).
  static bool createKey(ERootKey root, const OdString& path, RegKey** key);
  static bool verifyKey(ERootKey root, const OdString& path);
  // Append the names of the sub-keys, resp. the values, of the key.
  static bool listKeys(ERootKey root, const OdString& path, OdArray<OdString>& names);
  static bool listValues(ERootKey root, const OdString& path, OdArray<OdString>& names);
  // Deletes the key and everything below it.
  static bool deleteKey(ERootKey root, const OdString& path);
  // Copies every value and every sub-key of the key, in one transaction. With `replace`, the target key
  // is emptied first, so that it ends up holding exactly what the source holds; without it, the copy is
  // merged into what the target holds (a value of the same name is overwritten).
  static bool copyKey(ERootKey from, ERootKey to, const OdString& fromPath, const OdString& toPath,
                      bool replace);
  // Writes the key ("HKEY_CURRENT_USER\\Software\\...") with everything below it to a registration file.
  // With `exactTypes`, expandable strings, multi-strings and 64-bit numbers are written in the registry
  // editor's hex(2), hex(7) and hex(b) forms, so that an import gives back every type and byte; without
  // it they are written as plain strings and "[[Unknown type: %d]]".
  static bool exportKey(const OdString& key, const OdString& file, bool exactTypes);
  // Reads a registration file (UTF-16LE with a byte-order mark, or UTF-8) into the registry, in one
  // transaction. Lines that cannot be read are skipped, and reported once with their count and the first
  // one's number. With `replaceKeys`, each key the file names is emptied before its values are written,
  // so that it ends up holding exactly what the file says.
  static bool importKey(const OdString& file, bool replaceKeys);

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// Writes the configuration group `groupPath` ("Profiles/Default/") of `config`, with everything below it,
// to a registration file whose keys lie under HKEY_CURRENT_USER\<rootPath>\<group path>: strings as
// strings, booleans and integers as dwords, floating-point numbers as strings ("%g"), anything else as
// the string "{{Unknown type: N}}". Groups are written depth first, each group's entries before its
// sub-groups. Failures are reported under "ut::exportGroup".
bool exportGroup(wxConfigBase& config, const OdString& rootPath, const OdString& groupPath,
                 const OdString& file);

// A value's text to and from its quoted form in a registration file: "\" becomes "\\", '"' becomes
// "\"", and a line feed becomes CR LF (so that multi-line values stay multi-line in the file).
wxString escape(const wxString& text);
wxString unescape(const wxString& text);

}  // namespace ut

#endif
