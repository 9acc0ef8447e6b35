#include "ut_https.h"

#include "https_server.h"
#include "platform/files.h"
#include "test_support.h"

#include <sys/stat.h>

#include <algorithm>
#include <regex>
#include <set>
#include <thread>

namespace {

namespace fs = std::filesystem;
using qxtest::HttpsServer;
using Builder = ut::HttpsRequestBuilder;
using Header = std::pair<std::string, std::string>;
using Headers = std::vector<Header>;

using qxtest::od;
HttpsServer& server() { return qxtest::trustedServer(); }
ut::HttpsRequest get(const std::string& path) { return Builder().request(path).build(); }

// What a request came to: "ok", "response <status>", "error: <message>" or "network <code>".
std::string outcome(const ut::HttpsService& service, const ut::HttpsRequest& request,
                    const ut::HttpsService::Progress& progress = {}) try {
  (void)service.execute(request, progress);
  return "ok";
} catch (const ut::HttpsResponseError& e) {
  return "response " + std::to_string(e.response().status);
} catch (const ut::HttpsError& e) {
  return "error: " + std::string(e.what());
} catch (const ut::HttpsCurlNetworkError& e) {
  return "network " + std::to_string(e.getCurlErrorCode());
}

// The headers the server received last, without Host, which names its port.
Headers lastHeaders() {
  Headers headers = server().received().back().headers;
  std::erase_if(headers, [](const auto& header) { return header.first == "Host"; });
  return headers;
}

// Whether the server received last a multipart body of exactly these parts, in order: each a pattern of
// its head after "Content-Disposition: form-data; ", and one of its content.
bool lastPartsAre(const std::vector<std::pair<std::string, std::string>>& parts) {
  const qxtest::Received got = server().received().back();
  const std::string delimiter = got.body.substr(0, got.body.find("\r\n"));
  std::string pattern;
  for (const auto& [head, content] : parts)
    pattern += delimiter + "\r\nContent-Disposition: form-data; " + head + "\r\n\r\n" + content + "\r\n";
  const Header type{"Content-Type", "multipart/form-data; boundary=" + delimiter.substr(2)};
  return std::ranges::count(got.headers, type) == 1 &&
         std::regex_match(got.body, std::regex(pattern + delimiter + "--\r\n"));
}

class HttpsTest : public testing::Test {
 protected:
  void SetUp() override { server().reset(); }
  ut::HttpsService m_service{server().domain()};
};

// What no transfer shows: the caller's own status check, kept for it, and the default time limit.
TEST(HttpsRequestTest, KeepsTheCallersStatusCheckAndAThirtySecondLimit) {
  const ut::HttpsRequest put = Builder().put().addIgnoreErrorCheck([](long s) { return s == 404; }).build();
  const ut::HttpsRequest copy = Builder(put).build();
  EXPECT_TRUE(copy.method == ut::HttpsRequest::ePut && copy.ignoreErrorCheck(404) &&
              !copy.ignoreErrorCheck(500));
  EXPECT_EQ(Builder(put).get().build().method, ut::HttpsRequest::eGet);
  EXPECT_FALSE(ut::HttpsRequest().ignoreErrorCheck(404));
  EXPECT_EQ(ut::HttpsRequest().timeout, 30000);
}

TEST(PercentCodesTest, EncodeAndDecodeOnlyTheirFourteenCodes) {
  // Each row: a text, what percentEncode makes of it, and what percentDecode makes of it.
  const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> rows[] = {
      {L"plain name (2).dwg", L"plain name (2).dwg", L"plain name (2).dwg"},
      {L"\"*,/:;<=>?\\`|%", L"%22%2A%2C%2F%3A%3B%3C%3D%3E%3F%5C%60%7C%25", L"\"*,/:;<=>?\\`|%"},
      {L"a%b/c", L"a%25b%2Fc", L"a%b/c"}, {L"a%2fb", L"a%252fb", L"a%2fb"}, {L"%2520", L"%252520", L"%20"},
      {L"%41%2", L"%2541%252", L"%41%2"}, {L"%253A", L"%25253A", L"%3A"}};
  for (const auto& [text, encoded, decoded] : rows) {
    EXPECT_EQ(ut::percentEncode(text), encoded);
    EXPECT_EQ(ut::percentDecode(encoded), text);
    EXPECT_EQ(ut::percentDecode(text), decoded);
  }
}

TEST_F(HttpsTest, SendsTheMethodBodyAndHeadersInTheirOrder) {
  struct Row {
    ut::HttpsRequest request;
    const char* method;
    Headers headers;
  };
  ut::HttpsRequest unnamed = Builder().request("/p").body("x=1").build();
  unnamed.method = ut::HttpsRequest::EMethod(7);  // none libcurl is told of: a body makes it a POST
  const std::string large(2 << 20, 'b');          // so large that libcurl asks whether to send it
  const Header any{"Accept", "*/*"}, form{"Content-Type", "application/x-www-form-urlencoded"},
      largeLength{"Content-Length", "2097152"};
  const Row rows[] = {
      {get("/v1/items"), "GET", {any}},
      {Builder()
           .post()
           .request("/p")
           .body("{}")
           .sendJson(true)
           .authorizeBearer("tok")
           .setAcceptHeader("text/x")
           .addAdditionalHeader("X-A", "0")
           .addAdditionalHeader("X-B", "2")
           .addAdditionalHeader("X-A", "1")
           .build(),
       "POST",
       {{"Content-Type", "application/json"},
        {"Authorization", "Bearer tok"},
        {"Accept", "text/x"},
        {"X-A", "1"},
        {"X-B", "2"},
        {"Content-Length", "2"}}},
      {Builder().put().request("/p").addAdditionalHeader("X-A", "1").build(),
       "PUT",
       {any, {"X-A", "1"}, {"Content-length", "0"}}},
      {Builder().put().request("/p").authorizeCredentials("u", "p").build(),
       "PUT",
       {{"Authorization", "Basic dTpw"}, any}},
      {unnamed, "POST", {any, {"Content-Length", "3"}, form}},
      {Builder().post().request("/p").body(large).build(),
       "POST",
       {any, largeLength, form, {"Expect", "100-continue"}}},
      {Builder().post().request("/p").body(large).setExpect(false).build(), "POST", {any, largeLength, form}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(m_service.execute(row.request).body,
              row.request.body.empty() ? row.request.request : row.request.body);
    EXPECT_EQ(server().received().back().method, row.method);
    EXPECT_EQ(lastHeaders(), row.headers);
  }
}

TEST_F(HttpsTest, ComposesUrlsFromTheSchemeAndDomainUnlessAbsolute) {
  static HttpsServer plain(HttpsServer::ePlain);
  const ut::HttpsService plainService(plain.domain()), elsewhere("unused.invalid");
  EXPECT_EQ(m_service.execute(get("/v1/items")).effectiveUrl, "https://" + server().domain() + "/v1/items");
  EXPECT_EQ(plainService.execute(Builder().request("/v1").https(false).build()).effectiveUrl,
            "http://" + plain.domain() + "/v1");
  for (const std::string& url : {"https://" + server().domain() + "/a", "http://" + plain.domain() + "/b"})
    EXPECT_EQ(elsewhere.execute(Builder().request(url).https(false).build()).effectiveUrl, url);
}

TEST_F(HttpsTest, ReturnsStatusesBelow400AndThrowsTheResponseFrom400) {
  const ut::HttpsResponse kept = m_service.execute(get("/status/399"));
  EXPECT_EQ(kept.status, 399);
  EXPECT_EQ(kept.headers.rfind("HTTP/1.1 399 ", 0), 0u);
  EXPECT_GT(kept.totalTime, 0);
  try {
    (void)m_service.execute(get("/status/400"));
    ADD_FAILURE() << "no error";
  } catch (const ut::HttpsError& e) {
    EXPECT_EQ(e.description(), L"status 400");
    const ut::HttpsResponse& response = dynamic_cast<const ut::HttpsResponseError&>(e).response();
    EXPECT_TRUE(response.status == 400 && response.body == "status 400" && !response.effectiveUrl.empty());
  }
  const ut::HttpsResponse followed = m_service.execute(get("/redirect"));
  EXPECT_EQ(followed.effectiveUrl, "https://" + server().domain() + "/echo");
  EXPECT_NE(followed.headers.find("302 Found\r\n"), std::string::npos);
  EXPECT_EQ(m_service.execute(Builder().request("/redirect").followRedirection(false).build()).status, 302);
}

TEST_F(HttpsTest, SendsTheBodyPartAndEveryFurtherPartOfAMultipartRequest) {
  qxtest::TempDir dir;
  std::ofstream(dir.path() / "plan.dwg") << "file bytes";
  const ut::HttpsRequest::MultiPartData file{"drawing", "site.dwg", (dir.path() / "plan.dwg").string(), 0};
  const ut::HttpsRequest::MultiPartData content{"note", "note.txt", "inline bytes", 1};
  (void)m_service.execute(Builder().post().request("/up").mimeBodyData("meta").body("{}").sendJson(true)
                              .mimeMultiPart(content).sendModelData({file, content}).build());
  const std::pair<std::string, std::string> note = {R"(name="note"; filename="note.txt"(\r\n.*)?)",
                                                    "inline bytes"};
  EXPECT_TRUE(lastPartsAre({{R"(name="meta"\r\nContent-Type: application/json)", R"(\{\})"},
                            {R"(name="drawing"; filename="site.dwg"(\r\n.*)?)", "file bytes"}, note}));
  (void)m_service.execute(Builder().post().request("/up").mimeMultiPart(content).build());
  EXPECT_TRUE(lastPartsAre({note}));
}

// After each of these, the same service must send a plain GET as a new handle would: nothing of the
// request before it (credentials, a body, MIME parts, a callback) stays behind.
TEST_F(HttpsTest, FailsClearlyAndLeavesNothingBehindForTheNextRequest) {
  static HttpsServer untrusted(HttpsServer::eUntrusted);
  const auto cancel = [](double, double, double, double) -> size_t { return 1; };
  struct Row {
    ut::HttpsRequest request;
    std::string outcome;
    ut::HttpsService::Progress progress = {};
  };
  const Row rows[] = {
      {get("https://" + untrusted.domain() + "/"),
       "error: SSL peer certificate or SSH remote key was not OK"},
      {Builder().request("https://" + untrusted.domain() + "/").verifySSLCertificate(false).build(), "ok"},
      {get("https://nothing.invalid/"), "network 6"},
      {Builder().request("/slow/3000").timeout(100).build(), "error: Timeout was reached"},
      {get("/slow/100"), "error: Operation was aborted by an application callback", cancel},
      {get("/cut"), "error: Transferred a partial file"},
      {Builder().post().request("/up").mimeMultiPart({"f", "f", "/no/such/file", 0}).build(),
       "error: Failed to open/read local data from file/application"},
      {Builder().post().request("/status/500").body("b").authorizeCredentials("u", "p").build(),
       "response 500"},
      {Builder().put().request("/up").mimeBodyData("m").body("{}").authorizeBearer("t").build(), "ok"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.request.request);
    EXPECT_EQ(outcome(m_service, row.request, row.progress), row.outcome);
    EXPECT_EQ(m_service.execute(get("/clean")).body, "/clean");
    const qxtest::Received clean = server().received().back();
    EXPECT_TRUE(clean.method == "GET" && clean.body.empty());
    EXPECT_EQ(lastHeaders(), (Headers{{"Accept", "*/*"}}));
  }
  EXPECT_THROW((void)m_service.execute(get("https://nothing.invalid/")), OdError);
}

TEST_F(HttpsTest, LogsToAFileOfItsOwnerOnlyWithoutOverwritingOlderLogs) {
  qxtest::TempDir dir;
  const fs::path log = dir.path() / "https.log";
  const auto numbered = [&](int i) { return i ? fs::path(log.string() + "." + std::to_string(i)) : log; };
  for (const int i : {0, 1}) std::ofstream(numbered(i)) << "older";
  const mode_t mask = umask(0);
  m_service.setLoggingFile(ut::FileName(od(log)));
  umask(mask);
  ASSERT_EQ(m_service.getLoggingFilePath()->getFullPath(), od(numbered(2)));
  EXPECT_EQ(fs::status(numbered(2)).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  (void)m_service.execute(Builder().request("/").authorizeBearer("secret").build());
  const std::string logged = qxtest::fileBytes(numbered(2));
  EXPECT_TRUE(logged.find("> GET / HTTP/1.1\r\n") != std::string::npos &&
              logged.find("Authorization: Bearer secret") != std::string::npos);
  m_service.setLoggingFile(std::nullopt);
  (void)m_service.execute(get("/"));
  EXPECT_TRUE(!m_service.getLoggingFilePath() && qxtest::fileBytes(numbered(2)) == logged);
  // With every numbered name taken, the one made first is reused: here ".5", made before the others.
  const auto madeAt = [](const fs::path& name) {
    return ut::platform::fileCreationTimeNs(od(name)).value_or(0);
  };
  std::ofstream(numbered(5)) << "oldest";
  for (int i = 0; i <= 10; ++i) {
    while (i != 5 && madeAt(numbered(i)) <= madeAt(numbered(5))) {  // until the coarse clock moves on
      fs::remove(numbered(i));
      std::ofstream(numbered(i)) << "newer";
    }
  }
  m_service.setLoggingFile(ut::FileName(od(log)));
  EXPECT_EQ(m_service.getLoggingFilePath()->getFullPath(), od(numbered(5)));
  EXPECT_EQ(fs::file_size(numbered(5)), 0u);
}

TEST_F(HttpsTest, ASharedServicePerformsEachRequestOnceAndWholeOnOneConnection) {
  constexpr int kThreads = 8, kRequests = 25;
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRequests; ++i) {
        const std::string body = std::to_string(t) + "/" + std::to_string(i) + std::string(1000 * i, '.');
        wrong += m_service.execute(Builder().post().request("/echo").body(body).build()).body != body;
      }
    });
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> bodies;
  for (const qxtest::Received& got : server().received()) bodies.insert(got.body);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(bodies.size(), static_cast<size_t>(kThreads * kRequests));
  EXPECT_EQ(server().received().size(), bodies.size());
  EXPECT_EQ(server().connections(), 1);
}

TEST_F(HttpsTest, IndependentServicesRunAtOnce) {
  constexpr int kServices = 4;
  std::vector<std::thread> threads;
  std::atomic<int> met{0};
  for (int t = 0; t < kServices; ++t)
    threads.emplace_back(
        [&] { met += ut::HttpsService(server().domain()).execute(get("/meet/4")).status == 200; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(met, kServices);
}

TEST_F(HttpsTest, MovesEncodesClosesWhenToldAndOutlivesTheGlobalSetUp) {
  ut::HttpsService moved = std::move(m_service);
  EXPECT_TRUE(m_service.domain().empty() && m_service.urlEncode("a b").empty());
  EXPECT_EQ(moved.urlEncode("a b/\xC3\xA9~"), "a%20b%2F%C3%A9~");
  for (int i = 0; i < 2; ++i) (void)moved.execute(Builder().request("/echo").forbidReuse(true).build());
  EXPECT_EQ(server().connections(), 2);
  { const ut::HttpsService last = std::move(moved); }  // libcurl's global state goes with the last service
  EXPECT_EQ(ut::HttpsService(server().domain()).execute(get("/echo")).body, "/echo");
}

}  // namespace
