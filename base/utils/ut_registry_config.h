// RegistryConfig: the wxWidgets configuration interface (wxConfigBase) over a registry key, so that code
// written against wxConfigBase, the configuration tree's stores among it, reads and writes the registry
// as it reads and writes a configuration file. Groups are keys, entries are values; "/" separates them.
//
//   ut::RegistryConfig config(L"VeltoCAD", L"Korvani");   // HKEY_CURRENT_USER\Software\Korvani\VeltoCAD
//   config.Write("Plot/Scale", 2L);                      // the value Scale of the key ...\VeltoCAD\Plot
//   config.Read("plot/scale", 0L);                       // 2: names ignore case
//   config.beginTransaction();
//   config.Write("a", "x");
//   config.Write("b", "y");
//   config.commitTransaction();                          // both values, or neither
//
// Writes reach the hive at once; Flush() has nothing to do. A RegistryConfig is used on one thread.

#ifndef QX_UT_REGISTRY_CONFIG_H
#define QX_UT_REGISTRY_CONFIG_H

#include "ut_registry.h"

#include <wx/confbase.h>

#include <memory>
#include <string_view>

namespace ut {

namespace platform {
struct RegistryValue;
}

class RegistryConfig : public wxConfigBase {
 public:
  // The configuration under HKEY_CURRENT_USER\Software\<vendorName>\<appName> (without a vendor name,
  // Software\<appName>).
  RegistryConfig(const wxString& appName, const wxString& vendorName);
  // The configuration under any key.
  RegistryConfig(ERootKey root, const OdString& rootPath);
  ~RegistryConfig() override;

  ERootKey root() const;
  const OdString& rootPath() const;

  // Every change made until the matching commitTransaction() becomes one change of the hive: all of it
  // or, after rollbackTransaction(), a failure or a crash, none of it. Transactions nest. A reading
  // transaction (`write` false) sees the hive as it was when it began, and is the fast way to read much:
  // within any transaction the keys and values read are kept at hand.
  bool beginTransaction(bool write = true);
  bool commitTransaction();
  void rollbackTransaction();
  // Within a transaction, reads the group at `path` and every key and value below it at once, where a
  // walk over them would read each key on its own. False outside a transaction, or when the group does
  // not exist.
  bool readAhead(const wxString& path);

  void SetPath(const wxString& path) override;
  const wxString& GetPath() const override;

  bool GetFirstGroup(wxString& name, long& index) const override;
  bool GetNextGroup(wxString& name, long& index) const override;
  bool GetFirstEntry(wxString& name, long& index) const override;
  bool GetNextEntry(wxString& name, long& index) const override;
  size_t GetNumberOfEntries(bool recursive = false) const override;
  size_t GetNumberOfGroups(bool recursive = false) const override;
  bool HasGroup(const wxString& name) const override;
  bool HasEntry(const wxString& name) const override;
  EntryType GetEntryType(const wxString& name) const override;

  bool Flush(bool currentOnly = false) override;
  bool RenameEntry(const wxString& oldName, const wxString& newName) override;
  bool RenameGroup(const wxString& oldName, const wxString& newName) override;
  bool DeleteEntry(const wxString& name, bool deleteGroupIfEmpty = true) override;
  bool DeleteGroup(const wxString& name) override;
  bool DeleteAll() override;

 protected:
  bool DoReadString(const wxString& key, wxString* value) const override;
  bool DoReadLong(const wxString& key, long* value) const override;
  bool DoReadBinary(const wxString& key, wxMemoryBuffer* value) const override;
  bool DoWriteString(const wxString& key, const wxString& value) override;
  bool DoWriteLong(const wxString& key, long value) override;
  bool DoWriteBinary(const wxString& key, const wxMemoryBuffer& value) override;

 private:
  struct Impl;
  struct Location;
  // Where `key` leads from the current path.
  Location at(const wxString& key, bool isEntry) const;
  // The value `key` names, or null; valid until the next call.
  const platform::RegistryValue* valueAt(const wxString& key) const;
  bool writeAt(const wxString& key, ERegType type, std::string_view data);

  std::unique_ptr<Impl> m_impl;
  mutable wxString m_path;  // what GetPath() last answered
};

}  // namespace ut

#endif
