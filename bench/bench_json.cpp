// Typed lookups in a parsed catalogue of about 2 MB (8,000 parts, each an object of ten members with a
// nested object and an array), through the get and tryGet accessors against nlohmann's own at() and
// get<T>() on the same members: per part an int, a string, two doubles, a bool and a nested object's
// double. Keys are passed as literals, as callers mostly write them, and held in OdStrings made once.
// Each runs on the large catalogue, whose tree of about 17 MB is read from memory, and on one of 200
// parts that stays in the cache, where the lookups' own work decides. Each of ours reports its ratio to
// nlohmann's, timed in the same iterations.
//
//   build/bench/bench_json

#include "ut_json.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <random>
#include <string>

namespace {

constexpr int kLargeParts = 8000;
constexpr int kSmallParts = 200;

ut::JsonValue makeCatalogue(int partCount) {
  static const char* const kNames[] = {"Hex bolt M12 x 40",    "Washer DIN 125",     "Flange DN 80 PN 16",
                                       "Beam IPE 200, S235JR", "Grüner Stahlträger", "Anchor plate 300"};
  std::mt19937 random(5);
  ut::JsonValue parts = ut::JsonValue::array();
  for (int i = 0; i < partCount; ++i) {
    parts.push_back({{"id", i},
                     {"sku", "PRT-" + std::to_string(100000 + random() % 900000)},
                     {"name", kNames[random() % 6]},
                     {"price", (random() % 100000) / 100.0},
                     {"weight", (random() % 10000) / 1000.0},
                     {"inStock", random() % 2 == 0},
                     {"layer", "A-PART"},
                     {"tags", {"steel", "catalogue", "metric"}},
                     {"dimensions", {{"width", 0.5 + i}, {"height", 1.5}, {"depth", 2.5}}},
                     {"supplier", {{"name", "Korvani Parts"}, {"country", "DE"}}}});
  }
  return ut::JsonValue::parse(ut::JsonValue({{"catalogue", parts}}).dump(2));
}

const ut::JsonValue& catalogue(int partCount) {
  static const ut::JsonValue large = makeCatalogue(kLargeParts), small = makeCatalogue(kSmallParts);
  return partCount == kLargeParts ? large : small;
}

const ut::JsonArray& parts(const benchmark::State& state) {
  return catalogue(static_cast<int>(state.range(0)))["catalogue"].get_ref<const ut::JsonArray&>();
}

// Made before the first benchmark, so that none of them counts its making.
const double g_largeBytes = static_cast<double>(catalogue(kLargeParts).dump().size());
const double g_smallBytes = static_cast<double>(catalogue(kSmallParts).dump().size());

void setItems(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0) * 6);
  state.counters["document_bytes"] = state.range(0) == kLargeParts ? g_largeBytes : g_smallBytes;
}

void onBothCatalogues(benchmark::internal::Benchmark* run) {
  run->Arg(kLargeParts)->Arg(kSmallParts)->Unit(benchmark::kMicrosecond);
}

// The members' names, written where they are used (a literal, which is looked up as it stands) or held
// in OdStrings made once.
template <class Key>
struct Keys {
  Key id, name, price, weight, inStock, dimensions, width;
};
const Keys<const wchar_t*> kLiterals{L"id",      L"name",       L"price", L"weight",
                                     L"inStock", L"dimensions", L"width"};
const Keys<OdString> kHeld{L"id", L"name", L"price", L"weight", L"inStock", L"dimensions", L"width"};

template <class Key>
void getPass(const ut::JsonArray& parts, const Keys<Key>& keys) {
  const ut::Context context{L"catalogue"};
  for (const ut::JsonValue& value : parts) {
    const ut::JsonObject& part = value.get_ref<const ut::JsonObject&>();
    benchmark::DoNotOptimize(ut::getIntValue(part, keys.id, context));
    benchmark::DoNotOptimize(ut::getStringValue(part, keys.name, context));
    benchmark::DoNotOptimize(ut::getDoubleValue(part, keys.price, context));
    benchmark::DoNotOptimize(ut::getDoubleValue(part, keys.weight, context));
    benchmark::DoNotOptimize(ut::getBoolValue(part, keys.inStock, context));
    benchmark::DoNotOptimize(
        ut::getDoubleValue(ut::getObjectValue(part, keys.dimensions, context), keys.width, context));
  }
}

