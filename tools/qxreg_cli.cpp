// The command-line machinery of qxreg: splitting a verb's arguments, help and usage, messages.

#include "qxreg_cli.h"

#include <algorithm>
#include <cstdio>

namespace qxreg {

namespace {

bool isHelp(const std::string& switchName) {
  return switchName == "help" || switchName == "h" || switchName == "?";
}

// The lower-case name of the switch `arg` spells ("/v", "-v", "--from"); empty for a positional argument.
// A "/" word holding no further "/" or "." is a switch, so that absolute file names stay arguments.
std::string switchName(const wxString& arg) {
  wxString name;
  const bool isSwitch = arg.StartsWith("--", &name) || arg.StartsWith("-", &name) ||
                        (arg.StartsWith("/", &name) && name.find_first_of("/.") == wxString::npos);
  return isSwitch ? std::string(name.Lower().utf8_str()) : std::string();
}

bool contains(const char* names, const std::string& name) {
  return (" " + std::string(names) + " ").find(" " + name + " ") != std::string::npos;
}

// Fills `line` from `args`; answers what is wrong with them (an unknown or repeated switch, a missing
// value), or nothing.
wxString split(const Verb& verb, std::span<const wxString> args, CommandLine& line) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string name = switchName(args[i]);
    if (name.empty()) {
      line.args.push_back(args[i]);
      continue;
    }
    if (isHelp(name)) {
      line.switches["help"];
      continue;
    }
    const bool takesValue = contains(verb.options, name);
    if (!takesValue && !contains(verb.flags, name)) return "unknown option " + args[i];
    if (line.has(name)) return "option " + args[i] + " given twice";
    if (takesValue && i + 1 == args.size()) return "option " + args[i] + " needs a value";
    line.switches[name] = takesValue ? args[++i] : wxString();
  }
  return wxString();
}

void writeLine(FILE* stream, const wxString& line) {
  std::fputs(line.utf8_str(), stream);
  std::fputc('\n', stream);
}

wxString commandLine(const wxString& command, const char* usage) {
  return *usage ? command + " " + usage : command;
}

// One line per verb a family holds, its sub-families' verbs included.
void listVerbs(FILE* stream, const Verb& family, const wxString& command) {
  for (const Verb& verb : family.subVerbs) {
    const wxString called = command + " " + verb.name;
    if (verb.subVerbs.empty())
      writeLine(stream, "  " + commandLine(called, verb.usage));
    else
      listVerbs(stream, verb, called);
  }
}

void printUsage(FILE* stream, const Verb& verb, const wxString& command) {
  writeLine(stream, "Usage: " + commandLine(command, verb.usage));
  listVerbs(stream, verb, command);
}

int usageError(const Verb& verb, const wxString& command, const wxString& message) {
  complain(message);
  printUsage(stderr, verb, command);
  writeLine(stderr, "Try '" + command + " --help'.");
  return 1;
}

int printHelp(const Verb& verb, const wxString& command) {
  printUsage(stdout, verb, command);
  writeLine(stdout, "");
  writeLine(stdout, verb.help);
  return 0;
}

int runFamily(const Verb& family, std::span<const wxString> args, const wxString& command) {
  if (args.empty()) return usageError(family, command, "missing verb");
  if (isHelp(switchName(args[0]))) return printHelp(family, command);
  const auto verb = std::find_if(family.subVerbs.begin(), family.subVerbs.end(), [&](const Verb& candidate) {
    return args[0].IsSameAs(candidate.name, false);
  });
  if (verb == family.subVerbs.end()) return usageError(family, command, "unknown verb " + args[0]);
  return runVerb(*verb, args.subspan(1), command + " " + verb->name);
}

}  // namespace

wxString CommandLine::value(const std::string& name) const {
  const auto found = switches.find(name);
  return found == switches.end() ? wxString() : found->second;
}

int runVerb(const Verb& verb, std::span<const wxString> args, const wxString& command) {
  if (!verb.subVerbs.empty()) return runFamily(verb, args, command);
  CommandLine line;
  if (const wxString error = split(verb, args, line); !error.empty()) return usageError(verb, command, error);
  if (line.has("help")) return printHelp(verb, command);
  if (line.args.size() < verb.minArgs) return usageError(verb, command, "missing arguments");
  if (line.args.size() > verb.maxArgs) return usageError(verb, command, "too many arguments");
  return verb.run(line);
}

void print(const wxString& line) { writeLine(stdout, line); }

bool complain(const wxString& message) {
  writeLine(stderr, "qxreg: " + message);
  return false;
}

int fail(const wxString& message) {
  complain(message);
  return 1;
}

}  // namespace qxreg
