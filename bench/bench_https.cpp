// HTTPS GETs of a small body from the test server on 127.0.0.1 (tests/web/https_server.h, in this
// process), through one HttpsService against a raw libcurl loop on one easy handle with the same
// options, in the same run: repeated requests on a kept-alive connection, and first requests, each on a
// new service or handle, that pay for the TCP and TLS handshakes. Besides the time per request, each
// reports its median latency and the connections made: CURLINFO_NUM_CONNECTS summed over the raw loop's
// requests after its first, and the connections the server accepted during the service's.
//
//   build/bench/bench_https

#include "ut_https.h"

#include "https_server.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

qxtest::HttpsServer& server() { return qxtest::trustedServer(); }

std::string url() { return "https://" + server().domain() + "/small"; }

size_t discard(char*, size_t size, size_t count, void*) { return size * count; }

// A new easy handle with what a plain GET through HttpsService sets, checked against the same bundle.
CURL* rawHandle(const std::string& target) {
  CURL* curl = curl_easy_init();
  const std::string& bundle = qxtest::HttpsServer::authority();
  curl_blob blob{const_cast<char*>(bundle.data()), bundle.size(), CURL_BLOB_NOCOPY};
  curl_easy_setopt(curl, CURLOPT_URL, target.c_str());
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, "GET");
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 30000L);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_CAINFO_BLOB, &blob);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discard);
  return curl;
}

// Times each iteration's `request` and reports the median and the connections made.
template <class Request>
void measure(benchmark::State& state, Request request) {
  std::vector<double> micros;
  long connections = 0;
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    connections += request();
    micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  std::nth_element(micros.begin(), micros.begin() + micros.size() / 2, micros.end());
  state.counters["median_us"] = micros[micros.size() / 2];
  state.counters["connections"] = static_cast<double>(connections);
  state.counters["requests_per_s"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                       benchmark::Counter::kIsRate);
}

void BM_ServiceKeepAlive(benchmark::State& state) {
  const ut::HttpsService service(server().domain());
  const ut::HttpsRequest request = ut::HttpsRequestBuilder().request("/small").build();
  (void)service.execute(request);
  server().reset();
  measure(state, [&] {
    benchmark::DoNotOptimize(service.execute(request));
    return 0L;
  });
  state.counters["connections"] = server().connections();
}
BENCHMARK(BM_ServiceKeepAlive)->UseRealTime();

void BM_RawLoopKeepAlive(benchmark::State& state) {
  CURL* curl = rawHandle(url());
  curl_easy_perform(curl);
  measure(state, [&] {
    long made = 0;
    curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &made);
    return made;
  });
  curl_easy_cleanup(curl);
}
BENCHMARK(BM_RawLoopKeepAlive)->UseRealTime();

void BM_ServiceFirstRequest(benchmark::State& state) {
  const ut::HttpsService keeper(server().domain());  // libcurl's global set-up is once per process
  const ut::HttpsRequest request = ut::HttpsRequestBuilder().request("/small").build();
  measure(state, [&] {
    benchmark::DoNotOptimize(ut::HttpsService(server().domain()).execute(request));
    return 1L;
  });
}
BENCHMARK(BM_ServiceFirstRequest)->UseRealTime();

void BM_RawLoopFirstRequest(benchmark::State& state) {
  const std::string target = url();
  measure(state, [&] {
    CURL* curl = rawHandle(target);
    long made = 0;
    curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &made);
    curl_easy_cleanup(curl);
    return made;
  });
}
BENCHMARK(BM_RawLoopFirstRequest)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
