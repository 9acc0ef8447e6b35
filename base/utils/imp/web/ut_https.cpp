// HttpsService: one libcurl easy handle per service, reused for every transfer so that its connection
// and TLS session stay open between requests. Each transfer sets every option it relies on, to its own
// value or back to libcurl's default, so nothing of one request (credentials, a body, a callback) is
// carried into the next.

#include "web/ut_https_p.h"

#include "ut_file.h"
#include "ut_system.h"

#include <memory>

namespace ut {

namespace {

// libcurl's global set-up, made by the first live service and undone by the last.
std::recursive_mutex g_globalMutex;
int g_liveServices = 0;

void addService() {
  const std::lock_guard lock(g_globalMutex);
  if (g_liveServices++ == 0) curl_global_init(CURL_GLOBAL_ALL);
}

void removeService() {
  const std::lock_guard lock(g_globalMutex);
  if (--g_liveServices == 0) curl_global_cleanup();
}

// "cacert.pem" beside the executable, read once; empty when it cannot be read.
const std::string& certificateBundle() {
  static const std::string bundle = [] {
    std::string bytes;
    if (!readEntireFile(getExecutableFolder() + L"cacert.pem", bytes)) bytes.clear();
    return bytes;
  }();
  return bundle;
}

void check(CURLcode code) {
  if (code != CURLE_OK) throw HttpsError(curl_easy_strerror(code));
}

template <class T>
void setOption(CURL* curl, CURLoption option, T value) {
  check(curl_easy_setopt(curl, option, value));
}

size_t appendTo(char* data, size_t size, size_t count, void* target) {
  try {
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
  } catch (...) {
    return 0;  // libcurl fails the transfer with a write error
  }
}

int callProgress(void* progress, curl_off_t downloadTotal, curl_off_t downloaded, curl_off_t uploadTotal,
                 curl_off_t uploaded) {
  try {
    const auto& call = *static_cast<HttpsService::Progress*>(progress);
    return call(static_cast<double>(downloadTotal), static_cast<double>(downloaded),
                static_cast<double>(uploadTotal), static_cast<double>(uploaded)) != 0;
  } catch (...) {
    return 1;  // a callable that throws cancels
  }
}

std::string urlOf(const HttpsRequest& request, const std::string& domain) {
  if (request.request.find("https://") != std::string::npos ||
      request.request.find("http://") != std::string::npos)
    return request.request;
  return (request.https ? "https://" : "http://") + domain + request.request;
}

// One transfer's state on the handle: the header list, the MIME parts, the captured response and the
// progress callable. The destructor takes them all off the handle again, whatever happened.
class Transfer {
 public:
  explicit Transfer(CURL* curl) : m_curl(curl) {}
  ~Transfer();
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  void setUrlAndMethod(const HttpsRequest& request, const std::string& domain);
  void setBody(const HttpsRequest& request);
  void setConnection(const HttpsRequest& request);
  void setHeaders(const HttpsRequest& request);
  void setCapture();
  void setProgress(const HttpsService::Progress& progress);
  HttpsResponse perform();

 private:
  void addHeader(const std::string& line);
  curl_mimepart* addPart(const std::string& name, const std::string& data, bool isFile);
  void setAuthorization(const HttpsRequest& request);

  CURL* m_curl;
  curl_slist* m_headers = nullptr;
  curl_mime* m_mime = nullptr;
  std::unique_ptr<HttpsService::Progress> m_progress;
  HttpsResponse m_response;
};

Transfer::~Transfer() {
  curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, nullptr);
  curl_slist_free_all(m_headers);
  if (m_mime) {
    curl_easy_setopt(m_curl, CURLOPT_MIMEPOST, nullptr);
    curl_mime_free(m_mime);
  }
  curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, nullptr);
  curl_easy_setopt(m_curl, CURLOPT_HEADERDATA, nullptr);
  if (m_progress) {
    curl_easy_setopt(m_curl, CURLOPT_XFERINFOFUNCTION, nullptr);
    curl_easy_setopt(m_curl, CURLOPT_XFERINFODATA, nullptr);
    curl_easy_setopt(m_curl, CURLOPT_NOPROGRESS, 1L);
  }
}

