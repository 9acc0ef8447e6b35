#include "config/ut_config_area.h"

#include "config/ut_registry_p.h"
#include "core/ut_assert_p.h"
#include "core/ut_nocase.h"
#include "core/ut_wx.h"
#include "platform/registry.h"

#include <algorithm>

namespace ut::internal {

std::string configNameProblem(std::wstring_view name, bool isEntry) {
  const size_t limit = isEntry ? platform::kMaxValueNameLength : platform::kMaxKeyNameLength;
  const bool dots = name.size() <= 2 && name.find_first_not_of(L'.') == std::wstring_view::npos;
  const auto separator = [isEntry](wchar_t c) { return c == L'/' || (c == L'\\' && !isEntry); };
  if (!name.empty() && name.size() <= limit && !dots && std::none_of(name.begin(), name.end(), separator)) {
    return {};  // the common case, checked in one pass and without a string made
  }
  const std::string kind = isEntry ? "an entry name" : "a group name";
  if (name.empty()) return "an empty " + kind.substr(kind.find(' ') + 1);
  if (name == L"." || name == L"..")
    return "\"" + std::string(name.size(), '.') + "\" names no group or entry";
  if (name.find(L'/') != std::wstring_view::npos) return kind + " holding \"/\"";
  if (name.size() <= limit) return kind + " holding \"\\\"";
  return kind + " longer than " + std::to_string(limit) + " characters";
}

std::optional<std::vector<OdString>> configPathNames(const OdString& path, bool isEntry) {
  std::vector<OdString> names;
  std::wstring_view rest = path.view();
  for (;;) {
    const size_t slash = rest.find(L'/');
    const bool last = slash == std::wstring_view::npos;
    const std::wstring_view name = rest.substr(0, slash);
    if (!name.empty() || (last && isEntry)) {
      const std::string problem = configNameProblem(name, last && isEntry);
      if (!problem.empty()) {
        report("ut::Config",
               "Bad configuration path \"" + std::string(toWx(path).utf8_str()) + "\": " + problem);
        return std::nullopt;
      }
      names.emplace_back(name);
    }
    if (last) return names;
    rest.remove_prefix(slash + 1);
  }
}

std::pair<OdString, OdString> splitLastName(const OdString& path) {
  OdString trimmed = path;
  trimmed.trimRight(L'/');
  const int slash = trimmed.reverseFind(L'/');
  return {slash < 0 ? OdString() : trimmed.left(slash), trimmed.mid(slash + 1)};
}

bool SettingsArea::rename(const OdString& from, const OdString& to, bool isGroup) {
  OdString source = from, target = to;
  if (equalNoCase(source.trimRight(L'/').view(), target.trimRight(L'/').view())) {
    return copy(from, to, isGroup);  // only the spelling changes: the copy takes the old one's place
  }
  return copy(from, to, isGroup) && remove(from, isGroup);
}

int SettingsArea::count(const OdString& path, bool groups) {
  int count = 0;
  list(path, groups, [&](const OdString&) { ++count; });
  return count;
}

// --- Tree ---

namespace {

ConfigNodePtr live(ConfigNodePtr node) {
  return node && node->type() != ConfigValBase::eNoNode ? node : nullptr;
}

ConfigNodePtr find(const ConfigNodePtr& root, const OdString& path) {
  OdString trimmed = path;
  trimmed.trimRight(L'/');
  if (!root || trimmed.isEmpty()) return root;
  return live(root->childAt(trimmed));
}

ConfigNodePtr findOf(const ConfigNodePtr& root, const OdString& path, bool isGroup) {
  ConfigNodePtr node = find(root, path);
  return node && node->isGroup() == isGroup ? node : nullptr;
}

// The child `name` of `group` as a live node of the kind asked for, made (in place of a marker or a
// node of the other kind) when missing.
ConfigNodePtr child(const ConfigNodePtr& group, const OdString& name, bool isGroup) {
  ConfigNodePtr node = live(group->childAt(name));
  if (node && node->isGroup() == isGroup) return node;
  if (!group->addChild(ConfigNode::createNode(isGroup ? name + L"/" : name))) return nullptr;
  return group->childAt(name);
}

}  // namespace

bool TreeArea::hasGroup(const OdString& path) {
  OdString trimmed = path;
  return m_root && (trimmed.trimRight(L'/').isEmpty() || m_root->childAt(trimmed));
}

bool TreeArea::hasEntry(const OdString& path) { return m_root && !path.isEmpty() && m_root->childAt(path); }

wxConfigBase::EntryType TreeArea::entryType(const OdString& path) {
  const ConfigNodePtr entry = findOf(m_root, path, false);
  if (!entry) return wxConfigBase::Type_Unknown;
  switch (entry->type()) {
    case ConfigValBase::eULong:
      return wxConfigBase::Type_Integer;
    case ConfigValBase::eString:
      return wxConfigBase::Type_String;
    default:
      return wxConfigBase::Type_Unknown;
  }
}

bool TreeArea::readNumber(const OdString& path, long& value) {
  const ConfigNodePtr entry = findOf(m_root, path, false);
  unsigned long number = 0;
  if (!entry || !entry->getULong(number)) return false;
  value = static_cast<int32_t>(number);  // a dword, read as the signed number it was written as
  return true;
}

bool TreeArea::readText(const OdString& path, OdString& value) {
  const ConfigNodePtr entry = findOf(m_root, path, false);
  return entry && entry->getString(value);
}

ConfigNodePtr TreeArea::make(const std::vector<OdString>& names, bool isGroup) {
  ConfigNodePtr node = m_root;
  for (size_t i = 0; node && i < names.size(); ++i)
    node = child(node, names[i], isGroup || i + 1 < names.size());
  return node;
}

ConfigNodePtr TreeArea::entryForWriting(const OdString& path) {
  const auto names = m_root ? configPathNames(path, true) : std::nullopt;
  return names ? make(*names, false) : nullptr;
}

bool TreeArea::writeNumber(const OdString& path, long value) {
  if (!fitsDword(value)) return false;
  const ConfigNodePtr entry = entryForWriting(path);
  return entry && entry->setULong(static_cast<uint32_t>(value));
}

bool TreeArea::writeText(const OdString& path, const OdString& value) {
  const ConfigNodePtr entry = entryForWriting(path);
  return entry && entry->setString(value.c_str());
}

bool TreeArea::remove(const OdString& path, bool isGroup) {
  const ConfigNodePtr node = findOf(m_root, path, isGroup);
  const ConfigNodePtr parent = node ? findOf(m_root, splitLastName(path).first, true) : nullptr;
  return parent && node != m_root && parent->removeChild(node);
}

bool TreeArea::copy(const OdString& from, const OdString& to, bool isGroup) {
  const ConfigNodePtr source = findOf(m_root, from, isGroup);
  std::optional<std::vector<OdString>> target = source ? configPathNames(to, !isGroup) : std::nullopt;
  if (!source || source == m_root || !target || target->empty()) return false;
  const OdString name = target->back();
  target->pop_back();
  const ConfigNodePtr parent = make(*target, true);
  const ConfigNodePtr copy = ConfigNode::cloneNodeTo(source, name, false);
  return parent && copy && parent->addChild(copy);
}

ConfigNodePtr TreeArea::groupAt(const OdString& path, bool create) {
  if (!create || !m_root) return findOf(m_root, path, true);
  const auto names = configPathNames(path, false);
  return names ? make(*names, true) : nullptr;
}

bool TreeArea::list(const OdString& path, bool groups, const NameSink& add) {
  const ConfigNodePtr group = findOf(m_root, path, true);
  if (!group) return false;
  for (const ConfigNodePtr& node : group->children()) {
    if (live(node) && node->isGroup() == groups) add(node->path());
  }
  return true;
}

}  // namespace ut::internal
