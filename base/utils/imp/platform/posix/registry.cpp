// POSIX backend of the registry: hives in SQLite databases.
//
// HKEY_LOCAL_MACHINE lives in the machine hive, every other root in the user hive. Each thread has its
// own connection to each hive (SQLite connections must not run transactions for two threads at once);
// WAL mode and a busy timeout let threads and processes share a hive, and BEGIN IMMEDIATE makes a
// writer wait for the others instead of failing half-way. A file that is not a database is reported
// and never written to.

#include "platform/registry.h"

#include "core/ut_identity.h"
#include "platform/posix/files_posix.h"
#include "platform/system.h"
#include "platform/text.h"

#include "core/ut_nocase.h"
#include "core/ut_utf8.h"
#include "ut_assert.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <numeric>
#include <set>
#include <thread>
#include <unordered_map>

namespace ut::platform {

class Hive;

namespace {

constexpr int kBusyTimeoutMs = 30000;
constexpr const char* kOperation = "ut::Registry";

std::string tooDeep() { return "a key more than " + std::to_string(kMaxKeyDepth) + " levels deep"; }

const char* const kSchema = R"(
  CREATE TABLE IF NOT EXISTS keys(
    id INTEGER PRIMARY KEY,
    parent INTEGER REFERENCES keys(id) ON DELETE CASCADE,
    name TEXT NOT NULL,
    folded TEXT NOT NULL);
  CREATE UNIQUE INDEX IF NOT EXISTS keys_by_name ON keys(parent, folded);
  CREATE TABLE IF NOT EXISTS vals(
    id INTEGER PRIMARY KEY,
    key INTEGER NOT NULL REFERENCES keys(id) ON DELETE CASCADE,
    name TEXT NOT NULL,
    folded TEXT NOT NULL,
    type INTEGER NOT NULL,
    data BLOB NOT NULL);
  CREATE UNIQUE INDEX IF NOT EXISTS vals_by_name ON vals(key, folded);
  INSERT OR IGNORE INTO keys(id, parent, name, folded) VALUES
    (1, NULL, 'HKEY_CLASSES_ROOT', 'HKEY_CLASSES_ROOT'),
    (2, NULL, 'HKEY_CURRENT_USER', 'HKEY_CURRENT_USER'),
    (3, NULL, 'HKEY_LOCAL_MACHINE', 'HKEY_LOCAL_MACHINE'),
    (4, NULL, 'HKEY_USERS', 'HKEY_USERS'),
    (5, NULL, 'HKEY_CURRENT_CONFIG', 'HKEY_CURRENT_CONFIG');
)";

int64_t rootKeyId(RegistryRoot root) { return static_cast<int64_t>(root) + 1; }

bool isMachineRoot(RegistryRoot root) { return root == RegistryRoot::eLocalMachine; }

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The hives keep the default company's folder, whatever name the host gives the company: the registry
// is one store whatever keys it holds.
std::string hiveDirectory(bool machine) {
  if (std::string dir = environment("VELTOCAD_REGISTRY_DIR"); !dir.empty()) return dir;
  const OdString company = internal::kDefaultCompany;
  std::string dir = fileNameToNarrow((machine ? machineConfigDir(company) : userConfigDir(company)).view());
  if (dir.ends_with('/')) dir.pop_back();
  return dir;
}

std::string hivePath(RegistryRoot root) {
  const bool machine = isMachineRoot(root);
  return hiveDirectory(machine) + (machine ? "/machine.hive" : "/user.hive");
}

std::string utf8(std::wstring_view text) {
  std::string out;
  return internal::encodeUtf8(text, out) ? out : std::string();
}

std::wstring wide(const unsigned char* text) {
  std::wstring out;
  if (text) (void)internal::decodeUtf8(reinterpret_cast<const char*>(text), out, true);
  return out;
}

// Reports a failure of the store itself once per hive and message, so that a broken hive does not
// flood the host with the same complaint on every call.
void reportOnce(const std::string& path, const std::string& message) {
  static std::mutex mutex;
  static std::set<std::string> reported;
  const std::string text = "Registry hive " + path + ": " + message;
  {
    std::lock_guard lock(mutex);
    if (!reported.insert(text).second) return;
  }
  callAssert(kOperation, text.c_str(), __FILE__, __LINE__);
}

// A prepared statement, reset for reuse when the scope that used it ends. A step that fails for another
// reason than the end of the rows is reported by `onError` (the store's one place for that).
class Statement {
 public:
  Statement(sqlite3_stmt* stmt, std::function<void()> onError)
      : m_stmt(stmt), m_onError(std::move(onError)) {}
  ~Statement() {
    if (m_stmt) {
      sqlite3_reset(m_stmt);
      sqlite3_clear_bindings(m_stmt);
    }
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool valid() const { return m_stmt != nullptr; }
  Statement& bind(int index, int64_t value) {
    sqlite3_bind_int64(m_stmt, index, value);
    return *this;
  }
  // Text and blobs are bound without a copy: they must outlive the steps.
  Statement& bind(int index, const std::string& text) {
    sqlite3_bind_text(m_stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    return *this;
  }
  Statement& bind(int index, std::string&& text) = delete;
  Statement& bindBlob(int index, std::string_view data) {
    sqlite3_bind_blob(m_stmt, index, data.data(), static_cast<int>(data.size()), SQLITE_STATIC);
    return *this;
  }
  // SQLITE_ROW, SQLITE_DONE or an error code.
  int step() {
    const int rc = m_stmt ? sqlite3_step(m_stmt) : SQLITE_MISUSE;
    if (rc != SQLITE_ROW && rc != SQLITE_DONE && m_onError) m_onError();
    return rc;
  }
  int64_t integer(int column) const { return sqlite3_column_int64(m_stmt, column); }
  std::wstring text(int column) const { return wide(sqlite3_column_text(m_stmt, column)); }
  std::string blob(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(m_stmt, column));
    return data ? std::string(data, sqlite3_column_bytes(m_stmt, column)) : std::string();
  }

 private:
  sqlite3_stmt* m_stmt;
  std::function<void()> m_onError;
};

}  // namespace

// One connection to one hive file, owned by one thread: the store of one or more roots.
class Hive {
 public:
  Hive(std::string path, sqlite3* db, bool writable)
      : m_path(std::move(path)), m_db(db), m_writable(writable) {}
  ~Hive() {
    for (auto& [sql, stmt] : m_statements) sqlite3_finalize(stmt);
    sqlite3_close(m_db);
  }
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

