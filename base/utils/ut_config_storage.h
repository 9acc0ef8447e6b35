// Configuration stores: where a configuration tree (ut_config_node.h) is loaded from and saved to. A
// store reads the whole tree under its root path into nodes, and writes a tree back honouring the
// markers that deletions and replacements left in it.
//
//   ut::ConfigRegistryStorage store(L"Software/Korvani/Test/", false);  // HKEY_CURRENT_USER\Software\...
//   ut::ConfigNodePtr root = store.load();
//   root->childAt(L"Plot/Scale")->setULong(2);
//   root->childAt(L"Plot")->removeChild(root->childAt(L"Plot/Old"));
//   store.save(root);                      // one transaction: Scale written, Old deleted
//
// A save writes only what changed since this store loaded or saved the tree, and deletes and rewrites
// whole subtrees only where markers ask for it; so two processes that change different values of one
// group and save at the same time both keep their changes.
//
// Thread safety: a store and the trees it makes are used on one thread at a time.

#ifndef QX_UT_CONFIG_STORAGE_H
#define QX_UT_CONFIG_STORAGE_H

#include "OdArray.h"
#include "ut_config_node.h"

#include <wx/fileconf.h>

#include <memory>

namespace ut {

namespace internal {
struct ConfigSnapshot;
class DirectStore;
}

class ConfigStorageBase {
 public:
  virtual ~ConfigStorageBase() = default;
  // The whole tree under the store's root: a group node named after the root's last name. An empty
  // pointer when the root does not exist in the store.
  [[nodiscard]] virtual ConfigNodePtr load() = 0;
  // Writes `root` back, in one transaction of the store: a node that asks for a destructive write has
  // its place deleted first, a marker is then done with, and every other node writes its value and
  // its children.
  virtual bool save(const ConfigNodePtr& root) = 0;
};

class ConfigStorage : public ConfigStorageBase {
 public:
  // `path`: the root, a group path from the root of the store such as "Software/Korvani/Test/".
  explicit ConfigStorage(const OdString& path) : m_path(path) {}
  ~ConfigStorage() override = default;
  [[nodiscard]] const OdString& path() const { return m_path; }

 private:
  OdString m_path;
};

// A store over a wxWidgets configuration object. A group's own value is its key's default value (the
// entry without a name). A group or entry whose name the store cannot hold ("a\\b" for a group, "..", a
// name too long) is reported and left out, and costs only itself: the rest is saved, and save() answers
// false. Once saved, the markers have done their work and leave the tree.
class ConfigStorageWx : public ConfigStorage {
 public:
  ~ConfigStorageWx() override;

  [[nodiscard]] ConfigNodePtr load() override;
  bool save(const ConfigNodePtr& root) override;
  // The configuration object the store works through. A file store that finds its file changed at a
  // load or save reads it anew, into a new object: the pointer holds until then.
  [[nodiscard]] virtual wxConfigBase* config();

 protected:
  // With `readOnly`, save() refuses to write.
  ConfigStorageWx(const OdString& path, bool readOnly, std::unique_ptr<internal::DirectStore> store);

 private:
  bool m_readOnly;
  std::unique_ptr<internal::DirectStore> m_store;
  std::unique_ptr<internal::ConfigSnapshot> m_saved;
};

// The registry; paths start under HKEY_CURRENT_USER. A load reads one consistent state of the hive, and
// a save is one transaction.
class ConfigRegistryStorage : public ConfigStorageWx {
 public:
  ConfigRegistryStorage(const OdString& path, bool readOnly);
};

// A wxWidgets configuration file that keeps each value's kind: a number written is read back as a
// number (GetEntryType() gives Type_Integer), a string as a string, even one that looks like a number.
// Numbers are stored as "dword:" and eight hexadecimal digits, as in registration files. A group's own
// value (the entry named "") is stored as "@", as registration files name it. The file is written by
// Flush() only, never behind the caller's back when the object is destroyed.
class TypesafeFileConfig : public wxFileConfig {
 public:
  TypesafeFileConfig(const wxString& appName, const wxString& vendorName, const wxString& fileName);

