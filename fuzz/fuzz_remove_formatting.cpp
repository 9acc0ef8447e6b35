// removeFormatting and isFormattingChar on any text: no crash, and the plain text is never longer than
// the formatted one; a text without '\', '{' and '}' holds no code and comes back unchanged.

#include "fuzz_wide_text.h"
#include "ut_string.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool keepLineBreaks = data[0] & 1;
  const OdString text(wideTextFromBytes(data + 1, size - 1));
  const OdString plain = ut::removeFormatting(text, keepLineBreaks);
  if (plain.getLength() > text.getLength()) std::abort();
  if (text.findOneOf(L"\\{}") < 0 && !(plain == text)) std::abort();
  (void)ut::isFormattingChar(text.c_str());
  return 0;
}
