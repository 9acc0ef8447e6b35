// Settings areas: a group of settings read and written by paths relative to it ("Plot/" a group,
// "Plot/Scale" an entry), whether the group lives in a configuration tree in memory or in the store
// itself. ConfigBase and Config work through them, so each operation exists once whatever holds the
// settings.
//
//   TreeArea profile(profileNode);
//   profile.writeNumber(L"Config/OSMODE", 4263);     // groups on the way are made
//
// The area over the store itself, StoreArea, is the stores' own (config/ut_config_storage_p.h).

#ifndef QX_UT_CONFIG_AREA_H
#define QX_UT_CONFIG_AREA_H

#include "ut_config_node.h"

#include <wx/confbase.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ut::internal {

using NameSink = std::function<void(const OdString& name)>;

// Why `name` cannot name a group (a registry key) or, with `isEntry`, an entry (a value) in every store;
// empty when it can. "." and ".." would lead elsewhere, a group name cannot hold "\\", and the registry
// limits the length of both.
[[nodiscard]] std::string configNameProblem(std::wstring_view name, bool isEntry);

// The names along a path relative to an area: groups, and, with `isEntry`, an entry last ("a/b/c" gives
// a, b and c). Empty group names ("a//b", a trailing "/") are skipped. Nothing, reported under
// "ut::Config", when a name cannot be stored (configNameProblem) or an entry's name is empty.
[[nodiscard]] std::optional<std::vector<OdString>> configPathNames(const OdString& path, bool isEntry);

// A path that leaves the area (".."), or names what no store can hold, is refused with a message where
// it would be written.
class SettingsArea {
 public:
  virtual ~SettingsArea() = default;

  // "" is the area itself.
  [[nodiscard]] virtual bool hasGroup(const OdString& path) = 0;
  [[nodiscard]] virtual bool hasEntry(const OdString& path) = 0;
  // Type_Unknown for a missing entry.
  [[nodiscard]] virtual wxConfigBase::EntryType entryType(const OdString& path) = 0;
  // A dword, as the signed number it was written as.
  virtual bool readNumber(const OdString& path, long& value) = 0;
  virtual bool readText(const OdString& path, OdString& value) = 0;
  // A number outside the 32-bit range is refused.
  virtual bool writeNumber(const OdString& path, long value) = 0;
  virtual bool writeText(const OdString& path, const OdString& value) = 0;
  virtual bool remove(const OdString& path, bool isGroup) = 0;
  // Overwrites what `to` held.
  virtual bool copy(const OdString& from, const OdString& to, bool isGroup) = 0;
  virtual bool list(const OdString& path, bool groups, const NameSink& add) = 0;
  // Makes the changes lasting where the area is not a tree that is flushed later.
  virtual bool commit() { return true; }

  bool rename(const OdString& from, const OdString& to, bool isGroup);
  int count(const OdString& path, bool groups);
};

// An area over a tree in memory; `root` empty makes every operation fail. The existence tests answer
// whether the tree has a node of that name, a marker (a deletion not yet flushed) included.
class TreeArea : public SettingsArea {
 public:
  explicit TreeArea(ConfigNodePtr root) : m_root(std::move(root)) {}

  bool hasGroup(const OdString& path) override;
  bool hasEntry(const OdString& path) override;
  wxConfigBase::EntryType entryType(const OdString& path) override;
  bool readNumber(const OdString& path, long& value) override;
  bool readText(const OdString& path, OdString& value) override;
  bool writeNumber(const OdString& path, long value) override;
  bool writeText(const OdString& path, const OdString& value) override;
  bool remove(const OdString& path, bool isGroup) override;
  bool copy(const OdString& from, const OdString& to, bool isGroup) override;
  bool list(const OdString& path, bool groups, const NameSink& add) override;

  // The live group at `path` ("" the root); with `create` the missing groups on the way are made.
  [[nodiscard]] ConfigNodePtr groupAt(const OdString& path, bool create);

 private:
  // The live node at `names` as `isGroup` asks, made with the groups on the way where missing.
  ConfigNodePtr make(const std::vector<OdString>& names, bool isGroup);
  ConfigNodePtr entryForWriting(const OdString& path);

  ConfigNodePtr m_root;
};

// "a/b/c" gives "a/b" and "c"; "a/b/" gives "a" and "b"; "c" gives "" and "c".
[[nodiscard]] std::pair<OdString, OdString> splitLastName(const OdString& path);

}  // namespace ut::internal

#endif
