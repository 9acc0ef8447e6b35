// The command-line machinery of qxreg: verbs with their switches and help, argument splitting, and the
// way the tool talks to its user.

#ifndef QX_TOOLS_QXREG_CLI_H
#define QX_TOOLS_QXREG_CLI_H

#include "OdString.h"

#include <wx/string.h>

#include <map>
#include <span>
#include <string>
#include <vector>

namespace qxreg {

// A verb's arguments: the positional ones in order, and the switches given, by lower-case name without
// their prefix (a flag's value is empty).
struct CommandLine {
  std::vector<wxString> args;
  std::map<std::string, wxString> switches;

  bool has(const std::string& name) const { return switches.contains(name); }
  // Empty when the switch was not given.
  wxString value(const std::string& name) const;
};

// A verb, or with `subVerbs` a family of verbs named by the next argument ("profile").
struct Verb {
  const char* name;
  const char* usage = "";    // what follows the verb's name on the command line
  const char* help = "";     // what the verb does, for --help
  const char* flags = "";    // switches without a value, parted by blanks ("ve s")
  const char* options = "";  // switches taking the next argument as their value
  size_t minArgs = 0;
  size_t maxArgs = 0;
  int (*run)(const CommandLine& line) = nullptr;
  std::span<const Verb> subVerbs = {};
};

// Runs `verb` with the arguments that follow its name; `command` is what calls it ("qxreg",
// "qxreg profile"). Answers the exit code.
int runVerb(const Verb& verb, std::span<const wxString> args, const wxString& command);

// Writes a line to standard output.
void print(const wxString& line);
// Writes "qxreg: <message>" to standard error and answers false.
bool complain(const wxString& message);
// As complain, answering the exit code of a failure.
int fail(const wxString& message);

inline OdString od(const wxString& text) { return OdString(std::wstring_view(text.wc_str(), text.length())); }
inline wxString wx(const OdString& text) { return wxString(text.c_str()); }

}  // namespace qxreg

#endif