  // The connection of this thread to the hive of `root`; null when the hive cannot be used (then it
  // was reported, or it does not exist and `write` was not asked for).
  static std::shared_ptr<Hive> forRoot(RegistryRoot root, bool write);

  bool writable() const { return m_writable; }

  // The statement for `sql`, prepared once per connection. `sql` must be a string literal: the cache
  // knows statements by their address.
  Statement statement(const char* sql) {
    return Statement(prepared(sql), [this] { fail("a query failed"); });
  }

  // Runs a statement that returns no rows; false (reported) on failure.
  bool run(Statement&& statement) { return statement.step() == SQLITE_DONE; }

  bool fail(const char* what) {
    reportOnce(m_path, std::string(what) + ": " + sqlite3_errmsg(m_db));
    return false;
  }

  // Transactions nest as savepoints, so that an inner one that fails takes back its own changes only.
  bool begin(bool write);
  bool end(bool commit);
  int changes() const { return sqlite3_changes(m_db); }

 private:
  sqlite3_stmt* prepared(const char* sql) {
    sqlite3_stmt*& stmt = m_statements[sql];
    if (!stmt && sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK) {
      fail("cannot prepare a statement");
      stmt = nullptr;
    }
    return stmt;
  }

  // Runs a statement that begins or ends a transaction or savepoint; the caller tells what failed.
  bool exec(const char* sql) {
    sqlite3_stmt* stmt = prepared(sql);
    const bool done = stmt && sqlite3_step(stmt) == SQLITE_DONE;
    if (stmt) sqlite3_reset(stmt);
    return done;
  }

