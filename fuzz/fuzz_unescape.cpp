// The quoted form of a registry value's text: unescape takes any text without crashing, and undoes
// escape for every text.

#include "fuzz_wide_text.h"
#include "ut_registry.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const wxString text(wideTextFromBytes(data, size));
  (void)ut::unescape(text);
  if (ut::unescape(ut::escape(text)) != text) std::abort();
  return 0;
}
