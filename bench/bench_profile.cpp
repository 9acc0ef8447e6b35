// Application settings on a profile of 10,000 settings (100 groups of 100 under the profile's "Config"), in
// one run: Config::read of a number, Config::writeLong of 1,000 settings then Config::flush(), and
// initConfig loading the profile from the hive; against wxFileConfig reading and writing the same keys
// (and saving its file), and a std::map lookup as the floor for a read.
//
//   build/bench/bench_profile

#include "ut_config.h"
#include "ut_config_storage.h"

#include "bench_support.h"

#include <benchmark/benchmark.h>
#include <wx/fileconf.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr int kGroups = 100;
constexpr int kPerGroup = 100;
constexpr int kChanged = 1000;

using qxbench::workDir;

// "Group7/Setting42": the names of the settings, in the order reads walk them.
const std::vector<OdString>& names() {
  static const std::vector<OdString> all = [] {
    std::vector<OdString> made;
    for (int i = 0; i < kGroups * kPerGroup; ++i) {
      // A stride through the groups, so that consecutive reads do not share a group.
      const int n = (i * 7919) % (kGroups * kPerGroup);
      made.push_back(OdString().format(L"Group%d/Setting%d", n % kGroups, n / kGroups));
    }
    return made;
  }();
  return all;
}

wxString fileKey(const OdString& name) {
  return wxString(ut::Config::keyPath(ut::eCfgConfig, ut::eCfgPathConfig).c_str()).Prepend("/") +
         name.c_str();
}

void prepare() {
  static bool prepared = false;
  if (prepared) return;
  prepared = true;
  workDir();
  ut::initConfig(nullptr);
  for (size_t i = 0; i < names().size(); ++i)
    ut::Config::writeLong(ut::eCfgConfig, names()[i], static_cast<long>(i));
  ut::Config::flush();
  wxFileConfig file(wxEmptyString, wxEmptyString, (workDir() / "config").wstring(), wxEmptyString,
                    wxCONFIG_USE_LOCAL_FILE);
  for (size_t i = 0; i < names().size(); ++i) file.Write(fileKey(names()[i]), static_cast<long>(i));
  file.Flush();
}

void BM_ConfigReadProfileLong(benchmark::State& state) {
  prepare();
  size_t i = 0;
  long value = 0;
  for (auto _ : state) {
    ut::Config::read(ut::eCfgConfig, names()[i++ % names().size()], value);
    benchmark::DoNotOptimize(value);
  }
}

void BM_WxFileConfigReadLong(benchmark::State& state) {
  prepare();
  wxFileConfig file(wxEmptyString, wxEmptyString, (workDir() / "config").wstring(), wxEmptyString,
                    wxCONFIG_USE_LOCAL_FILE);
  std::vector<wxString> keys;
  for (const OdString& name : names()) keys.push_back(fileKey(name));
  size_t i = 0;
  long value = 0;
  for (auto _ : state) {
    file.Read(keys[i++ % keys.size()], &value);
    benchmark::DoNotOptimize(value);
  }
}

// The floor: a case-sensitive lookup of the same names, no groups walked.
void BM_StdMapLookup(benchmark::State& state) {
  std::map<std::wstring, long> settings;
  for (size_t i = 0; i < names().size(); ++i) settings.emplace(names()[i].str(), static_cast<long>(i));
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(settings.find(names()[i++ % names().size()].str()));
  }
}

void BM_ConfigWrite1000AndFlush(benchmark::State& state) {
  prepare();
  long round = 0;
  for (auto _ : state) {
    ++round;
    for (int i = 0; i < kChanged; ++i) ut::Config::writeLong(ut::eCfgConfig, names()[i], round * 7 + i);
    if (!ut::Config::flush()) state.SkipWithError("flush failed");
  }
}

void BM_WxFileConfigWrite1000AndFlush(benchmark::State& state) {
  prepare();
  wxFileConfig file(wxEmptyString, wxEmptyString, (workDir() / "config").wstring(), wxEmptyString,
                    wxCONFIG_USE_LOCAL_FILE);
  std::vector<wxString> keys;
  for (int i = 0; i < kChanged; ++i) keys.push_back(fileKey(names()[i]));
  long round = 0;
  for (auto _ : state) {
    ++round;
    for (int i = 0; i < kChanged; ++i) file.Write(keys[i], round * 7 + i);
    if (!file.Flush()) state.SkipWithError("flush failed");
  }
}

void BM_InitConfig(benchmark::State& state) {
  prepare();
  for (auto _ : state) {
    if (!ut::initConfig(nullptr)) state.SkipWithError("initConfig failed");
  }
}

void BM_WxFileConfigLoad(benchmark::State& state) {
  prepare();
  for (auto _ : state) {
    wxFileConfig file(wxEmptyString, wxEmptyString, (workDir() / "config").wstring(), wxEmptyString,
                      wxCONFIG_USE_LOCAL_FILE);
    benchmark::DoNotOptimize(file.GetNumberOfGroups());
  }
}

BENCHMARK(BM_ConfigReadProfileLong);
BENCHMARK(BM_WxFileConfigReadLong);
BENCHMARK(BM_StdMapLookup);
BENCHMARK(BM_ConfigWrite1000AndFlush)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WxFileConfigWrite1000AndFlush)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InitConfig)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WxFileConfigLoad)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) { return qxbench::runBenchmarks(argc, argv); }