  std::string m_path;
  sqlite3* m_db;
  bool m_writable;
  int m_depth = 0;
  std::unordered_map<const char*, sqlite3_stmt*> m_statements;
};

bool Hive::begin(bool write) {
  const char* start = m_depth > 0 ? "SAVEPOINT nested" : write ? "BEGIN IMMEDIATE" : "BEGIN";
  if (!exec(start)) return fail("cannot start a transaction");
  ++m_depth;
  return true;
}

bool Hive::end(bool commit) {
  if (m_depth == 0) return false;
  if (--m_depth > 0) {
    if (commit && exec("RELEASE nested")) return true;
    exec("ROLLBACK TO nested");
    exec("RELEASE nested");
    return false;
  }
  if (commit && exec("COMMIT")) return true;
  if (commit) fail("cannot commit");
  exec("ROLLBACK");
  return false;
}

namespace {

// Runs `sql`, again while another connection holds a lock it needs. Threads or processes that open a
// new hive at once meet where SQLite answers "busy" without waiting (switching the journal to WAL while
// another sets the tables up); every statement of the set-up may run twice.
bool execWaiting(sqlite3* db, const char* sql) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyTimeoutMs);
  for (;;) {
    const int rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    if ((rc & 0xFF) != SQLITE_BUSY || std::chrono::steady_clock::now() > deadline) return rc == SQLITE_OK;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// Opens (creating with `create`) the database and sets it up; null, reported, when the file is not a
// database. The file is left exactly as it was found then.
std::shared_ptr<Hive> openHive(const std::string& path, bool create) {
  sqlite3* db = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0) | SQLITE_OPEN_NOMUTEX;
  bool writable = sqlite3_open_v2(path.c_str(), &db, flags, nullptr) == SQLITE_OK;
  if (!writable) {
    sqlite3_close(db);
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) !=
        SQLITE_OK) {
      sqlite3_close(db);
      return nullptr;
    }
  }
  auto hive = std::make_shared<Hive>(path, db, writable);
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  sqlite3_extended_result_codes(db, 1);
  const char* setup = writable ? "PRAGMA foreign_keys=ON; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
                               : "PRAGMA foreign_keys=ON; SELECT count(*) FROM keys;";
  if (!execWaiting(db, setup) || (writable && !execWaiting(db, kSchema))) {
    hive->fail("not a registry hive, or damaged; left as it is");
    return nullptr;
  }
  return hive;
}

}  // namespace

std::shared_ptr<Hive> Hive::forRoot(RegistryRoot root, bool write) {
  // Keys hold their store, so a store reopened for writing leaves the older connection to them.
  thread_local std::map<std::string, std::shared_ptr<Hive>> hives;
  const std::string path = hivePath(root);
  std::shared_ptr<Hive>& hive = hives[path];
  if (hive && (hive->writable() || !write)) return hive;
  const bool create = write || !isMachineRoot(root);
  if (create) {
    // The user's hive is the user's own, as HKEY_CURRENT_USER is; the machine's is readable by everyone.
    // SQLite gives the log files of a database the database's mode.
    const Sharing sharing = isMachineRoot(root) ? Sharing::eReadableByAll : Sharing::eOwnerOnly;
    posix::makeDirectories(std::filesystem::path(path).parent_path().string(), sharing);
    posix::createFile(path, sharing);
  }
  if (create || access(path.c_str(), F_OK) == 0) {
    if (auto opened = openHive(path, create)) hive = std::move(opened);
  }
  return hive && (hive->writable() || !write) ? hive : nullptr;
}

