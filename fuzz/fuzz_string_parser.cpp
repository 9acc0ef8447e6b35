// Feeds UTF-8 text to CStringParser and checks what every parse must give: the message is the end of
// the text, lookups agree with the map, and the parse of the message alone, or of the attributes written
// back out in front of it, gives the same result.

#include "ut_string_parser.h"
#include "core/ut_utf8.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

bool sameParse(const ut::CStringParser& a, const ut::CStringParser& b) {
  return a.message() == b.message() && a.attributes() == b.attributes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::wstring text;
  (void)ut::internal::decodeUtf8(std::string_view(reinterpret_cast<const char*>(data), size), text, true);

  ut::CStringParser parser;
  const bool closed = parser.parse(text);
  const std::wstring& message = parser.message().str();
  check(text.ends_with(message));
  check(closed || message.find(L"={") != std::wstring::npos);
  for (const auto& [name, value] : parser.attributes()) check(parser.attribute(name) == value);
  check(parser.attributes().count(message) || parser.attribute(message).isEmpty());

  ut::CStringParser alone;
  check(alone.parse(parser.message()) == closed);
  check(alone.attributes().empty() && alone.message() == parser.message());

  std::wstring written;
  for (const auto& [name, value] : parser.attributes()) written += name.str() + L"={" + value.str() + L"} ";
  ut::CStringParser again;
  check(again.parse(written + message) == closed && sameParse(again, parser));

  const ut::CStringParser copy = parser;
  check(sameParse(copy, parser));
  return 0;
}
