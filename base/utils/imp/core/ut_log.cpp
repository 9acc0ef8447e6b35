#include "ut_log.h"

#include "core/ut_identity.h"
#include "core/ut_utf8.h"

#include <cstdio>

namespace ut {

std::string getLogStampChar(const std::tm& t) {
  char line[128];
  std::snprintf(line, sizeof line,
                "\n--------------- %02d-%02d-%04d %02d:%02d:%02d --------------- v%s%s ---------------",
                t.tm_mday, t.tm_mon + 1, t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec,
                internal::kVersionText, internal::kBuildSuffix);
  return line;
}

OdString getLogStamp(const std::tm& t) {
  std::wstring line;
  (void)internal::decodeUtf8(getLogStampChar(t), line, true);
  return OdString(line);
}

}  // namespace ut
