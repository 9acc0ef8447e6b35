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

class AssertCallbacks : public testing::Test {
 protected:
  void SetUp() override { g_calls.clear(); }
  void TearDown() override {
    for (auto cb : {first, second, selfRemoving}) ut::removeAssertCallback(cb);
  }
};

// Re-adding a callback moves it to the end and keeps one.
TEST_F(AssertCallbacks, CalledInRegistrationOrderWithArguments) {
  ut::addAssertCallback(first);
  ut::addAssertCallback(second);
  ut::callAssert("x > 0", "bad x", "f.cpp", 7);
  ut::addAssertCallback(first);
  ut::callAssert(nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(g_calls,
            (std::vector<std::string>{"first:x > 0|bad x|f.cpp|7", "second", "second", "first:|||0"}));
}

// Removing twice is harmless, and a callback may remove itself while it is called.
TEST_F(AssertCallbacks, RemovedCallbackIsNotCalled) {
  ut::addAssertCallback(first);
  ut::addAssertCallback(selfRemoving);
  ut::addAssertCallback(second);
  ut::removeAssertCallback(first);
  ut::removeAssertCallback(first);
  ut::callAssert("e", "m", "f", 1);
  ut::callAssert("e", "m", "f", 1);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"selfRemoving", "second", "second"}));
}

}  // namespace
