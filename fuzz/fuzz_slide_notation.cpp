// Slide notations, "library(slide)", from arbitrary text: a slide found is the text between the last '(' and
// the last ')', and the name is a prefix of the notation.

#include "fuzz_wide_text.h"
#include "ut_string.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const OdString notation(wideTextFromBytes(data, size));
  OdString name(L"untouched"), slide(L"untouched");
  ut::splitSlideSpecification(notation, name, slide);
  if (notation.isEmpty()) {
    if (name != L"untouched" || slide != L"untouched") std::abort();
    return 0;
  }
  if (!ut::startsWith(notation, name)) std::abort();
  if (!slide.isEmpty() && notation.find((L"(" + slide + L")").c_str()) < 0) std::abort();
  return 0;
}
