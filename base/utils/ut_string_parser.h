// Message attribute parser: splits a message that carries its metadata in front, as in
// "priority={1} entity={hf56} message", into named attributes and the free text that follows them.
//
//   ut::CStringParser parser;
//   parser.parse(L"priority={1} entity={hf56} Cannot open file");   // true
//   parser.attribute(L"priority");                                  // L"1"
//   parser.attribute(L"layer");                                     // L"" (not present)
//   parser.message();                                               // L"Cannot open file"
//   parser.parse(L"x={unclosed text");                              // false
//   parser.message();                                               // L"x={unclosed text"
//
// Grammar: after optional white space, a name (up to "=" or white space) directly followed by "={", a
// value up to the first "}" (which therefore cannot occur in a value; there is no escape), and so on.
// The first word that is not followed by "={" starts the message, which runs unchanged to the end.
//
// A parser is a plain value: distinct instances may be used from different threads; one instance may be
// read from several threads at once, but not while parse() runs on it.

#ifndef QX_UT_STRING_PARSER_H
#define QX_UT_STRING_PARSER_H

#include "OdString.h"

#include <map>

namespace ut {

class CStringParser {
 public:
  // Replaces the content with the parse of `text`. False only when the text ends inside a value: that
  // name, "={" and the value so far then become the message; attributes before it are kept.
  bool parse(const OdString& text);

  // The value of the attribute named exactly `name`, or an empty string.
  [[nodiscard]] OdString attribute(const OdString& name) const;
  // The text after the attributes, white space before it skipped, the rest unchanged.
  [[nodiscard]] const OdString& message() const { return m_message; }
  // Every attribute by name (case-sensitive order); where a name repeats, its first value.
  [[nodiscard]] const std::map<OdString, OdString>& attributes() const { return m_attributes; }

 protected:
  // Empties the message and the attributes.
  void init();

 private:
  OdString m_message;
  std::map<OdString, OdString> m_attributes;
};

}  // namespace ut

#endif
