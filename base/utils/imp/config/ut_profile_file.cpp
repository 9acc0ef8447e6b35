#include "config/ut_profile_p.h"

#include "config/ut_config_area.h"
#include "config/ut_registry_p.h"
#include "core/ut_assert_p.h"
#include "core/ut_nocase.h"
#include "core/ut_utf16.h"
#include "core/ut_wx.h"
#include "ut_file.h"
#include "ut_profile.h"

#include <wx/filename.h>

#include <algorithm>

namespace ut::internal {

namespace {

constexpr const char* kImportProfile = "ut::importProfileArg";

// "HKEY_CURRENT_USER\Software\...\Profiles\", the start of every key of a profile file.
std::wstring profilesKeyPrefix(const OdString& profilesPath) {
  std::wstring key = profilesPath.str();
  std::replace(key.begin(), key.end(), L'/', L'\\');
  return L"HKEY_CURRENT_USER\\" + key;
}

// A key of the file split into the profile's name and the path below the profile ("Config/Plot"); nothing
// for a key outside the profiles group.
struct ProfileKey {
  std::wstring profile;
  std::wstring below;
};

std::optional<ProfileKey> profileKey(std::wstring_view key, std::wstring_view prefix) {
  if (key.size() <= prefix.size() || !equalNoCase(key.substr(0, prefix.size()), prefix) ||
      key.find(L'\0') != std::wstring_view::npos) {
    return std::nullopt;
  }
  key.remove_prefix(prefix.size());
  const size_t slash = key.find(L'\\');
  ProfileKey result{std::wstring(key.substr(0, slash)), std::wstring()};
  if (slash != std::wstring_view::npos) result.below = key.substr(slash + 1);
  for (wchar_t& c : result.below) {
    if (c == L'\\') c = L'/';
  }
  if (result.profile.empty()) return std::nullopt;
  return result;
}

// Gives `node` the value, as a profile holds it: strings, and numbers of 32 bits. False for other
// kinds (binary data, lists, larger numbers), which a profile has no place for.
bool setValue(ConfigNodeBase& node, const regfile::Value& value) {
  const platform::RegistryValue stored{value.name, value.type, value.data};
  if (isStringValue(stored)) return node.setString(stringFromValueBytes(value.data).c_str());
  if (const std::optional<long> number = dwordValue(stored))
    return node.setULong(static_cast<uint32_t>(*number));
  if (value.type != eRegQword || value.data.size() != 8 ||
      value.data.find_first_not_of('\0', 4) != std::string::npos) {
    return false;
  }
  uint32_t low = 0;
  for (int i = 3; i >= 0; --i) low = low << 8 | static_cast<unsigned char>(value.data[i]);
  return node.setULong(low);
}

class ProfileFileStorage : public ConfigStorageBase {
 public:
  ProfileFileStorage(const OdString& file, const OdString& profilesPath)
      : m_file(file), m_prefix(profilesKeyPrefix(profilesPath)) {}

  // The file is read once; later calls answer the same tree.
  ConfigNodePtr load() override {
    if (!m_loaded) m_loaded = read();
    return m_loaded;
  }

  bool save(const ConfigNodePtr& root) override {
    if (!root || !root->isGroup()) return false;
    regfile::Writer writer(false);
    addGroup(writer, m_prefix + root->path().str(), *root);
    return regfile::writeFile("ut::exportProfile", m_file, writer.bytes());
  }

  // Statements of the file that could not be read and were skipped, and the line of the first.
  int malformedCount() const { return m_malformedCount; }
  int firstMalformedLine() const { return m_firstMalformedLine; }
  // Values of kinds or names a profile cannot hold, left out, and the name of the first.
  int skippedCount() const { return m_skippedCount; }
  const std::wstring& firstSkipped() const { return m_firstSkipped; }

 private:
  ConfigNodePtr read() {
    std::string bytes;
    if (!readEntireFile(m_file, bytes)) return nullptr;
    const regfile::ReadResult file = regfile::read(bytes);
    m_malformedCount = file.malformedCount;
    m_firstMalformedLine = file.firstMalformedLine;
    const std::wstring& prefix = m_prefix;
    ConfigNodePtr root;
    ConfigNodePtr group;
    for (const regfile::Operation& operation : file.operations) {
      if (operation.kind == regfile::Operation::eSetValue) {
        if (group) addValue(*group, operation.value);
        continue;
      }
      if (operation.kind != regfile::Operation::eSelectKey &&
          operation.kind != regfile::Operation::eDeleteKey) {
        continue;
      }
      const std::optional<ProfileKey> key = profileKey(operation.key, prefix);
      if (!key) return nullptr;
      group = nullptr;
      // A profile is what the file's keys hold; a key deletion adds nothing to it.
      if (operation.kind == regfile::Operation::eDeleteKey) continue;
      if (root && !equalNoCase(key->profile, root->path().view())) return nullptr;
      if (!root) root = ConfigNode::createNode(OdString(key->profile.c_str()) + L"/");
      group = TreeArea(root).groupAt(OdString(key->below.c_str()), true);
    }
    return root;
  }

  // The unnamed value is the group's own.
  void addValue(ConfigNodeBase& group, const regfile::Value& value) {
    const ConfigNodePtr entry = value.name.empty() || !configNameProblem(value.name, true).empty()
                                    ? nullptr
                                    : ConfigNode::createNode(value.name);
    if ((entry || value.name.empty()) && setValue(entry ? *entry : group, value)) {
      if (entry) group.addChild(entry);
    } else if (m_skippedCount++ == 0) {
      m_firstSkipped = value.name;
    }
  }

