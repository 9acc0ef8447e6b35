// Natural sort against glibc's strverscmp, the nearest peer: both order digit runs by value. glibc has no
// wide-character form (no wcsverscmp), so strverscmp sorts narrow copies of the same ASCII names.
// Each run sorts pointers to 1,000,000 generated names, and to the first 20,000, which stay in the
// caches, and reports the time per comparison. LexiNumericalSorter::sort is measured on 100,000 OdStrings
// against std::sort with strCmpAlphanum on the same array.

#include "ut_natural_sort.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t kNames = 1'000'000;
constexpr size_t kCachedNames = 20'000;
constexpr size_t kSorterNames = 100'000;

// Names as drawings hold them: shared stems with numbers of varying width, some zero-padded.
std::vector<std::string> generateNames(size_t count) {
  static const char* const kStems[] = {"Layer", "A-", "x", "Wall_", "PART", "Door-D", "Level"};
  std::mt19937 rng(2024);  // the engine's output sequence is fixed by the standard
  std::vector<std::string> names;
  names.reserve(count);
  while (names.size() < count) {
    std::string name = kStems[rng() % std::size(kStems)];
    const unsigned digits = rng() % 6;
    std::string number = std::to_string(rng() % 100000).substr(0, 1 + digits);
    if (rng() % 4 == 0) number.insert(0, "00");
    name += number;
    if (rng() % 2) name += rng() % 2 ? "-b" : "_v" + std::to_string(rng() % 20);
    names.push_back(std::move(name));
  }
  return names;
}

// All names, each terminated, one after the other in one buffer, as both sides get them: the wide ones
// are not scattered over the heap while the narrow ones sit inside their std::string objects.
template <class Char>
class NamePool {
 public:
  explicit NamePool(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      m_chars.insert(m_chars.end(), name.begin(), name.end());
      m_chars.push_back(Char());
    }
    const Char* next = m_chars.data();
    for (const std::string& name : names) {
      m_names.push_back(next);
      next += name.size() + 1;
    }
  }
  const std::vector<const Char*>& names() const { return m_names; }

 private:
  std::vector<Char> m_chars;
  std::vector<const Char*> m_names;
};

// CPU time of this thread: other jobs on a shared machine stretch the wall clock, not this.
double threadCpuNs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// Sorts fresh copies of the first state.range(0) names with `compare`, timing only the sort, and reports
// ns per comparison.
template <class Char, class Compare>
void sortAndReport(benchmark::State& state, const std::vector<const Char*>& names, Compare compare) {
  const std::vector<const Char*> unsorted(names.begin(), names.begin() + state.range(0));
  double totalNs = 0;
  double comparisons = 0;
  for (auto _ : state) {
    std::vector<const Char*> work = unsorted;
    const double start = threadCpuNs();
    std::sort(work.begin(), work.end(), [&](const Char* a, const Char* b) {
      ++comparisons;
      return compare(a, b) < 0;
    });
    const double elapsed = threadCpuNs() - start;
    state.SetIterationTime(elapsed * 1e-9);
    totalNs += elapsed;
    benchmark::DoNotOptimize(work.data());
  }
  state.counters["ns_per_cmp"] = totalNs / comparisons;
  state.counters["cmps"] = comparisons / static_cast<double>(state.iterations());
}

const std::vector<std::string>& generatedNames() {
  static const std::vector<std::string> names = generateNames(kNames);
  return names;
}

template <class Char>
const std::vector<const Char*>& pooledNames() {
  static const NamePool<Char> pool(generatedNames());
  return pool.names();
}

void BM_StrCmpAlphanum(benchmark::State& state) {
  sortAndReport(state, pooledNames<wchar_t>(),
                [](const wchar_t* a, const wchar_t* b) { return ut::strCmpAlphanum(a, b); });
}

void BM_StrCmpAlphanumIgnoreCase(benchmark::State& state) {
  sortAndReport(state, pooledNames<wchar_t>(),
                [](const wchar_t* a, const wchar_t* b) { return ut::strCmpAlphanum(a, b, false); });
}

void BM_GlibcStrverscmp(benchmark::State& state) {
  sortAndReport(state, pooledNames<char>(), [](const char* a, const char* b) { return strverscmp(a, b); });
}

// Sorts fresh copies of the first kSorterNames names as OdStrings with `sortNames`.
template <class Sort>
void sortOdStrings(benchmark::State& state, Sort sortNames) {
  OdArray<OdString> unsorted;
  for (size_t i = 0; i < kSorterNames; ++i) unsorted.append(OdString(pooledNames<wchar_t>()[i]));
  for (auto _ : state) {
    state.PauseTiming();
    OdArray<OdString> work = unsorted;
    state.ResumeTiming();
    sortNames(work);
    benchmark::DoNotOptimize(work.asArrayPtr());
  }
}

void BM_LexiNumericalSorter(benchmark::State& state) {
  sortOdStrings(state,
                [sorter = ut::LexiNumericalSorter()](OdArray<OdString>& names) { sorter.sort(names); });
}

void BM_StrCmpAlphanumOnOdStrings(benchmark::State& state) {
  sortOdStrings(state, [](OdArray<OdString>& names) {
    std::sort(names.begin(), names.end(),
              [](const OdString& a, const OdString& b) { return ut::strCmpAlphanum(a, b) < 0; });
  });
}

}  // namespace

// The full set, whose wide characters outgrow the caches, and a part that stays in them.
BENCHMARK(BM_StrCmpAlphanum)->Arg(kNames)->Arg(kCachedNames)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StrCmpAlphanumIgnoreCase)->Arg(kNames)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GlibcStrverscmp)->Arg(kNames)->Arg(kCachedNames)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LexiNumericalSorter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StrCmpAlphanumOnOdStrings)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
