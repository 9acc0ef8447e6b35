#include "qxutils.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

int* volatile g_null = nullptr;

// A fault in the consumer's own code, built with the flags the package passes on, becomes an exception it
// catches.
bool faultIsCaught() {
  std::string dir = (std::filesystem::temp_directory_path() / "qxconsumer_XXXXXX").string();
  if (!mkdtemp(dir.data())) return false;
  setenv("VELTOCAD_CRASH_REPORT_DIR", dir.c_str(), 1);
  ut::initCrashReporting();
  bool caught = false;
  try {
    *g_null = 1;
  } catch (const ut::FatalErrorException& e) {
    caught = e.errorCode() == 0xC0000005;
  }
  const bool reported = std::filesystem::exists(std::filesystem::path(dir) / "crash_report.txt");
  std::filesystem::remove_all(dir);
  return caught && reported;
}

}  // namespace

int main() {
  OdArray<OdString> parts;
  ut::split(parts, L"a,b", L",");
  const int passed = (parts.size() == 2 && parts[1] == L"b") + faultIsCaught();
  std::printf("package: %d passed, %d failed\n", passed, 2 - passed);
  return passed == 2 ? 0 : 1;
}