void Transfer::setUrlAndMethod(const HttpsRequest& request, const std::string& domain) {
  setOption(m_curl, CURLOPT_URL, urlOf(request, domain).c_str());
  static const char* const kMethods[] = {"GET", "POST", "PUT"};
  const bool known = request.method >= HttpsRequest::eGet && request.method <= HttpsRequest::ePut;
  setOption(m_curl, CURLOPT_CUSTOMREQUEST, known ? kMethods[request.method] : nullptr);
}

void Transfer::setBody(const HttpsRequest& request) {
  if (!request.isMultiPart) {
    setOption(m_curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    if (!request.body.empty())
      setOption(m_curl, CURLOPT_POSTFIELDS, request.body.c_str());
    else
      setOption(m_curl, CURLOPT_HTTPGET, 1L);  // what a new handle would do: no body, no form type
    return;
  }
  m_mime = curl_mime_init(m_curl);
  if (!m_mime) throw HttpsError(curl_easy_strerror(CURLE_OUT_OF_MEMORY));
  setOption(m_curl, CURLOPT_MIMEPOST, m_mime);
  if (!request.body.empty()) {
    curl_mimepart* part = addPart(request.mimeBodyName, request.body, false);
    if (request.sendJson) check(curl_mime_type(part, "application/json"));
  }
  for (const HttpsRequest::MultiPartData& data : request.multiParts) {
    curl_mimepart* part = addPart(data.name, data.data, data.kind == HttpsRequest::MultiPartData::kFile);
    check(curl_mime_filename(part, data.fileName.c_str()));
  }
}

curl_mimepart* Transfer::addPart(const std::string& name, const std::string& data, bool isFile) {
  curl_mimepart* part = curl_mime_addpart(m_mime);
  if (!part) throw HttpsError(curl_easy_strerror(CURLE_OUT_OF_MEMORY));
  check(curl_mime_name(part, name.c_str()));
  if (isFile)
    curl_mime_filedata(part, data.c_str());  // a file that cannot be read fails the transfer, as libcurl says
  else
    check(curl_mime_data(part, data.data(), data.size()));
  return part;
}

void Transfer::setConnection(const HttpsRequest& request) {
  setOption(m_curl, CURLOPT_TIMEOUT_MS, request.timeout);
  setOption(m_curl, CURLOPT_FOLLOWLOCATION, request.followRedirection ? 1L : 0L);
  setOption(m_curl, CURLOPT_SSL_VERIFYPEER, request.verifySSLCertificate ? 1L : 0L);
  if (request.verifySSLCertificate) {
    const std::string& bundle = certificateBundle();
    curl_blob blob{const_cast<char*>(bundle.data()), bundle.size(), CURL_BLOB_NOCOPY};
    setOption(m_curl, CURLOPT_CAINFO_BLOB, &blob);
  }
  setOption(m_curl, CURLOPT_FORBID_REUSE, request.forbidReuse ? 1L : 0L);
}

void Transfer::addHeader(const std::string& line) {
  if (curl_slist* longer = curl_slist_append(m_headers, line.c_str())) m_headers = longer;
}

void Transfer::setAuthorization(const HttpsRequest& request) {
  const bool bearer = !request.bearerToken.empty();
  const bool basic = !bearer && !request.userName.empty();
  setOption(m_curl, CURLOPT_UNRESTRICTED_AUTH, bearer ? 1L : 0L);
  if (bearer) addHeader("Authorization: Bearer " + request.bearerToken);
  setOption(m_curl, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
  setOption(m_curl, CURLOPT_USERNAME, basic ? request.userName.c_str() : nullptr);
  setOption(m_curl, CURLOPT_PASSWORD, basic ? request.password.c_str() : nullptr);
}

void Transfer::setHeaders(const HttpsRequest& request) {
  if (request.isMultiPart)
    addHeader("Content-Type: multipart/form-data");
  else if (request.sendJson)
    addHeader("Content-Type: application/json");
  setAuthorization(request);
  if (!request.setExpect) addHeader("Expect:");
  if (!request.acceptHeader.empty()) addHeader("Accept: " + request.acceptHeader);
  for (const auto& [key, value] : request.additionalHeaders) addHeader(key + ": " + value);
  // Only requests with headers of their own say that nothing follows; callers rely on both forms.
  if (!request.additionalHeaders.empty() && request.body.empty() && request.multiParts.empty() &&
      request.mimeBodyName.empty())
    addHeader("Content-length: 0");
  setOption(m_curl, CURLOPT_HTTPHEADER, m_headers);
}

void Transfer::setCapture() {
  setOption(m_curl, CURLOPT_WRITEFUNCTION, appendTo);
  setOption(m_curl, CURLOPT_WRITEDATA, &m_response.body);
  setOption(m_curl, CURLOPT_HEADERDATA, &m_response.headers);
}

void Transfer::setProgress(const HttpsService::Progress& progress) {
  if (!progress) return;
  m_progress = std::make_unique<HttpsService::Progress>(progress);
  setOption(m_curl, CURLOPT_XFERINFOFUNCTION, callProgress);
  setOption(m_curl, CURLOPT_XFERINFODATA, m_progress.get());
  setOption(m_curl, CURLOPT_NOPROGRESS, 0L);
}

HttpsResponse Transfer::perform() {
  const CURLcode code = curl_easy_perform(m_curl);
  if (code == CURLE_COULDNT_RESOLVE_HOST) throw HttpsCurlNetworkError(curl_easy_strerror(code), code);
  if (code != CURLE_OK) throw HttpsError(curl_easy_strerror(code));
  long status = 0;
  const char* url = nullptr;
  curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(m_curl, CURLINFO_EFFECTIVE_URL, &url);
  curl_easy_getinfo(m_curl, CURLINFO_TOTAL_TIME, &m_response.totalTime);
  m_response.status = static_cast<int32_t>(status);
  m_response.effectiveUrl = url ? url : "";
  if (status >= 400) throw HttpsResponseError(std::move(m_response));
  return std::move(m_response);
}

}  // namespace

HttpsService::Impl::Impl(std::string domain) : m_domain(std::move(domain)) {
  addService();
  m_curl = curl_easy_init();
  if (!m_curl) {
    removeService();
    throw OdError(L"Unable to initialize CURL");
  }
  // Time-outs must not be signals: the host's threads share the process with this one.
  curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(m_curl, CURLOPT_DEBUGFUNCTION, internal::writeCurlLog);
}

HttpsService::Impl::~Impl() {
  curl_easy_cleanup(m_curl);
  removeService();
}

HttpsResponse HttpsService::Impl::execute(const HttpsRequest& request, const Progress& progress) {
  const std::lock_guard lock(m_mutex);
  Transfer transfer(m_curl);
  transfer.setUrlAndMethod(request, m_domain);
  transfer.setBody(request);
  transfer.setConnection(request);
  transfer.setHeaders(request);
  transfer.setCapture();
  transfer.setProgress(progress);
  return transfer.perform();
}

std::string HttpsService::Impl::urlEncode(const std::string& text) {
  const std::lock_guard lock(m_mutex);
  std::unique_ptr<char, decltype(&curl_free)> escaped(
      curl_easy_escape(m_curl, text.data(), static_cast<int>(text.size())), curl_free);
  return escaped ? std::string(escaped.get()) : std::string();
}

HttpsService::HttpsService(const std::string& domain) : m_impl(std::make_unique<Impl>(domain)) {}
HttpsService::~HttpsService() = default;
HttpsService::HttpsService(HttpsService&& other) noexcept = default;
HttpsService& HttpsService::operator=(HttpsService&& other) noexcept = default;

HttpsResponse HttpsService::execute(const HttpsRequest& request, Progress progress) const {
  return m_impl->execute(request, progress);
}

std::string HttpsService::domain() const { return m_impl ? m_impl->m_domain : std::string(); }

std::string HttpsService::urlEncode(const std::string& text) const {
  return m_impl ? m_impl->urlEncode(text) : std::string();
}

void HttpsService::setLoggingFile(const std::optional<FileName>& path) { m_impl->setLoggingFile(path); }

std::optional<FileName> HttpsService::getLoggingFilePath() const { return m_impl->loggingFilePath(); }

}  // namespace ut
