// Logging: the head line that starts a log file or a crash report, naming the time and the build.
//
//   std::tm t{};
//   t.tm_mday = 24; t.tm_mon = 10; t.tm_year = 126; t.tm_hour = 15; t.tm_min = 4; t.tm_sec = 5;
//   ut::getLogStampChar(t);
//   // "\n--------------- 24-11-2026 15:04:05 --------------- v26.1.07.0 ---------------"
//
// Thread safety: every function may be called from any thread.

#ifndef QX_UT_LOG_H
#define QX_UT_LOG_H

#include "OdString.h"

#include <ctime>
#include <string>

namespace ut {

// The head line for the broken-down time `t`: day, month, year, hour, minute and second, then the
// library's version with the build's suffix (empty in release builds).
OdString getLogStamp(const std::tm& t);
// The same in narrow characters.
std::string getLogStampChar(const std::tm& t);

}  // namespace ut

#endif
