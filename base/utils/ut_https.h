// HTTPS: a small synchronous client over libcurl. A request is a plain value (HttpsRequest), usually
// assembled with HttpsRequestBuilder; an HttpsService bound to one server performs it on the calling
// thread and returns the response, or throws one of three errors. Beside it, percentEncode and
// percentDecode make names safe in file paths.
//
//   ut::HttpsService service("api.example.com");
//   const ut::HttpsResponse items = service.execute(
//       ut::HttpsRequestBuilder().get().request("/v1/items").setAcceptHeader("application/json").build());
//   items.status;        // 200
//   items.effectiveUrl;  // "https://api.example.com/v1/items"
//
//   try {
//     service.execute(ut::HttpsRequestBuilder().post().request("/v1/items").body("{}").sendJson(true).build());
//   } catch (const ut::HttpsResponseError& e) {     // status 400 or above: e.response() is the answer
//   } catch (const ut::HttpsError& e) {             // TLS, time-out, cancelled, connection lost, ...
//   } catch (const ut::HttpsCurlNetworkError& e) {  // the host name did not resolve: getCurlErrorCode() 6
//   }
//
//   ut::percentEncode(L"a%b/c");    // L"a%25b%2Fc"
//   ut::percentDecode(L"%2520");    // L"%20": one level only
//
// A service may be shared by threads: it performs one transfer at a time, reusing one connection where
// the server keeps it open. Independent services run in parallel. Requests, responses and errors are
// plain values. A moved-from service must not be used.

#ifndef QX_UT_HTTPS_H
#define QX_UT_HTTPS_H

#include "OdError.h"
#include "OdString.h"
#include "ut_filename.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ut {

// One request, described as a value. Byte strings are sent as they stand (UTF-8 by convention).
struct HttpsRequest {
  enum EMethod : int32_t { eGet = 0, ePost = 1, ePut = 2 };

  // One further part of a multipart/form-data request.
  struct MultiPartData {
    // `kind` values: `data` is the path of a local file whose content is sent, or the content itself.
    static constexpr int32_t kFile = 0;
    static constexpr int32_t kContent = 1;

    std::string name;      // the part's form name
    std::string fileName;  // the file name announced for the part
    std::string data;      // a path (kind 0) or the content (any other kind)
    int32_t kind = kFile;
  };

  EMethod method = eGet;
  std::string mimeBodyName;  // the name of the part that carries `body` in a multipart request
  std::vector<MultiPartData> multiParts;
  std::string request;  // a path appended to the service's domain, or an absolute URL
  std::string body;
  std::string bearerToken;  // sent as "Authorization: Bearer <token>"
  std::string userName;     // HTTP Basic, when there is no bearer token
  std::string password;
  std::string acceptHeader;
  std::map<std::string, std::string> additionalHeaders;  // sent in key order
  // Lets a caller declare a status acceptable; consulted by the sign-in services, not by execute().
  std::function<bool(long)> ignoreErrorCheck = [](long) { return false; };
  long timeout = 30000;  // ms, for the whole transfer
  bool https = true;     // the scheme of a relative request: https, else http
  bool sendJson = false;
  bool isMultiPart = false;
  bool followRedirection = true;
  bool verifySSLCertificate = true;  // against the bundle "cacert.pem" beside the executable
  bool forbidReuse = false;          // close the connection after the transfer
  bool setExpect = true;             // false: no "Expect:" header
};

// What the server answered.
struct HttpsResponse {
  int32_t status = 0;
  std::string body;
  std::string headers;  // every header line received, status lines and CR LF included, unchanged
  std::string effectiveUrl;  // the last URL used, after redirects
  double totalTime = 0;      // seconds
};

// A failed transfer: TLS, time-out, cancellation, a lost connection, a malformed answer. The message is
// libcurl's text for the failure.
class HttpsError : public OdError {
 public:
  explicit HttpsError(const std::string& message);
};

// The server answered with a status of 400 or more; the message is the response's body.
class HttpsResponseError : public HttpsError {
 public:
  explicit HttpsResponseError(HttpsResponse response);
  const HttpsResponse& response() const { return m_response; }

 private:
  HttpsResponse m_response;
};

