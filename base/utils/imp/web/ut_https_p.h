// The state behind an HttpsService: its domain, its one libcurl handle and the lock that serialises
// every operation on them, and the file that logs its traffic.

#ifndef QX_UT_HTTPS_P_H
#define QX_UT_HTTPS_P_H

#include "ut_https.h"

#include <curl/curl.h>

#include <fstream>
#include <mutex>
#include <optional>
#include <string>

namespace ut {

class HttpsService::Impl {
 public:
  // Takes part in libcurl's process-wide set-up and makes the handle; throws OdError when it cannot.
  explicit Impl(std::string domain);
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  // Each takes m_mutex.
  HttpsResponse execute(const HttpsRequest& request, const Progress& progress);
  std::string urlEncode(const std::string& text);
  void setLoggingFile(const std::optional<FileName>& path);
  std::optional<FileName> loggingFilePath();

  const std::string m_domain;

 private:
  // Lets libcurl write its account of the transfers to m_log while it is open.
  void logTo(std::ofstream* stream);

  CURL* m_curl = nullptr;
  std::recursive_mutex m_mutex;
  std::optional<FileName> m_logPath;
  std::ofstream m_log;
};

namespace internal {

// The first free name among `path` and "<path>.1" to "<path>.10", else the one of them made first.
OdString chooseLogFile(const OdString& path);
// Writes what libcurl tells about a transfer (its notes and the headers both ways, not the bodies) to
// the std::ofstream `stream`.
int writeCurlLog(CURL* curl, curl_infotype type, char* data, size_t size, void* stream);

}  // namespace internal

}  // namespace ut

#endif
