// The tracer against spdlog's basic file sink (Debian's libspdlog), each writing the same lines to a file:
// "1>     loading layer <n> Walls", a level, an indent of four, text, a number and a string. Once with a
// flush after every line (the tracer's std::endl), once with a flush only at the end; and the cost of a
// statement whose level is filtered out. spdlog gets the single-threaded sink (the tracer takes no lock)
// and the pattern "%v", so that both write exactly the same bytes; the program checks that they do.
//
//   build/bench/bench_log

#include "ut_log.h"

#include "bench_support.h"

#include <benchmark/benchmark.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace {

// A file is started afresh after this many lines, so that a long run does not fill the disk.
constexpr int64_t kLinesPerFile = 1'000'000;

const std::string kLayer = "Walls";

std::string fileOf(const char* name) { return (qxbench::workDir() / name).string(); }

UtTracer& startTracer(const std::string& file) {
  UtTracer& tracer = UtTracer::tracer();
  tracer.setStreamName(file.c_str(), 1, 0);
  tracer.incIndent();
  tracer.incIndent();
  return tracer;
}

void stopTracer() {
  UtTracer& tracer = UtTracer::tracer();
  tracer.decIndent();
  tracer.decIndent();
  tracer.freeStream();
}

std::unique_ptr<spdlog::logger> startSpdlog(const std::string& file, bool flushEachLine) {
  auto logger = std::make_unique<spdlog::logger>(
      "bench", std::make_shared<spdlog::sinks::basic_file_sink_st>(file, /*truncate=*/true));
  logger->set_pattern("%v");
  logger->set_level(spdlog::level::info);
  logger->flush_on(flushEachLine ? spdlog::level::info : spdlog::level::off);
  return logger;
}

template <bool kFlushEachLine>
void BM_Tracer(benchmark::State& state) {
  const std::string file = fileOf("tracer.txt");
  UtTracer* tracer = &startTracer(file);
  int64_t line = 0;
  for (auto _ : state) {
    if (++line % kLinesPerFile == 0) {
      state.PauseTiming();
      stopTracer();
      tracer = &startTracer(file);
      state.ResumeTiming();
    }
    if (1 <= tracer->traceLevel() && tracer->checkArea(4)) {
      tracer->str(1) << "loading layer " << line << ' ' << kLayer;
      if constexpr (kFlushEachLine)
        *tracer << std::endl;
      else
        *tracer << '\n';
    }
  }
  stopTracer();
  state.SetItemsProcessed(state.iterations());
}

template <bool kFlushEachLine>
void BM_Spdlog(benchmark::State& state) {
  const std::string file = fileOf("spdlog.txt");
  auto logger = startSpdlog(file, kFlushEachLine);
  int64_t line = 0;
  for (auto _ : state) {
    if (++line % kLinesPerFile == 0) {
      state.PauseTiming();
      logger = startSpdlog(file, kFlushEachLine);
      state.ResumeTiming();
    }
    logger->info("{}> {:{}}loading layer {} {}", 1, "", 4, line, kLayer);
  }
  logger->flush();
  state.SetItemsProcessed(state.iterations());
}

void BM_TracerFiltered(benchmark::State& state) {
  UtTracer& tracer = startTracer(fileOf("filtered.txt"));
  int64_t line = 0;
  for (auto _ : state) {
    if (3 <= tracer.traceLevel() && tracer.checkArea(4)) tracer.str(3) << "loading layer " << line << std::endl;
    // The level is read again each time, as in a program that may change it between statements.
    benchmark::ClobberMemory();
    ++line;
  }
  stopTracer();
}

void BM_SpdlogFiltered(benchmark::State& state) {
  auto logger = startSpdlog(fileOf("filtered.txt"), false);
  int64_t line = 0;
  for (auto _ : state) {
    logger->debug("loading layer {}", line);
    benchmark::ClobberMemory();
    ++line;
  }
}

BENCHMARK(BM_Tracer<true>)->Name("BM_TracerFlushEachLine");
BENCHMARK(BM_Spdlog<true>)->Name("BM_SpdlogFlushEachLine");
BENCHMARK(BM_Tracer<false>)->Name("BM_TracerFlushAtEnd");
BENCHMARK(BM_Spdlog<false>)->Name("BM_SpdlogFlushAtEnd");
BENCHMARK(BM_TracerFiltered);
BENCHMARK(BM_SpdlogFiltered);

std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Both sides must write the same bytes, or the comparison says nothing.
bool sameLines() {
  const std::string tracerFile = fileOf("check_tracer.txt"), spdlogFile = fileOf("check_spdlog.txt");
  UtTracer& tracer = startTracer(tracerFile);
  auto logger = startSpdlog(spdlogFile, true);
  for (int line = 98; line < 102; ++line) {
    tracer.str(1) << "loading layer " << line << ' ' << kLayer << std::endl;
    logger->info("{}> {:{}}loading layer {} {}", 1, "", 4, line, kLayer);
  }
  stopTracer();
  const std::string traced = fileBytes(tracerFile);
  return traced == fileBytes(spdlogFile) && traced.starts_with("1>     loading layer 98 Walls\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (!sameLines()) {
    std::fprintf(stderr, "the tracer and spdlog do not write the same lines\n");
    return 1;
  }
  return qxbench::runBenchmarks(argc, argv);
}
