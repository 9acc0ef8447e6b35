// isValidName and makeValidName on any name: no crash, and a repaired name always passes validation
// under the rules it was repaired for; a name that already passes comes back unchanged.

#include "fuzz_wide_text.h"
#include "ut_string.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool allowVerticalBar = data[0] & 1;
  const bool extendedNames = data[0] & 2;
  const bool keepLeadingAsterisk = data[0] & 4;
  // Names reach these functions as C strings, so the name ends at the first terminator.
  const OdString name(wideTextFromBytes(data + 1, size - 1).c_str());
  const bool valid = ut::isValidName(name.c_str(), allowVerticalBar, extendedNames);
  const OdString repaired = ut::makeValidName(name, L'_', keepLeadingAsterisk, extendedNames);
  if (keepLeadingAsterisk) return 0;
  if (!ut::isValidName(repaired.c_str(), false, extendedNames)) std::abort();
  if (valid && !allowVerticalBar && !(repaired == name)) std::abort();
  return 0;
}
