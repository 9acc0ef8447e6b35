// Slide specifications from arbitrary text: a slide found is the text between the last '(' and the
// last ')', and the name is a prefix of the specification.

#include "fuzz_wide_text.h"
#include "ut_string.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const OdString spec(wideTextFromBytes(data, size));
  OdString name(L"untouched"), slide(L"untouched");
  ut::splitSlideSpecification(spec, name, slide);
  if (spec.isEmpty()) {
    if (name != L"untouched" || slide != L"untouched") std::abort();
    return 0;
  }
  if (!ut::startsWith(spec, name)) std::abort();
  if (!slide.isEmpty() && spec.find((L"(" + slide + L")").c_str()) < 0) std::abort();
  return 0;
}