namespace {

// The id of the child key `folded` under `parent`, or 0.
int64_t findChild(Hive& hive, int64_t parent, const std::string& folded) {
  Statement find = hive.statement("SELECT id FROM keys WHERE parent = ?1 AND folded = ?2");
  find.bind(1, parent).bind(2, folded);
  return find.step() == SQLITE_ROW ? find.integer(0) : 0;
}

int64_t createChild(Hive& hive, int64_t parent, const std::string& name, const std::string& folded) {
  Statement insert = hive.statement("INSERT INTO keys(parent, name, folded) VALUES (?1, ?2, ?3)");
  insert.bind(1, parent).bind(2, name).bind(3, folded);
  return hive.run(std::move(insert)) ? findChild(hive, parent, folded) : 0;
}

std::vector<std::wstring_view> pathNames(std::wstring_view path) {
  std::vector<std::wstring_view> names;
  for (size_t start = 0; start <= path.size();) {
    const size_t end = std::min(path.find(L'\\', start), path.size());
    if (end > start) names.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return names;
}

// The name's UTF-8 form in `encoded`; false, with the reason in `error`, for a name that breaks the
// limits or is not Unicode text.
bool encodeName(std::wstring_view name, size_t maxLength, const char* kind, std::string& encoded,
                std::string& error) {
  if (name.size() > maxLength) {
    error = std::string(kind) + " longer than " + std::to_string(maxLength) + " characters";
  } else if (!internal::encodeUtf8(name, encoded)) {
    error = std::string(kind) + " holding a character that is not Unicode text";
  }
  return error.empty();
}

// `depth`: how many keys down from the root (0 for a root itself).
class HiveKey final : public RegistryKey {
 public:
  HiveKey(std::shared_ptr<Hive> store, int64_t id, size_t depth, bool write)
      : m_store(std::move(store)), m_hive(*m_store), m_id(id), m_depth(depth), m_write(write) {}

  bool writable() const override { return m_write; }

  std::optional<RegistryValue> readValue(std::wstring_view name) const override {
    const std::string key = folded(name);
    Statement read = m_hive.statement("SELECT name, type, data FROM vals WHERE key = ?1 AND folded = ?2");
    read.bind(1, m_id).bind(2, key);
    if (read.step() != SQLITE_ROW) return std::nullopt;
    return RegistryValue{read.text(0), static_cast<uint32_t>(read.integer(1)), read.blob(2)};
  }

  // Most writes replace a value, and an update costs SQLite less than an insert that meets the value
  // already there; the insert, which still updates on a conflict, follows only when nothing was updated.
  bool writeValue(std::wstring_view name, uint32_t type, std::string_view data, std::string& error) override {
    if (!m_write) {
      error = "the key is open for reading only";
      return false;
    }
    std::string key;
    if (!encodeName(internal::foldCase(name), kMaxValueNameLength, "a value name", key, error)) return false;
    Statement update =
        m_hive.statement("UPDATE vals SET type = ?3, data = ?4 WHERE key = ?1 AND folded = ?2");
    update.bind(1, m_id).bind(2, key).bind(3, type).bindBlob(4, data);
    if (!m_hive.run(std::move(update))) return false;
    if (changes() > 0) return true;
    Statement write = m_hive.statement(
        "INSERT INTO vals(key, name, folded, type, data) VALUES (?1, ?2, ?3, ?4, ?5) "
        "ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data");
    const std::string spelled = utf8(name);
    write.bind(1, m_id).bind(2, spelled).bind(3, key).bind(4, type).bindBlob(5, data);
    return m_hive.run(std::move(write));
  }

  bool deleteValue(std::wstring_view name) override {
    return deleteNamed("DELETE FROM vals WHERE key = ?1 AND folded = ?2", name);
  }

  std::vector<std::wstring> valueNames() const override {
    return names(m_hive.statement("SELECT name FROM vals WHERE key = ?1 ORDER BY id"));
  }

  std::vector<RegistryValue> values() const override { return valuesOf(m_id); }

  std::vector<std::wstring> subKeyNames() const override {
    return names(m_hive.statement("SELECT name FROM keys WHERE parent = ?1 ORDER BY folded"));
  }

  bool hasSubKey(std::wstring_view name) const override { return findChild(m_hive, m_id, folded(name)) != 0; }

  // The keys key by key, with statements prepared once: cheaper in SQLite than one recursive query.
  // The values likewise, unless the tree holds most keys of the hive: then one pass over the table
  // costs less than looking each key's values up through the index.
  RegistryTree tree() const override {
    RegistryTree tree;
    std::vector<int64_t> ids{m_id};
    std::vector<size_t> depths{m_depth};
    tree.nodes.push_back({0, {}, std::make_unique<HiveKey>(m_store, m_id, m_depth, m_write), {}});
    for (size_t i = 0; i < tree.nodes.size(); ++i) {
      Statement children = m_hive.statement("SELECT id, name FROM keys WHERE parent = ?1 ORDER BY folded");
      children.bind(1, ids[i]);
      while (depths[i] < kMaxKeyDepth && children.step() == SQLITE_ROW) {
        ids.push_back(children.integer(0));
        depths.push_back(depths[i] + 1);
        tree.nodes.push_back({i,
                              children.text(1),
                              std::make_unique<HiveKey>(m_store, ids.back(), depths.back(), m_write),
                              {}});
      }
    }
    if (ids.size() * 2 > highestKeyId()) {
      scanValues(tree, ids);
    } else {
      for (size_t i = 0; i < ids.size(); ++i) tree.nodes[i].values = valuesOf(ids[i]);
    }
    return tree;
  }

  std::unique_ptr<RegistryKey> openSubKey(std::wstring_view name, bool write, bool create,
                                          std::string& error) override {
    std::string key;
    if (!encodeName(internal::foldCase(name), kMaxKeyNameLength, "a key name", key, error)) return nullptr;
    if (m_depth >= kMaxKeyDepth) {
      error = tooDeep();
      return nullptr;
    }
    if ((write || create) && !m_hive.writable()) {
      error = "the registry hive cannot be written";
      return nullptr;
    }
    int64_t child = findChild(m_hive, m_id, key);
    if (!child && create) child = createChild(m_hive, m_id, utf8(name), key);
    return child ? std::make_unique<HiveKey>(m_store, child, m_depth + 1, write || create) : nullptr;
  }

  bool deleteSubKey(std::wstring_view name) override {
    return deleteNamed("DELETE FROM keys WHERE parent = ?1 AND folded = ?2", name);
  }

 private:
  static std::string folded(std::wstring_view name) { return utf8(internal::foldCase(name)); }

  std::vector<std::wstring> names(Statement&& query) const {
    query.bind(1, m_id);
    std::vector<std::wstring> result;
    while (query.step() == SQLITE_ROW) result.push_back(query.text(0));
    return result;
  }

  int changes() const { return m_hive.changes(); }

  // Runs `sql`, a deletion of the row of this key named `name`; whether there was one.
  bool deleteNamed(const char* sql, std::wstring_view name) {
    if (!m_write) return false;
    const std::string key = folded(name);
    Statement remove = m_hive.statement(sql);
    remove.bind(1, m_id).bind(2, key);
    return m_hive.run(std::move(remove)) && changes() > 0;
  }

  // How many keys the hive has had at most; as many as it has, unless keys were deleted.
  size_t highestKeyId() const {
    Statement highest = m_hive.statement("SELECT max(id) FROM keys");
    return highest.step() == SQLITE_ROW ? static_cast<size_t>(highest.integer(0)) : 0;
  }

  // The values of the keys `ids` (those of `tree.nodes`, index for index) in one pass over every value
  // of the hive, which the table holds in the order they were created. They are gathered first and
  // handed out after, so that each key's list is allocated once, at its size: growing a thousand lists
  // step by step costs more than the pass itself.
  void scanValues(RegistryTree& tree, const std::vector<int64_t>& ids) const {
    std::unordered_map<int64_t, size_t> nodeOf(ids.size());
    for (size_t i = 0; i < ids.size(); ++i) nodeOf.emplace(ids[i], i);
    std::vector<std::pair<size_t, RegistryValue>> found;
    std::vector<size_t> counts(ids.size());
    Statement all = m_hive.statement("SELECT key, name, type, data FROM vals ORDER BY id");
    while (all.step() == SQLITE_ROW) {
      const auto node = nodeOf.find(all.integer(0));
      if (node == nodeOf.end()) continue;
      ++counts[node->second];
      found.emplace_back(node->second,
                         RegistryValue{all.text(1), static_cast<uint32_t>(all.integer(2)), all.blob(3)});
    }
    for (size_t i = 0; i < ids.size(); ++i) tree.nodes[i].values.reserve(counts[i]);
    for (auto& [node, value] : found) tree.nodes[node].values.push_back(std::move(value));
  }

  // The values of the key `id`, in the order they were created. They come in the order of the index by
  // name and are sorted here: asking SQLite for the order would cost a temporary table per key.
  std::vector<RegistryValue> valuesOf(int64_t id) const {
    Statement all = m_hive.statement("SELECT id, name, type, data FROM vals WHERE key = ?1");
    all.bind(1, id);
    std::vector<RegistryValue> values;
    std::vector<int64_t> ids;
    while (all.step() == SQLITE_ROW) {
      ids.push_back(all.integer(0));
      values.push_back({all.text(1), static_cast<uint32_t>(all.integer(2)), all.blob(3)});
    }
    if (std::is_sorted(ids.begin(), ids.end())) return values;
    std::vector<size_t> order(ids.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&ids](size_t a, size_t b) { return ids[a] < ids[b]; });
    std::vector<RegistryValue> sorted;
    sorted.reserve(values.size());
    for (const size_t i : order) sorted.push_back(std::move(values[i]));
    return sorted;
  }

  std::shared_ptr<Hive> m_store;
  Hive& m_hive;
  int64_t m_id;
  size_t m_depth;
  bool m_write;
};

}  // namespace

