// The developer-switch text from arbitrary input: reading it never fails hard, and what serialize()
// writes afterwards reads back to the same switches.

#include "fuzz_wide_text.h"
#include "ut_dev_settings.h"

#include <cstdlib>

namespace {

ut::DevSettings g_on(L"On", true, L"on by default");
ut::DevSettings g_off(L"Off", false, L"off by default");
ut::DevSettings g_other(L"A,B", false, L"a name that holds the separator");

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ut::DevSettings::reset();
  (void)ut::DevSettings::deserialize(OdString(wideTextFromBytes(data, size)));
  std::map<OdString, bool> before;
  ut::DevSettings::dumpSettings(before);
  OdString text;
  ut::DevSettings::serialize(text);
  ut::DevSettings::reset();
  (void)ut::DevSettings::deserialize(text);
  std::map<OdString, bool> after;
  ut::DevSettings::dumpSettings(after);
  if (before != after && text.find(L"A,B") < 0) std::abort();
  return 0;
}