template <class Key>
void tryGetPass(const ut::JsonArray& parts, const Keys<Key>& keys) {
  for (const ut::JsonValue& value : parts) {
    const ut::JsonObject& part = value.get_ref<const ut::JsonObject&>();
    benchmark::DoNotOptimize(ut::tryGetIntValue(part, keys.id));
    benchmark::DoNotOptimize(ut::tryGetStringValue(part, keys.name));
    benchmark::DoNotOptimize(ut::tryGetDoubleValue(part, keys.price));
    benchmark::DoNotOptimize(ut::tryGetDoubleValue(part, keys.weight));
    benchmark::DoNotOptimize(ut::tryGetBoolValue(part, keys.inStock));
    benchmark::DoNotOptimize(
        ut::tryGetDoubleValue(*ut::tryGetObjectValue(part, keys.dimensions), keys.width));
  }
}

void nlohmannPass(const ut::JsonArray& parts) {
  for (const ut::JsonValue& part : parts) {
    benchmark::DoNotOptimize(part.at("id").get<int>());
    benchmark::DoNotOptimize(part.at("name").get<std::string>());
    benchmark::DoNotOptimize(part.at("price").get<double>());
    benchmark::DoNotOptimize(part.at("weight").get<double>());
    benchmark::DoNotOptimize(part.at("inStock").get<bool>());
    benchmark::DoNotOptimize(part.at("dimensions").at("width").get<double>());
  }
}

template <class Pass>
double secondsOf(const Pass& pass, const ut::JsonArray& parts) {
  const auto start = std::chrono::steady_clock::now();
  pass(parts);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Each iteration times one of our passes and one of nlohmann's, each first in turn, so that both meet the
// machine in the same state: the speed of this shared machine drifts between benchmarks by more than the
// difference measured. The time reported is ours; `vs_nlohmann` is its ratio to nlohmann's.
template <class Pass>
void againstNlohmann(benchmark::State& state, const Pass& ours) {
  const ut::JsonArray& all = parts(state);
  double oursTotal = 0, nlohmannTotal = 0;
  bool oursFirst = true;
  for (auto _ : state) {
    double time = 0, theirs = 0;
    if (oursFirst) {
      time = secondsOf(ours, all);
      theirs = secondsOf(nlohmannPass, all);
    } else {
      theirs = secondsOf(nlohmannPass, all);
      time = secondsOf(ours, all);
    }
    oursFirst = !oursFirst;
    oursTotal += time;
    nlohmannTotal += theirs;
    state.SetIterationTime(time);
  }
  state.counters["vs_nlohmann"] = oursTotal / nlohmannTotal;
  setItems(state);
}

template <class Key>
void BM_Get(benchmark::State& state, const Keys<Key>& keys) {
  againstNlohmann(state, [&](const ut::JsonArray& all) { getPass(all, keys); });
}
BENCHMARK_CAPTURE(BM_Get, literal_keys, kLiterals)->Apply(onBothCatalogues)->UseManualTime();
BENCHMARK_CAPTURE(BM_Get, held_keys, kHeld)->Apply(onBothCatalogues)->UseManualTime();

template <class Key>
void BM_TryGet(benchmark::State& state, const Keys<Key>& keys) {
  againstNlohmann(state, [&](const ut::JsonArray& all) { tryGetPass(all, keys); });
}
BENCHMARK_CAPTURE(BM_TryGet, literal_keys, kLiterals)->Apply(onBothCatalogues)->UseManualTime();
BENCHMARK_CAPTURE(BM_TryGet, held_keys, kHeld)->Apply(onBothCatalogues)->UseManualTime();

void BM_NlohmannAt(benchmark::State& state) {
  for (auto _ : state) nlohmannPass(parts(state));
  setItems(state);
}
BENCHMARK(BM_NlohmannAt)->Apply(onBothCatalogues);

}  // namespace

BENCHMARK_MAIN();
