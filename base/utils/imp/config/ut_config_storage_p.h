// Inside the configuration stores: the store itself opened for direct use, and the settings area over
// it, which the configuration's groups outside profiles live in.
//
//   StoreArea store(L"Software/Korvani/", true);
//   store.writeText(L"Setup/Path", L"/opt");
//   store.commit();                                  // one transaction of the store

#ifndef QX_UT_CONFIG_STORAGE_P_H
#define QX_UT_CONFIG_STORAGE_P_H

#include "config/ut_config_area.h"

#include <wx/confbase.h>

#include <memory>
#include <optional>

namespace ut::internal {

// The store itself, opened for direct use: the registry under HKEY_CURRENT_USER, or the configuration
// file when ConfigFileStorage::inUse(). It gives back values as they were written, "$HOME" included.
class DirectStore {
 public:
  virtual ~DirectStore() = default;
  [[nodiscard]] virtual wxConfigBase& config() = 0;
  // Brackets reads that must agree with each other, or changes that must land together.
  virtual bool begin(bool write) = 0;
  virtual bool commit() = 0;
  virtual void rollback() = 0;
  // Within begin() and commit(), makes a walk over the group at `path` and everything below it cheap:
  // its keys and values are read at once instead of one by one.
  virtual void readAhead([[maybe_unused]] const wxString& path) {}
};

[[nodiscard]] std::unique_ptr<DirectStore> openRegistryStore();
[[nodiscard]] std::unique_ptr<DirectStore> openFileStore();
// The one ConfigFileStorage::inUse() chooses.
[[nodiscard]] std::unique_ptr<DirectStore> openDirectStore();

// The file the configuration is kept in when it lives in a file and no other was named: "config" in the
// user's configuration directory.
[[nodiscard]] OdString defaultConfigFile();

// An area of the store itself (the registry under HKEY_CURRENT_USER, or the configuration file in file
// mode): reads see the store as it is, and the changes of a writing area become one change of the store
// at commit(); an area destroyed without commit() leaves the store as it was.
class StoreArea : public SettingsArea {
 public:
  // `root`: a group path from the root of the store, "Software/Korvani/" ("" for the root itself).
  StoreArea(const OdString& root, bool write);
  ~StoreArea() override;

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
  bool commit() override;

 private:
  // The wxWidgets path of `path` inside the area, "/Software/Korvani/Setup/Path"; nothing when the area is
  // not open or the path is refused (configPathNames).
  [[nodiscard]] std::optional<wxString> at(const OdString& path, bool isEntry) const;
  bool copyEntry(const wxString& from, const wxString& to);
  bool copyGroup(const wxString& from, const wxString& to);

  std::unique_ptr<DirectStore> m_store;
  wxString m_root;
  bool m_open;
};

}  // namespace ut::internal

#endif
