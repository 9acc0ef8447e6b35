#include "ut_assert.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> g_calls;

int first(const char* expr, const char* message, const char* file, int line) {
  g_calls.push_back(std::string("first:") + expr + "|" + message + "|" + file + "|" + std::to_string(line));
  return 0;
}

int second(const char*, const char*, const char*, int) {
  g_calls.push_back("second");
  return 1;
}

int selfRemoving(const char*, const char*, const char*, int) {
  g_calls.push_back("selfRemoving");
  ut::removeAssertCallback(selfRemoving);
  return 0;
}

// Re-adding a callback moves it to the end and keeps one; removing one twice is harmless, and a callback
// may remove itself while it is called without the next one being skipped.
TEST(AssertCallbacks, AreCalledInTheOrderOfTheirLastAdditionTillRemoved) {
  ut::addAssertCallback(first);
  ut::addAssertCallback(second);
  ut::callAssert("x > 0", "bad x", "f.cpp", 7);
  ut::addAssertCallback(first);
  ut::callAssert(nullptr, nullptr, nullptr, 0);
  ut::addAssertCallback(selfRemoving);
  ut::addAssertCallback(second);
  ut::removeAssertCallback(first);
  ut::removeAssertCallback(first);
  ut::callAssert("e", "m", "f", 1);
  ut::callAssert("e", "m", "f", 1);
  ut::removeAssertCallback(second);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"first:x > 0|bad x|f.cpp|7", "second", "second", "first:|||0",
                                               "selfRemoving", "second", "second"}));
}

}  // namespace