  static void addValue(regfile::Writer& writer, const std::wstring& name, const ConfigNodeBase& node) {
    unsigned long number = 0;
    OdString text;
    if (node.getULong(number)) {
      writer.addValue({name, eRegDword, dwordBytes(static_cast<uint32_t>(number))});
    } else if (node.getString(text)) {
      writer.addValue({name, eRegString, stringValueBytes(text.view())});
    }
  }

  static void addGroup(regfile::Writer& writer, const std::wstring& key, const ConfigNodeBase& group) {
    writer.addKey(key);
    addValue(writer, std::wstring(), group);
    for (const ConfigNodePtr& child : group.children()) {
      if (!child->isGroup() && child->type() != ConfigValBase::eNoNode)
        addValue(writer, child->path().str(), *child);
    }
    for (const ConfigNodePtr& child : group.children()) {
      if (child->isGroup() && child->type() != ConfigValBase::eNoNode)
        addGroup(writer, key + L"\\" + child->path().str(), *child);
    }
  }

  OdString m_file;
  std::wstring m_prefix;
  ConfigNodePtr m_loaded;
  int m_malformedCount = 0;
  int m_firstMalformedLine = 0;
  int m_skippedCount = 0;
  std::wstring m_firstSkipped;
};

}  // namespace

std::shared_ptr<ConfigStorageBase> profileFileStorage(const OdString& file, const OdString& profilesPath) {
  return std::make_shared<ProfileFileStorage>(file, profilesPath);
}

namespace {

bool startsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
  return text.size() >= prefix.size() && equalNoCase(text.substr(0, prefix.size()), prefix);
}

// The lines of a text, without their ends (LF or CR LF) and leading blanks.
std::vector<std::wstring_view> linesOf(std::wstring_view text) {
  std::vector<std::wstring_view> lines;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find(L'\n', start), text.size());
    std::wstring_view line = text.substr(start, end - start);
    if (line.ends_with(L'\r')) line.remove_suffix(1);
    lines.push_back(line.substr(std::min(line.find_first_not_of(L" \t"), line.size())));
    start = end + 1;
  }
  return lines;
}

// The text of a quoted value that starts on lines[first] at `at`, to its closing quote; a value that
// goes on over several lines is joined with line feeds.
wxString quotedText(const std::vector<std::wstring_view>& lines, size_t first, size_t at) {
  std::wstring text;
  for (size_t i = first; i < lines.size(); ++i, at = 0) {
    const std::wstring_view line = lines[i];
    for (size_t c = at; c < line.size(); ++c) {
      if (line[c] == L'"') return unescape(wxString(text));
      if (line[c] == L'\\' && c + 1 < line.size()) text += line[c++];
      text += line[c];
    }
    text += L'\n';
  }
  return unescape(wxString(text));
}

}  // namespace

// Line by line, as far as it needs: the first profile key gives the name, and the "Description" line of
// that key (not one of its groups) the description.
std::optional<ProfileFileHead> readProfileFileHead(const OdString& file, const OdString& profilesPath) {
  std::string bytes;
  if (!readEntireFile(file, bytes)) return std::nullopt;
  const std::wstring text = regfile::decodeText(bytes);
  const std::vector<std::wstring_view> lines = linesOf(text);
  const std::wstring prefix = L"[" + profilesKeyPrefix(profilesPath);
  constexpr std::wstring_view kDescription = L"\"Description\"=\"";
  std::optional<ProfileFileHead> head;
  bool inProfileKey = false;
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::wstring_view line = lines[i];
    const std::wstring_view key = line.substr(0, line.find_last_not_of(L" \t") + 1);
    if (key.starts_with(L'[') && key.ends_with(L']')) {
      // A key's path runs to the last "]", which a name may hold too.
      const bool isProfileKey = key.size() > prefix.size() && startsWithNoCase(key, prefix);
      const std::wstring_view path =
          isProfileKey ? key.substr(prefix.size(), key.size() - prefix.size() - 1) : std::wstring_view();
      const std::wstring_view name = path.substr(0, path.find(L'\\'));
      if (!head && !name.empty()) head = ProfileFileHead{OdString(name), std::nullopt};
      inProfileKey = head && name == path && equalNoCase(name, head->name.view());
    } else if (inProfileKey && !head->description && line.starts_with(kDescription)) {
      head->description = fromWx(quotedText(lines, i, kDescription.size()));
    }
  }
  return head;
}

bool importProfileFile(ProfileManagerBase& manager, const OdString& file, const OdString& name,
                       const OdString& description) {
  if (file.isEmpty()) return report(kImportProfile, "Bad arguments");
  if (!wxFileName::FileExists(file.c_str())) {
    return report(kImportProfile, wxString::Format(L"File not found: \"%ls\"", file.c_str()));
  }
  const auto notAProfile = [&] {
    return report(kImportProfile,
                  wxString::Format(L"File \"%ls\" is not a profile of the application", file.c_str()));
  };
  const auto storage = std::make_shared<ProfileFileStorage>(file, manager.rootPath());
  const ConfigNodePtr tree = storage->load();
  if (!tree) return notAProfile();
  if (storage->malformedCount() > 0) {
    report(kImportProfile,
           wxString::Format(L"Skipped %d malformed lines of \"%ls\", the first at line %d",
                            storage->malformedCount(), file.c_str(), storage->firstMalformedLine()));
  }
  if (storage->skippedCount() > 0) {
    report(kImportProfile,
           wxString::Format(L"Skipped %d values of \"%ls\" that a profile cannot hold (binary "
                            L"data, numbers over 32 bits, names of no entry), the first \"%ls\"",
                            storage->skippedCount(), file.c_str(), storage->firstSkipped().c_str()));
  }
  if (!description.isEmpty() && !TreeArea(tree).writeText(L"Description", description)) return false;
  return manager.importProfile(name.isEmpty() ? tree->path() : name, storage);
}

}  // namespace ut::internal