std::unique_ptr<RegistryKey> openRegistryKey(RegistryRoot root, std::wstring_view path, bool write,
                                             bool create, std::string& error) {
  if (root < RegistryRoot::eClassesRoot || root > RegistryRoot::eCurrentConfig) {
    error = "no such root key";
    return nullptr;
  }
  const std::vector<std::wstring_view> names = pathNames(path);
  if (names.size() > kMaxKeyDepth) {
    error = tooDeep();
    return nullptr;
  }
  const std::shared_ptr<Hive> hive = Hive::forRoot(root, write || create);
  if (!hive) {
    if (write || create) error = "the registry hive cannot be written";
    return nullptr;
  }
  std::optional<RegistryTransaction> transaction;
  if (create) transaction.emplace(root);
  std::unique_ptr<RegistryKey> key = std::make_unique<HiveKey>(hive, rootKeyId(root), 0, write || create);
  for (std::wstring_view name : names) {
    key = key->openSubKey(name, write, create, error);
    if (!key) return nullptr;
  }
  if (transaction && !transaction->commit()) return nullptr;
  return key;
}

RegistryTransaction::RegistryTransaction(RegistryRoot root, bool write) : m_hive(Hive::forRoot(root, write)) {
  m_active = m_hive && m_hive->begin(write);
}

RegistryTransaction::~RegistryTransaction() {
  if (m_active && !m_done) m_hive->end(false);
}

bool RegistryTransaction::commit() {
  if (!m_active || m_done) return false;
  m_done = true;
  return m_hive->end(true);
}

}  // namespace ut::platform
