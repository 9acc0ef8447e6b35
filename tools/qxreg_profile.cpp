// The profile verbs of qxreg and its main job, all through the library's own profile manager. Changes
// reach the hive through ut::writeConfig once a verb has succeeded.

#include "qxreg_profile.h"

#include "ut_config.h"
#include "ut_profile.h"

#include <wx/arrstr.h>

namespace qxreg {

namespace {

bool loadProfiles() { return ut::initConfig(nullptr) || complain("cannot load the profiles"); }

bool saveProfiles() { return ut::writeConfig() || complain("cannot save the profiles"); }

bool exists(const wxString& name) { return ut::profileExists(name) || complain("no such profile: " + name); }

bool isFree(const wxString& name) {
  return !ut::profileExists(name) || complain("profile " + name + " exists");
}

bool isCurrent(const wxString& name) { return name.IsSameAs(ut::getCurrentProfileName(), false); }

// Verbs answer whether they succeeded, having said why not.
using ProfileVerb = bool (*)(const CommandLine& line);

// Runs the verb on the profiles as the application would find them at start-up.
template <ProfileVerb verb>
int withProfiles(const CommandLine& line) {
  return loadProfiles() && verb(line) ? 0 : 1;
}

// As withProfiles, then saves what the verb changed.
template <ProfileVerb verb>
int changing(const CommandLine& line) {
  return loadProfiles() && verb(line) && saveProfiles() ? 0 : 1;
}

bool list(const CommandLine&) {
  wxArrayString names;
  ut::getProfileNames(names);
  for (const wxString& name : names) print((isCurrent(name) ? "* " : "  ") + name);
  return true;
}

bool current(const CommandLine&) {
  print(ut::getCurrentProfileName());
  return true;
}

bool use(const CommandLine& line) {
  const wxString& name = line.args[0];
  return exists(name) &&
         (ut::setCurrentProfileName(name, false) || complain("cannot make " + name + " current"));
}

bool create(const CommandLine& line) {
  const wxString& name = line.args[0];
  const wxString from = line.value("from");
  return isFree(name) && (from.empty() || exists(from)) &&
         (ut::createProfile(name, line.value("description"), from) ||
          complain("cannot create profile " + name));
}

bool copy(const CommandLine& line) {
  const wxString& from = line.args[0];
  const wxString& to = line.args[1];
  return exists(from) && isFree(to) &&
         (ut::createProfile(to, wxString(), from) || complain("cannot create profile " + to));
}

bool rename(const CommandLine& line) {
  const wxString& from = line.args[0];
  const wxString& to = line.args[1];
  return exists(from) && (from.IsSameAs(to, false) || isFree(to)) &&
         (ut::renameProfile(from, to) || complain("cannot rename profile " + from));
}

bool remove(const CommandLine& line) {
  const wxString& name = line.args[0];
  if (!exists(name)) return false;
  if (isCurrent(name)) return complain(name + " is the current profile; make another one current first");
  return ut::deleteProfile(name) || complain("cannot delete profile " + name);
}

bool reset(const CommandLine& line) {
  const wxString& name = line.args[0];
  return exists(name) && (ut::resetProfile(name) || complain("cannot reset profile " + name));
}

bool describe(const CommandLine& line) {
  const wxString& name = line.args[0];
  if (!exists(name)) return false;
  if (line.args.size() == 1) {
    print(ut::getProfileDescription(name));
    return true;
  }
  return (ut::setProfileDescription(name, line.args[1]) || complain("cannot describe profile " + name)) &&
         saveProfiles();
}

bool exportProfile(const CommandLine& line) {
  const wxString& name = line.args[0];
  return exists(name) && (ut::exportProfile(name, line.args[1]) || complain("cannot export profile " + name));
}

bool importProfile(const CommandLine& line) {
  const wxString name = line.value("name");
  const wxString description = line.value("description");
  return ut::importProfile(line.args[0], line.has("name") ? &name : nullptr,
                           line.has("description") ? &description : nullptr) ||
         complain("cannot import a profile from " + line.args[0]);
}

// --- The settings tree ---

bool isLive(const ut::ConfigNodePtr& node) { return node->type() != ut::ConfigValBase::eNoNode; }

wxString quoted(wxString text) {
  text.Replace("\\", "\\\\");
  text.Replace("\"", "\\\"");
  text.Replace("\n", "\\n");
  return "\"" + text + "\"";
}

wxString entryText(const ut::ConfigNodeBase& entry) {
  unsigned long number = 0;
  OdString text;
  if (entry.getULong(number)) return wxString::Format("%lu", number);
  return entry.getString(text) ? quoted(wx(text)) : wxString();
}

// The group's entries first, then each sub-group with its own settings a level deeper.
void printGroup(const ut::ConfigNodeBase& group, const wxString& indent) {
  for (const ut::ConfigNodePtr& child : group.children()) {
    if (isLive(child) && !child->isGroup()) print(indent + wx(child->path()) + " = " + entryText(*child));
  }
  for (const ut::ConfigNodePtr& child : group.children()) {
    if (!isLive(child) || !child->isGroup()) continue;
    print(indent + wx(child->path()) + "/");
    printGroup(*child, indent + "  ");
  }
}

}  // namespace

const Verb& profileVerb() {
  static const Verb verbs[] = {
      {.name = "list", .help = "Lists the profiles; * marks the current one.", .run = withProfiles<list>},
      {.name = "current", .help = "Prints the name of the current profile.", .run = withProfiles<current>},
      {.name = "use",
       .usage = "NAME",
       .help = "Makes NAME the current profile.",
       .minArgs = 1,
       .maxArgs = 1,
       .run = changing<use>},
      {.name = "create",
       .usage = "NAME [--description TEXT] [--from PROFILE]",
       .help = "Creates the profile NAME with the shape defaults, or as a copy of PROFILE.\n"
               "  --description TEXT  its description\n"
               "  --from PROFILE      the profile to copy",
       .options = "description from",
       .minArgs = 1,
       .maxArgs = 1,
       .run = changing<create>},
      {.name = "copy",
       .usage = "FROM TO",
       .help = "Creates the profile TO as a copy of FROM.",
       .minArgs = 2,
       .maxArgs = 2,
       .run = changing<copy>},
      {.name = "rename",
       .usage = "FROM TO",
       .help = "Renames the profile FROM to TO.",
       .minArgs = 2,
       .maxArgs = 2,
       .run = changing<rename>},
      {.name = "delete",
       .usage = "NAME",
       .help = "Deletes the profile NAME, which must not be the current one.",
       .minArgs = 1,
       .maxArgs = 1,
       .run = changing<remove>},
      {.name = "reset",
       .usage = "NAME",
       .help = "Empties the profile NAME but for its description, and gives it the shape defaults.",
       .minArgs = 1,
       .maxArgs = 1,
       .run = changing<reset>},
      {.name = "describe",
       .usage = "NAME [TEXT]",
       .help = "Prints the description of the profile NAME or, with TEXT, sets it.",
       .minArgs = 1,
       .maxArgs = 2,
       .run = withProfiles<describe>},
      {.name = "export",
       .usage = "NAME FILE",
       .help = "Writes the profile NAME to the profile file FILE, replacing FILE if it exists.",
       .minArgs = 2,
       .maxArgs = 2,
       .run = withProfiles<exportProfile>},
      {.name = "import",
       .usage = "FILE [--name NAME] [--description TEXT]",
       .help = "Reads a profile from the profile file FILE, replacing a profile of the same name.\n"
               "  --name NAME         import it under NAME instead of the name in FILE\n"
               "  --description TEXT  give it this description instead of the one in FILE",
       .options = "name description",
       .minArgs = 1,
       .maxArgs = 1,
       .run = changing<importProfile>},
  };
  static const Verb profile{
      .name = "profile",
      .usage = "VERB [ARGUMENTS]",
      .help =
          "Manages the user profiles: named, complete sets of the application's settings, of\n"
          "which one is current. Profile names ignore case.",
      .subVerbs = verbs};
  return profile;
}

int printCurrentProfile() {
  if (!loadProfiles() || !saveProfiles()) return 1;
  const wxString name = ut::getCurrentProfileName();
  const ut::ConfigNodePtr profile = ut::Config::getProfileNode(od(name), false);
  if (!profile) return fail("cannot read profile " + name);
  print(name);
  printGroup(*profile, "  ");
  return 0;
}

}  // namespace qxreg
