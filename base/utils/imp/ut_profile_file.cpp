#include "ut_profile_file.h"

#include "ut_config.h"
#include "ut_config_area.h"
#include "ut_file.h"
#include "ut_nocase.h"
#include "ut_profile.h"
#include "ut_regfile.h"
#include "ut_registry_values.h"
#include "ut_report.h"
#include "ut_utf16.h"
#include "ut_wx.h"

#include <wx/filename.h>

namespace ut::internal {

namespace {

constexpr const char* kImportProfile = "ut::importProfileArg";

// "HKEY_CURRENT_USER\Software\...\Profiles\", the start of every key of a profile file.
std::wstring profilesKeyPrefix() {
  return L"HKEY_CURRENT_USER\\" + Config::profilesRoot(eCfgPathRegistry).str();
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

ConfigNodePtr valueNode(const regfile::Value& value) {
  // A tree holds no unnamed values, and no name a NUL would cut short.
  if (value.name.empty() || value.name.find(L'\0') != std::wstring::npos) return nullptr;
  const platform::RegistryValue stored{value.name, value.type, value.data};
  ConfigNodePtr entry = ConfigNode::createNode(OdString(value.name.c_str()));
  if (isStringValue(stored)) {
    entry->setString(stringFromValueBytes(value.data).c_str());
  } else if (const std::optional<long> number = dwordValue(stored)) {
    entry->setULong(static_cast<uint32_t>(*number));
  } else if (value.type == eRegQword && value.data.size() == 8 && value.data.find_first_not_of('\0', 4) == std::string::npos) {
    entry->setULong(static_cast<uint32_t>(static_cast<unsigned char>(value.data[0]) |
                                          static_cast<unsigned char>(value.data[1]) << 8 |
                                          static_cast<unsigned char>(value.data[2]) << 16 |
                                          static_cast<uint32_t>(static_cast<unsigned char>(value.data[3])) << 24));
  } else {
    return nullptr;  // binary data and lists have no place in a profile
  }
  return entry;
}

class ProfileFileStorage : public ConfigStorageBase {
 public:
  explicit ProfileFileStorage(const OdString& file) : m_file(file) {}

  // The file is read once; later calls answer the same tree.
  ConfigNodePtr load() override {
    if (!m_loaded) m_loaded = read();
    return m_loaded;
  }

  bool save(const ConfigNodePtr& root) override {
    if (!root || !root->isGroup()) return false;
    regfile::Writer writer(false);
    addGroup(writer, profilesKeyPrefix() + root->path().str(), *root);
    return writeEntireFile(m_file, writer.bytes()) ||
           report("ut::exportProfile", "Failed to write file " + std::string(toWx(m_file).utf8_str()));
  }

  // Statements of the file that could not be read and were skipped, and the line of the first.
  int malformedCount() const { return m_malformedCount; }
  int firstMalformedLine() const { return m_firstMalformedLine; }

 private:
  ConfigNodePtr read() {
    std::string bytes;
    if (!readEntireFile(m_file, bytes)) return nullptr;
    const regfile::ReadResult file = regfile::read(bytes);
    m_malformedCount = file.malformedCount;
    m_firstMalformedLine = file.firstMalformedLine;
    const std::wstring prefix = profilesKeyPrefix();
    ConfigNodePtr root;
    ConfigNodePtr group;
    for (const regfile::Operation& operation : file.operations) {
      if (operation.kind == regfile::Operation::eSetValue) {
        if (const ConfigNodePtr entry = group ? valueNode(operation.value) : nullptr) group->addChild(entry);
        continue;
      }
      if (operation.kind != regfile::Operation::eSelectKey && operation.kind != regfile::Operation::eDeleteKey) {
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

  static void addGroup(regfile::Writer& writer, const std::wstring& key, const ConfigNodeBase& group) {
    writer.addKey(key);
    for (const ConfigNodePtr& child : group.children()) {
      unsigned long number = 0;
      OdString text;
      if (child->isGroup() || child->type() == ConfigValBase::eNoNode) continue;
      if (child->getULong(number)) {
        writer.addValue({child->path().str(), eRegDword, dwordBytes(static_cast<uint32_t>(number))});
      } else if (child->getString(text)) {
        writer.addValue({child->path().str(), eRegString, stringValueBytes(text.view())});
      }
    }
    for (const ConfigNodePtr& child : group.children()) {
      if (child->isGroup() && child->type() != ConfigValBase::eNoNode) addGroup(writer, key + L"\\" + child->path().str(), *child);
    }
  }

  OdString m_file;
  ConfigNodePtr m_loaded;
  int m_malformedCount = 0;
  int m_firstMalformedLine = 0;
};

}  // namespace

std::shared_ptr<ConfigStorageBase> profileFileStorage(const OdString& file) {
  return std::make_shared<ProfileFileStorage>(file);
}

std::optional<ProfileFileHead> readProfileFileHead(const OdString& file) {
  std::string bytes;
  if (!readEntireFile(file, bytes)) return std::nullopt;
  const std::wstring prefix = profilesKeyPrefix();
  std::optional<ProfileFileHead> head;
  bool inProfileKey = false;
  for (const regfile::Operation& operation : regfile::read(bytes).operations) {
    if (operation.kind == regfile::Operation::eSelectKey) {
      const std::optional<ProfileKey> key = profileKey(operation.key, prefix);
      if (key && !head) head = ProfileFileHead{OdString(key->profile.c_str()), std::nullopt};
      inProfileKey = key && key->below.empty() && equalNoCase(key->profile, head->name.view());
    } else if (operation.kind == regfile::Operation::eSetValue && inProfileKey && !head->description &&
               equalNoCase(operation.value.name, L"Description") && isStringValue({{}, operation.value.type, {}})) {
      head->description = OdString(stringFromValueBytes(operation.value.data).c_str());
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
    return report(kImportProfile, wxString::Format(L"File \"%ls\" is not a profile of the application", file.c_str()));
  };
  const auto storage = std::make_shared<ProfileFileStorage>(file);
  const ConfigNodePtr tree = storage->load();
  if (!tree) return notAProfile();
  if (storage->malformedCount() > 0) {
    report(kImportProfile, wxString::Format(L"Skipped %d malformed lines of \"%ls\", the first at line %d",
                                            storage->malformedCount(), file.c_str(), storage->firstMalformedLine()));
  }
  if (!description.isEmpty() && !TreeArea(tree).writeText(L"Description", description)) return false;
  return manager.importProfile(name.isEmpty() ? tree->path() : name, storage);
}

}  // namespace ut::internal
