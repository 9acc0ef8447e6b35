// The traffic log of an HttpsService. It holds request headers, bearer tokens among them, so the file is
// its owner's alone whatever the umask, and an earlier log is kept rather than overwritten while one of
// the numbered names is free.

#include "web/ut_https_p.h"

#include "core/ut_assert_p.h"
#include "core/ut_wx.h"
#include "platform/files.h"
#include "platform/text.h"

namespace ut {

namespace internal {

OdString chooseLogFile(const OdString& path) {
  constexpr int kAlternatives = 10;
  OdString oldest;
  int64_t oldestTime = 0;
  for (int number = 0; number <= kAlternatives; ++number) {
    const OdString candidate = number == 0 ? path : path + OdString().format(L".%d", number);
    const std::optional<int64_t> made = platform::fileCreationTimeNs(candidate);
    if (!made) return candidate;
    if (oldest.isEmpty() || *made < oldestTime) {
      oldest = candidate;
      oldestTime = *made;
    }
  }
  return oldest;
}

int writeCurlLog(CURL*, curl_infotype type, char* data, size_t size, void* stream) {
  static const char* const kMarks[] = {"* ", "< ", "> "};  // CURLINFO_TEXT, HEADER_IN, HEADER_OUT
  if (type > CURLINFO_HEADER_OUT || !stream) return 0;
  auto& log = *static_cast<std::ofstream*>(stream);
  log << kMarks[type];
  log.write(data, static_cast<std::streamsize>(size));
  return 0;
}

}  // namespace internal

void HttpsService::Impl::setLoggingFile(const std::optional<FileName>& path) {
  const std::lock_guard lock(m_mutex);
  if (m_log.is_open()) m_log.close();
  logTo(nullptr);
  m_logPath.reset();
  if (!path) return;
  const OdString file = internal::chooseLogFile(path->getFullPath());
  m_logPath = FileName(file);
  if (platform::makeEmptyFile(file, platform::Sharing::eOwnerOnly))
    m_log.open(platform::fileNameToNarrow(file.view()), std::ios::out | std::ios::binary);
  if (!m_log.is_open()) {
    internal::report("ut::HttpsService::setLoggingFile",
                     internal::toWx(OdString().format(L"Unable to open the log file '%ls'", file.c_str())));
    return;
  }
  m_log << std::unitbuf;  // a transfer's account is in the file while the program still runs
  logTo(&m_log);
}

std::optional<FileName> HttpsService::Impl::loggingFilePath() {
  const std::lock_guard lock(m_mutex);
  return m_logPath;
}

void HttpsService::Impl::logTo(std::ofstream* stream) {
  curl_easy_setopt(m_curl, CURLOPT_DEBUGDATA, stream);
  curl_easy_setopt(m_curl, CURLOPT_VERBOSE, stream ? 1L : 0L);
}

}  // namespace ut