  EntryType GetEntryType(const wxString& name) const override;
  bool HasEntry(const wxString& name) const override;
  bool GetFirstEntry(wxString& name, long& index) const override;
  bool GetNextEntry(wxString& name, long& index) const override;
  bool RenameEntry(const wxString& oldName, const wxString& newName) override;
  bool DeleteEntry(const wxString& name, bool deleteGroupIfEmpty = true) override;

 protected:
  bool DoReadString(const wxString& key, wxString* value) const override;
  bool DoReadLong(const wxString& key, long* value) const override;
  bool DoWriteString(const wxString& key, const wxString& value) override;
  bool DoWriteLong(const wxString& key, long value) override;
};

// A configuration file; ConfigFileStorage::fileName() names it. Its groups are the registry's keys under
// HKEY_CURRENT_USER, so a tree has the same paths in both stores. A load reads the file as it is; a
// save changes what it was given in the file as it is then, under a lock that keeps every other store
// of the file, in this process or another, from writing meanwhile, and replaces the file in one step.
// A new file and its folder are readable by their owner only.
class ConfigFileStorage : public ConfigStorageWx {
 public:
  ConfigFileStorage(const OdString& path, bool readOnly);

  // Whether the configuration lives in a file rather than in the registry (ConfigManagerBase's stores
  // follow this), and which file: an empty name stands for "config" in the user's configuration
  // directory (Config::getConfigFileName()).
  static void use(bool inUse, const OdString& fileName = OdString());
  [[nodiscard]] static bool inUse();
  [[nodiscard]] static OdString fileName();
};

// The base of objects that own a configuration tree, with the store services they share. The store is
// the registry, or the configuration file where ConfigFileStorage::inUse() says so.
class ConfigManagerBase {
 public:
  explicit ConfigManagerBase(const OdString& rootPath) : m_rootPath(rootPath) {}
  virtual ~ConfigManagerBase() = default;
  [[nodiscard]] const OdString& rootPath() const { return m_rootPath; }

 protected:
  [[nodiscard]] static std::shared_ptr<ConfigStorageWx> createStorage(const OdString& path, bool readOnly);
  // The tree at `path`, loaded through a fresh store; empty when there is none.
  [[nodiscard]] static ConfigNodePtr importNode(const OdString& path);
  // Saves `node` at `path` through a fresh store, which writes all of it.
  static bool exportNode(const ConfigNodePtr& node, const OdString& path);

 private:
  OdString m_rootPath;
};

// A configuration area of its own, such as a module's settings group, read and written by paths relative
// to its root: "Plot/" is a group, "Plot/Scale" an entry. Changes stay in memory until flush().
//
//   ut::ConfigBase settings(L"Software/Korvani/Render/");
//   settings.writeLong(L"Quality/Level", 3);
//   long level = 0;
//   settings.read(L"quality/level", level);     // true, level == 3
//   settings.flush();                          // the store holds Software/Korvani/Render/Quality/Level
class ConfigBase : public ConfigManagerBase {
 public:
  explicit ConfigBase(const OdString& rootPath);
  ~ConfigBase() override;

  // Whether the store could be reached (the area itself may still be empty).
  [[nodiscard]] bool isInited() const;
  [[nodiscard]] bool hasGroup(const OdString& path) const;
  [[nodiscard]] bool hasEntry(const OdString& path) const;
  // A miss, or a value of the other kind, answers false and leaves `value` alone.
  bool read(const OdString& path, bool& value) const;
  bool read(const OdString& path, long& value) const;
  bool read(const OdString& path, OdString& value) const;
  // Create the groups on the way as needed. A number outside the 32-bit range is refused.
  bool writeBool(const OdString& path, bool value);
  bool writeLong(const OdString& path, long value);
  bool writeString(const OdString& path, const OdString& value);
  bool deleteGroup(const OdString& path);
  bool deleteEntry(const OdString& path);
  // Append the names of the groups, resp. entries, of the group at `path` ("" for the root).
  bool listGroups(const OdString& path, OdArray<OdString>& names) const;
  bool listEntries(const OdString& path, OdArray<OdString>& names) const;
  [[nodiscard]] int countGroups(const OdString& path) const;
  [[nodiscard]] int countEntries(const OdString& path) const;
  // Writes what changed to the store, in one transaction.
  bool flush();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace ut

#endif
