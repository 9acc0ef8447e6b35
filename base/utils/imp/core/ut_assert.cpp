#include "ut_assert.h"

#include <algorithm>
#include <vector>

namespace ut {

namespace {

std::vector<AssertCallback>& callbacks() {
  static std::vector<AssertCallback> list;
  return list;
}

}  // namespace

void addAssertCallback(AssertCallback callback) {
  if (!callback) return;
  removeAssertCallback(callback);
  callbacks().push_back(callback);
}

void removeAssertCallback(AssertCallback callback) { std::erase(callbacks(), callback); }

void callAssert(const char* expression, const char* message, const char* file, int line) {
  // A callback may add or remove callbacks; walk a snapshot so that the loop stays valid.
  const std::vector<AssertCallback> snapshot = callbacks();
  for (AssertCallback callback : snapshot) {
    callback(expression ? expression : "", message ? message : "", file ? file : "", line);
  }
}

}  // namespace ut
