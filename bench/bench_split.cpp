// split and splitLines over 1 MiB of text, against the plain loop a programmer would write instead:
// std::wstring::find, each piece copied into a vector.
//
//   build/bench/bench_split

#include "ut_string.h"

#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

namespace {

// 1 MiB of characters: CSV-like lines of 3 to 12 fields of 1 to 12 characters, ended by LF or CR LF.
const std::wstring& text() {
  static const std::wstring text = [] {
    std::mt19937 random(7);
    std::wstring t;
    while (t.size() < (1u << 20)) {
      const int fields = 3 + random() % 10;
      for (int f = 0; f < fields; ++f) {
        if (f) t += L',';
        t.append(1 + random() % 12, static_cast<wchar_t>(L'a' + random() % 26));
      }
      t += random() % 2 ? L"\n" : L"\r\n";
    }
    return t;
  }();
  return text;
}

void setThroughput(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text().size() * sizeof(wchar_t)));
}

void findLoop(std::vector<std::wstring>& out, const std::wstring& s, wchar_t separator) {
  for (size_t p = 0;;) {
    const size_t found = s.find(separator, p);
    if (found != p) out.push_back(s.substr(p, found - p));
    if (found == std::wstring::npos) return;
    p = found + 1;
  }
}

void BM_Split(benchmark::State& state) {
  const OdString s(text());
  for (auto _ : state) {
    OdArray<OdString> out;
    ut::split(out, s, L",");
    benchmark::DoNotOptimize(out);
  }
  setThroughput(state);
}

void BM_FindLoopSplit(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<std::wstring> out;
    findLoop(out, text(), L',');
    benchmark::DoNotOptimize(out);
  }
  setThroughput(state);
}

void BM_SplitLines(benchmark::State& state) {
  const OdString s(text());
  for (auto _ : state) {
    OdArray<OdString> out;
    ut::splitLines(out, s);
    benchmark::DoNotOptimize(out);
  }
  setThroughput(state);
}

// Lines by LF, with a CR before it trimmed, as a hand-written reader would do.
void BM_FindLoopLines(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<std::wstring> out;
    findLoop(out, text(), L'\n');
    for (std::wstring& line : out) {
      if (!line.empty() && line.back() == L'\r') line.pop_back();
    }
    benchmark::DoNotOptimize(out);
  }
  setThroughput(state);
}

BENCHMARK(BM_Split)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindLoopSplit)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SplitLines)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindLoopLines)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
