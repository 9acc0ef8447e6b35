// What every platform backend of the registry provides to the Registry class. The POSIX backend,
// posix/registry.cpp, keeps the keys in SQLite hives; a Windows backend would map these calls onto
// RegCreateKeyEx, RegQueryValueEx, RegSetValueEx, RegEnumKeyEx, RegDeleteTree and transacted keys.
//
// Names compare ignoring case (ut::internal::compareNoCase) and keep the spelling they were created
// with. Values are raw bytes with their REG_* type, as the registry holds them: a string is UTF-16LE
// with a terminating NUL.
//
// Failures answer false (or nothing) and leave the store as it was; the backend reports what went wrong
// with the store itself (a damaged hive, a full disk) through ut::callAssert, and `error` tells the
// caller why an operation it asked for was refused.
//
// Thread safety: a RegistryKey and a RegistryTransaction are used on the thread that made them; keys
// and transactions of different threads and processes may work on the same store at once.

#ifndef QX_UT_REGISTRY_PLATFORM_H
#define QX_UT_REGISTRY_PLATFORM_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ut::platform {

class Hive;

// The five roots, numbered as the interface's ut::ERootKey numbers them.
enum class RegistryRoot { eClassesRoot, eCurrentUser, eLocalMachine, eUsers, eCurrentConfig };

// The registry's own limits: on names, and on how deep keys nest below their root.
constexpr size_t kMaxKeyNameLength = 255;
constexpr size_t kMaxValueNameLength = 16383;
constexpr size_t kMaxKeyDepth = 512;

struct RegistryValue {
  std::wstring name;
  uint32_t type = 0;
  std::string data;
};

class RegistryKey;

// A key and every key below it, read at once: two queries where opening the keys one by one would
// take one or two per key.
struct RegistryTree {
  struct Node {
    size_t parent = 0;  // index into `nodes`; nodes[0] is the key the tree was read from
    std::wstring name;  // empty for nodes[0]
    std::unique_ptr<RegistryKey> key;
    std::vector<RegistryValue> values;  // in the store's order
  };
  std::vector<Node> nodes;  // parents before their children, siblings in the store's order
};

// An open key.
class RegistryKey {
 public:
  virtual ~RegistryKey() = default;

  virtual bool writable() const = 0;
  virtual std::optional<RegistryValue> readValue(std::wstring_view name) const = 0;
  // Creates or replaces the value; a new value keeps the spelling of `name`.
  virtual bool writeValue(std::wstring_view name, uint32_t type, std::string_view data,
                          std::string& error) = 0;
  virtual bool deleteValue(std::wstring_view name) = 0;
  // Names in the store's order: values in the order they were created, sub-keys by name.
  virtual std::vector<std::wstring> valueNames() const = 0;
  virtual std::vector<RegistryValue> values() const = 0;
  virtual std::vector<std::wstring> subKeyNames() const = 0;
  virtual bool hasSubKey(std::wstring_view name) const = 0;
  // This key and everything below it, with their values, each key open as this one is.
  virtual RegistryTree tree() const = 0;
  // Deletes the sub-key and everything below it.
  virtual bool deleteSubKey(std::wstring_view name) = 0;
  // Opens the sub-key `name` as openRegistryKey opens a path, without walking down from the root.
  virtual std::unique_ptr<RegistryKey> openSubKey(std::wstring_view name, bool write, bool create,
                                                  std::string& error) = 0;
};

// Opens the key at `path` (names joined by "\"; empty components are ignored) under `root`. With
// `create`, missing keys are created (which needs `write`). Null when the key does not exist, the store
// cannot be opened, or a name or the depth breaks the limits (`error` then says which).
std::unique_ptr<RegistryKey> openRegistryKey(RegistryRoot root, std::wstring_view path, bool write,
                                             bool create, std::string& error);

// Makes every change the thread makes to the store of `root` until commit() one atomic change: all of
// it or, after a failure, a crash or a destruction without commit(), none of it. Transactions nest: an
// inner one that ends without commit() takes back its own changes only, and the outer one goes on; only
// the outermost one makes the changes lasting. A transaction that only reads (`write` false) sees the
// store as it was when it began, whatever other processes write meanwhile; a writing one must not nest
// inside it.
class RegistryTransaction {
 public:
  explicit RegistryTransaction(RegistryRoot root, bool write = true);
  ~RegistryTransaction();
  RegistryTransaction(const RegistryTransaction&) = delete;
  RegistryTransaction& operator=(const RegistryTransaction&) = delete;

  // False when the transaction could not start (the store is busy beyond its timeout, or broken).
  bool active() const { return m_active; }
  bool commit();

 private:
  std::shared_ptr<Hive> m_hive;
  bool m_active;
  bool m_done = false;
};

}  // namespace ut::platform

#endif
