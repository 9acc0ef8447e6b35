#include "ut_string_parser.h"

#include <cwctype>
#include <string_view>

namespace ut {
namespace {

bool isSpace(wchar_t c) { return std::iswspace(static_cast<wint_t>(c)) != 0; }

size_t skipSpaces(std::wstring_view text, size_t pos) {
  while (pos < text.size() && isSpace(text[pos])) ++pos;
  return pos;
}

size_t nameEnd(std::wstring_view text, size_t pos) {
  while (pos < text.size() && text[pos] != L'=' && !isSpace(text[pos])) ++pos;
  return pos;
}

}  // namespace

bool CStringParser::parse(const OdString& text) {
  init();
  const std::wstring_view source = text.view();
  for (size_t pos = skipSpaces(source, 0); pos < source.size(); pos = skipSpaces(source, pos)) {
    const size_t equals = nameEnd(source, pos);
    if (source.substr(equals, 2) != L"={") {
      m_message = OdString(source.substr(pos));
      return true;
    }
    const size_t valueStart = equals + 2;
    const size_t close = source.find(L'}', valueStart);
    if (close == std::wstring_view::npos) {
      m_message = OdString(source.substr(pos));
      return false;
    }
    m_attributes.emplace(OdString(source.substr(pos, equals - pos)),
                         OdString(source.substr(valueStart, close - valueStart)));
    pos = close + 1;
  }
  return true;
}

OdString CStringParser::attribute(const OdString& name) const {
  const auto found = m_attributes.find(name);
  return found != m_attributes.end() ? found->second : OdString();
}

void CStringParser::init() {
  m_message.empty();
  m_attributes.clear();
}

}  // namespace ut
