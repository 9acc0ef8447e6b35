// The configuration store on a tree of 10,000 values in 1,000 keys, in one run: loading it from the hive,
// saving 1,000 changed values, exporting it to a registration file and importing that; the same load and
// save through wxFileConfig (ConfigFileStorage) on a file holding the same tree; and, as the floor, raw
// SQLite reading every row of the hive and writing 1,000 rows in one transaction.
//
//   build/bench/bench_config

#include "ut_config_storage.h"
#include "ut_registry.h"
#include "ut_registry_config.h"

#include "bench_support.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

constexpr int kGroups = 100;  // 100 groups of 10 keys each: 1,000 keys
constexpr int kKeysPerGroup = 10;
constexpr int kValuesPerKey = 10;  // 10,000 values
constexpr int kChanged = 1000;

using qxbench::workDir;

// Values alternate between numbers and strings, as settings do.
void fill(wxConfigBase& config) {
  for (int g = 0; g < kGroups; ++g) {
    for (int k = 0; k < kKeysPerGroup; ++k) {
      const wxString key = wxString::Format("/Software/Korvani/VeltoCAD/Bench/Group%d/Key%d/", g, k);
      for (int v = 0; v < kValuesPerKey; ++v) {
        if (v % 2) {
          config.Write(key + wxString::Format("Value%d", v), static_cast<long>(g * 1000 + k * 10 + v));
        } else {
          config.Write(key + wxString::Format("Value%d", v), wxString::Format("text %d-%d-%d", g, k, v));
        }
      }
    }
  }
}

void prepare() {
  static bool prepared = false;
  if (prepared) return;
  prepared = true;
  workDir();
  ut::RegistryConfig registry(ut::eCurrentUser, OdString());
  registry.beginTransaction();
  fill(registry);
  registry.commitTransaction();
  ut::TypesafeFileConfig file(L"VeltoCAD", L"Korvani", (workDir() / "config").wstring());
  fill(file);
  file.Flush();
}

// Changes `count` numbers of the tree, a different value each round so that every save has work.
void change(const ut::ConfigNodePtr& root, int round) {
  int changed = 0;
  for (int g = 0; g < kGroups && changed < kChanged; ++g) {
    for (int k = 0; k < kKeysPerGroup && changed < kChanged; ++k, ++changed) {
      const OdString path = OdString().format(L"Group%d/Key%d/Value1", g, k);
      (void)root->childAt(path)->setULong(round * 7 + changed);
    }
  }
}

template <class Storage>
void load(benchmark::State& state) {
  prepare();
  for (auto _ : state) {
    auto storage = std::make_unique<Storage>(L"Software/Korvani/VeltoCAD/Bench/", false);
    ut::ConfigNodePtr root = storage->load();
    benchmark::DoNotOptimize(root);
    // Freeing what was loaded is not loading it.
    state.PauseTiming();
    root.reset();
    storage.reset();
    state.ResumeTiming();
  }
}

template <class Storage>
void save(benchmark::State& state) {
  prepare();
  Storage storage(L"Software/Korvani/VeltoCAD/Bench/", false);
  const ut::ConfigNodePtr root = storage.load();
  if (!root) return state.SkipWithError("nothing to load");
  int round = 0;
  for (auto _ : state) {
    state.PauseTiming();
    change(root, ++round);
    state.ResumeTiming();
    if (!storage.save(root)) state.SkipWithError("save failed");
  }
}

void BM_HiveLoad(benchmark::State& state) { load<ut::ConfigRegistryStorage>(state); }
void BM_HiveSave1000(benchmark::State& state) { save<ut::ConfigRegistryStorage>(state); }

void BM_FileConfigLoad(benchmark::State& state) {
  ut::ConfigFileStorage::use(true, (workDir() / "config").wstring().c_str());
  load<ut::ConfigFileStorage>(state);
  ut::ConfigFileStorage::use(false);
}

void BM_FileConfigSave1000(benchmark::State& state) {
  ut::ConfigFileStorage::use(true, (workDir() / "config").wstring().c_str());
  save<ut::ConfigFileStorage>(state);
  ut::ConfigFileStorage::use(false);
}

void BM_ExportKey(benchmark::State& state) {
  prepare();
  const OdString file = (workDir() / "bench.reg").wstring().c_str();
  for (auto _ : state)
    ut::Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\Bench", file, true);
}

void BM_ImportKey(benchmark::State& state) {
  prepare();
  const OdString file = (workDir() / "bench.reg").wstring().c_str();
  ut::Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\Korvani\\VeltoCAD\\Bench", file, true);
  for (auto _ : state) ut::Registry::importKey(file, false);
}

// The floor: the same hive through SQLite alone, no names resolved, no nodes made.
sqlite3* openRaw() {
  sqlite3* db = nullptr;
  sqlite3_open((workDir() / "user.hive").c_str(), &db);
  sqlite3_busy_timeout(db, 30000);
  // As the hive's own connections commit: the log is synced at checkpoints, not at every commit.
  sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
  return db;
}

void BM_RawSqliteReadAll(benchmark::State& state) {
  prepare();
  sqlite3* db = openRaw();
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db, "SELECT k.name, v.name, v.type, v.data FROM vals v JOIN keys k ON k.id = v.key", -1,
                     &stmt, nullptr);
  for (auto _ : state) {
    int rows = 0;
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      benchmark::DoNotOptimize(sqlite3_column_text(stmt, 0));
      benchmark::DoNotOptimize(sqlite3_column_text(stmt, 1));
      benchmark::DoNotOptimize(sqlite3_column_blob(stmt, 3));
      ++rows;
    }
    sqlite3_reset(stmt);
    state.counters["rows"] = rows;
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
}

void BM_RawSqliteWrite1000(benchmark::State& state) {
  prepare();
  sqlite3* db = openRaw();
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db, "UPDATE vals SET data = ?1 WHERE id = ?2", -1, &stmt, nullptr);
  int round = 0;
  for (auto _ : state) {
    ++round;
    sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    for (int i = 1; i <= kChanged; ++i) {
      const uint32_t value = round * 7 + i;
      sqlite3_bind_blob(stmt, 1, &value, 4, SQLITE_TRANSIENT);
      sqlite3_bind_int(stmt, 2, i * 10);
      sqlite3_step(stmt);
      sqlite3_reset(stmt);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
}

BENCHMARK(BM_HiveLoad)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FileConfigLoad)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawSqliteReadAll)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HiveSave1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FileConfigSave1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawSqliteWrite1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExportKey)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImportKey)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return qxbench::runBenchmarks(argc, argv); }
