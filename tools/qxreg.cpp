// qxreg: the registry and profile tool for machines without a registry editor. Its registry verbs follow
// the Windows reg command; run without a verb, it loads the configuration as the application does at
// start-up and prints the current profile.

#include "qxreg_cli.h"
#include "qxreg_profile.h"
#include "qxreg_registry.h"

#include "ut_assert.h"

#include <cstdio>
#include <vector>

namespace {

constexpr const char* kHelp =
    "Reads and changes the application's registry and its user profiles. Without a verb, loads the\n"
    "configuration as the application does at start-up (creating the \"Default\" profile on the first run)\n"
    "and prints the current profile's settings.\n"
    "\n"
    "KEY is ROOT\\PATH, ROOT one of HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE (HKLM),\n"
    "HKEY_CLASSES_ROOT (HKCR), HKEY_USERS (HKU) or HKEY_CURRENT_CONFIG (HKCC). Quote keys for the shell:\n"
    "'HKCU\\Software\\Korvani'. The hives are user.hive and machine.hive in $VELTOCAD_REGISTRY_DIR (by\n"
    "default ~/.config/Korvani and /etc/xdg/Korvani).\n"
    "\n"
    "A command that fails says why on standard error, changes nothing and exits with 1.\n"
    "'qxreg VERB --help' tells more about a verb.";

const qxreg::Verb& tool() {
  static const std::vector<qxreg::Verb> verbs = [] {
    const std::span<const qxreg::Verb> registry = qxreg::registryVerbs();
    std::vector<qxreg::Verb> all(registry.begin(), registry.end());
    all.push_back(qxreg::profileVerb());
    return all;
  }();
  static const qxreg::Verb tool{
      .name = "qxreg", .usage = "[VERB [ARGUMENTS]]", .help = kHelp, .subVerbs = verbs};
  return tool;
}

// What the library reports (a file not found, skipped lines of a registration file) the user reads.
int tellUser(const char*, const char* message, const char*, int) {
  std::fprintf(stderr, "qxreg: %s\n", message);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  ut::addAssertCallback(tellUser);
  std::vector<wxString> args;
  for (int i = 1; i < argc; ++i) args.push_back(wxString::FromUTF8(argv[i]));
  if (args.empty()) return qxreg::printCurrentProfile();
  return qxreg::runVerb(tool(), args, "qxreg");
}
