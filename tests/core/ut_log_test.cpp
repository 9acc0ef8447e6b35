#include "ut_log.h"
#include "ut_system.h"

#include "OdString.h"

#include <gtest/gtest.h>

#include <thread>

TEST(LogStampTest, NamesTheTimeAndTheBuild) {
  std::tm t{};
  t.tm_mday = 4;
  t.tm_mon = 0;
  t.tm_year = 126;
  t.tm_hour = 9;
  t.tm_min = 7;
  t.tm_sec = 3;
  const std::string line = ut::getLogStampChar(t);
  // The build's suffix follows the version: empty in release builds, "d" in debug ones.
  EXPECT_TRUE(line.starts_with("\n--------------- 04-01-2026 09:07:03 --------------- v26.1.07.0")) << line;
  EXPECT_TRUE(line.ends_with(" ---------------")) << line;
  EXPECT_EQ(ut::getLogStamp(t), OdString(std::wstring(line.begin(), line.end())));
}

TEST(ThreadIdTest, EachThreadHasItsOwnAndTheMainOneIsWhatWasRecorded) {
  const unsigned long here = ut::getCurrentThreadId();
  unsigned long there = 0;
  std::thread([&] { there = ut::getCurrentThreadId(); }).join();
  EXPECT_NE(here, 0u);
  EXPECT_NE(here, there);
  ut::setMainThreadId(there);
  EXPECT_EQ(ut::getMainThreadId(), there);
}