// The host name could not be resolved (libcurl's code 6). Not an HttpsError, so that a caller can tell
// an unreachable host from every other failure; a handler for OdError catches both.
class HttpsCurlNetworkError : public OdError {
 public:
  HttpsCurlNetworkError(const std::string& message, int curlErrorCode);
  int getCurlErrorCode() const { return m_curlErrorCode; }

 private:
  int m_curlErrorCode;
};

// Assembles an HttpsRequest; each setter returns the builder, so that calls chain.
class HttpsRequestBuilder {
 public:
  HttpsRequestBuilder() = default;
  explicit HttpsRequestBuilder(HttpsRequest request) : m_request(std::move(request)) {}

  HttpsRequestBuilder& get();
  HttpsRequestBuilder& post();
  HttpsRequestBuilder& put();
  HttpsRequestBuilder& request(std::string request);
  HttpsRequestBuilder& body(std::string body);
  HttpsRequestBuilder& timeout(long milliseconds);
  HttpsRequestBuilder& sendJson(bool sendJson);
  HttpsRequestBuilder& setAcceptHeader(const std::string& accept);
  HttpsRequestBuilder& followRedirection(bool follow);
  HttpsRequestBuilder& https(bool https);
  HttpsRequestBuilder& verifySSLCertificate(bool verify);
  HttpsRequestBuilder& authorizeBearer(const std::string& token);
  HttpsRequestBuilder& authorizeCredentials(const std::string& user, const std::string& password);
  // A repeated key overwrites the earlier value.
  HttpsRequestBuilder& addAdditionalHeader(const std::string& key, const std::string& value);
  HttpsRequestBuilder& addIgnoreErrorCheck(const std::function<bool(long)>& check);
  // The next three make the request multipart.
  HttpsRequestBuilder& mimeBodyData(const std::string& name);
  HttpsRequestBuilder& mimeMultiPart(const HttpsRequest::MultiPartData& part);
  HttpsRequestBuilder& sendModelData(const std::vector<HttpsRequest::MultiPartData>& parts);
  HttpsRequestBuilder& forbidReuse(bool forbid);
  HttpsRequestBuilder& setExpect(bool expect);

  [[nodiscard]] HttpsRequest build() const { return m_request; }

 private:
  template <class Field, class Value>
  HttpsRequestBuilder& set(Field HttpsRequest::*field, Value&& value);

  HttpsRequest m_request;
};

// Performs requests for one server domain ("api.example.com", or "host:port") on one libcurl handle,
// which keeps its connection between requests. Every operation holds the service's own lock.
class HttpsService {
 public:
  // Called with the transfer's download total, downloaded bytes, upload total and uploaded bytes (0 while
  // unknown); a non-zero result cancels the transfer.
  using Progress = std::function<size_t(double, double, double, double)>;

  // Throws OdError "Unable to initialize CURL" when libcurl cannot make a handle.
  explicit HttpsService(const std::string& domain = std::string());
  ~HttpsService();
  HttpsService(HttpsService&& other) noexcept;
  HttpsService& operator=(HttpsService&& other) noexcept;

  // Performs `request` and returns the response of a status below 400. Throws HttpsResponseError for a
  // status of 400 or more, HttpsCurlNetworkError when the host name does not resolve, and HttpsError for
  // every other failure, including a time-out and a cancellation through `progress`.
  HttpsResponse execute(const HttpsRequest& request, Progress progress = {}) const;

  [[nodiscard]] std::string domain() const;
  // `text` with every byte but letters, digits and "-._~" as %XX.
  [[nodiscard]] std::string urlEncode(const std::string& text) const;

  // Logs the traffic of later transfers (libcurl's account of them, request and response headers
  // included, bearer tokens too) to a new file readable by its owner only, or stops logging when empty.
  // An existing file is not overwritten: "<path>.1" to "<path>.10" are tried in turn, and when all
  // exist, the oldest of the eleven is reused.
  void setLoggingFile(const std::optional<FileName>& path);
  // The file chosen by setLoggingFile.
  [[nodiscard]] std::optional<FileName> getLoggingFilePath() const;

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

// `text` with each of the characters " % * , / : ; < = > ? \ ` | written as %XX (upper-case hex).
[[nodiscard]] OdString percentEncode(const OdString& text);
// The inverse of percentEncode: only its fourteen codes, only in upper case, and one level only.
[[nodiscard]] OdString percentDecode(const OdString& text);

}  // namespace ut

#endif
