// The configuration file: TypesafeFileConfig, the store over the file, and which file it is.

#include "ut_config_storage.h"

#include "config/ut_config_storage_p.h"
#include "config/ut_registry_p.h"
#include "core/ut_assert_p.h"
#include "core/ut_identity.h"
#include "core/ut_wx.h"
#include "platform/files.h"
#include "ut_system.h"

#include <wx/filename.h>
#include <wx/log.h>
#include <wx/mstream.h>

#include <algorithm>
#include <mutex>
#include <optional>

namespace ut {

namespace {

// Which store the configuration lives in, for the whole process.
struct FileStorageSetting {
  std::mutex mutex;
  bool inUse = false;
  OdString fileName;
};

FileStorageSetting& fileStorageSetting() {
  static FileStorageSetting setting;
  return setting;
}

// The configuration file. Each transaction starts from the file as it is then (read again only when it
// changed since this store last read or wrote it); a writing one holds the file's lock until commit()
// replaces the file whole, so that stores over one file never undo each other's changes.
class FileDirectStore : public internal::DirectStore {
 public:
  FileDirectStore() : m_fileName(ConfigFileStorage::fileName()) {}

  wxConfigBase& config() override {
    if (!m_config) reload();
    return *m_config;
  }

  bool begin(bool write) override {
    if (write && !lock()) return false;
    if (!m_config || platform::fileStamp(m_fileName) != m_stamp) reload();
    return true;
  }

  bool commit() override {
    if (!m_lock) return true;  // a reading transaction has nothing to write
    wxMemoryOutputStream text;
    const bool saved = m_config->Save(text) && platform::replaceFile(m_fileName, bytesOf(text), kSharing);
    m_stamp = saved ? platform::fileStamp(m_fileName) : std::nullopt;
    m_lock.reset();
    return saved;
  }

  // Only a writing transaction has changed what was read.
  void rollback() override {
    if (!m_lock) return;
    m_lock.reset();
    reload();
  }

 private:
  static constexpr platform::Sharing kSharing = platform::Sharing::eOwnerOnly;
  static constexpr int kLockTimeoutMs = 30000;

  bool lock() {
    const OdString folder = internal::fromWx(wxFileName(internal::toWx(m_fileName)).GetPath());
    if (!folder.isEmpty() && !platform::makeDirectories(folder, kSharing)) return false;
    m_lock = std::make_unique<platform::FileLock>(m_fileName + L".lock", kSharing, kLockTimeoutMs);
    if (m_lock->locked()) return true;
    m_lock.reset();
    return internal::report("ut::ConfigFileStorage",
                            "Cannot lock " + std::string(internal::toWx(m_fileName).utf8_str()));
  }

  // A file that cannot be parsed is read as far as it goes, without wxWidgets' messages to the user. The
  // stamp is taken first: a file replaced meanwhile is read again next time.
  void reload() {
    const wxLogNull quiet;
    m_stamp = platform::fileStamp(m_fileName);
    m_config = std::make_unique<TypesafeFileConfig>(internal::toWx(internal::productName()),
                                                    internal::toWx(internal::companyName()),
                                                    internal::toWx(m_fileName));
    m_config->SetExpandEnvVars(false);
  }

  static std::string bytesOf(const wxMemoryOutputStream& stream) {
    std::string bytes(stream.GetSize(), '\0');
    stream.CopyTo(bytes.data(), bytes.size());
    return bytes;
  }

  OdString m_fileName;
  std::unique_ptr<TypesafeFileConfig> m_config;
  std::optional<platform::FileStamp> m_stamp;  // of the file as m_config holds it
  std::unique_ptr<platform::FileLock> m_lock;
};

// A number's text: "dword:" and eight lower-case hexadecimal digits.
bool isNumberText(std::wstring_view text) {
  return text.size() == 14 && text.starts_with(L"dword:") &&
         std::all_of(text.begin() + 6, text.end(),
                     [](wchar_t c) { return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f'); });
}

// Whether `text` is `marker` after any number of backslashes ("\\dword:..." starts so).
bool escapedForm(std::wstring_view text, std::wstring_view marker, bool whole) {
  text.remove_prefix(std::min(text.find_first_not_of(L'\\'), text.size()));
  return whole ? text == marker : text.starts_with(marker);
}

// A string that starts like a number is stored with one backslash more, so that it never reads as one.
bool startsLikeNumber(std::wstring_view text) { return escapedForm(text, L"dword:", false); }

// A group's own value (the entry without a name) is stored as "@"; an entry whose name is "@" after
// backslashes gets one backslash more, so that it never reads as a group's value.
wxString storedName(const wxString& name) {
  if (name.empty()) return L"@";
  return escapedForm(name.ToStdWstring(), L"@", true) ? L"\\" + name : name;
}

wxString shownName(const wxString& stored) {
  if (stored == L"@") return wxString();
  return escapedForm(stored.ToStdWstring(), L"@", true) ? stored.Mid(1) : stored;
}

// `key` ("a/b/name") with its last name as stored.
wxString storedKey(const wxString& key) {
  const size_t slash = key.rfind(L'/');
  if (slash == wxString::npos) return storedName(key);
  return key.Left(slash + 1) + storedName(key.Mid(slash + 1));
}

}  // namespace

TypesafeFileConfig::TypesafeFileConfig(const wxString& appName, const wxString& vendorName,
                                       const wxString& fileName)
    // The name is taken as it is: completing a relative one would need wxWidgets' application object.
    : wxFileConfig(appName, vendorName, fileName, wxEmptyString,
                   wxCONFIG_USE_LOCAL_FILE | wxCONFIG_USE_RELATIVE_PATH) {
  DisableAutoSave();
}

wxConfigBase::EntryType TypesafeFileConfig::GetEntryType(const wxString& name) const {
  wxString text;
  if (!wxFileConfig::DoReadString(storedKey(name), &text)) return Type_Unknown;
  return isNumberText(text.ToStdWstring()) ? Type_Integer : Type_String;
}

bool TypesafeFileConfig::HasEntry(const wxString& name) const {
  return wxFileConfig::HasEntry(storedKey(name));
}

bool TypesafeFileConfig::GetFirstEntry(wxString& name, long& index) const {
  const bool found = wxFileConfig::GetFirstEntry(name, index);
  if (found) name = shownName(name);
  return found;
}

bool TypesafeFileConfig::GetNextEntry(wxString& name, long& index) const {
  const bool found = wxFileConfig::GetNextEntry(name, index);
  if (found) name = shownName(name);
  return found;
}

bool TypesafeFileConfig::RenameEntry(const wxString& oldName, const wxString& newName) {
  return wxFileConfig::RenameEntry(storedName(oldName), storedName(newName));
}

bool TypesafeFileConfig::DeleteEntry(const wxString& name, bool deleteGroupIfEmpty) {
  return wxFileConfig::DeleteEntry(storedKey(name), deleteGroupIfEmpty);
}

bool TypesafeFileConfig::DoReadString(const wxString& key, wxString* value) const {
  wxString text;
  if (!wxFileConfig::DoReadString(storedKey(key), &text)) return false;
  const std::wstring stored = text.ToStdWstring();
  if (isNumberText(stored)) return false;
  *value = startsLikeNumber(stored) ? text.Mid(1) : text;
  return true;
}

bool TypesafeFileConfig::DoReadLong(const wxString& key, long* value) const {
  wxString text;
  if (!wxFileConfig::DoReadString(storedKey(key), &text) || !isNumberText(text.ToStdWstring())) {
    return false;
  }
  unsigned long number = 0;
  if (!text.Mid(6).ToULong(&number, 16)) return false;
  *value = static_cast<int32_t>(number);
  return true;
}

bool TypesafeFileConfig::DoWriteString(const wxString& key, const wxString& value) {
  const wxString stored = startsLikeNumber(value.ToStdWstring()) ? L"\\" + value : value;
  return wxFileConfig::DoWriteString(storedKey(key), stored);
}

bool TypesafeFileConfig::DoWriteLong(const wxString& key, long value) {
  if (!internal::fitsDword(value)) return false;
  return wxFileConfig::DoWriteString(storedKey(key),
                                     wxString::Format(L"dword:%08x", static_cast<unsigned>(value)));
}

std::unique_ptr<internal::DirectStore> internal::openFileStore() {
  return std::make_unique<FileDirectStore>();
}

OdString internal::defaultConfigFile() { return getUserConfigDir() + L"config"; }

ConfigFileStorage::ConfigFileStorage(const OdString& path, bool readOnly)
    : ConfigStorageWx(path, readOnly, internal::openFileStore()) {}

void ConfigFileStorage::use(bool inUse, const OdString& fileName) {
  FileStorageSetting& setting = fileStorageSetting();
  std::lock_guard lock(setting.mutex);
  setting.inUse = inUse;
  setting.fileName = fileName;
}

bool ConfigFileStorage::inUse() {
  FileStorageSetting& setting = fileStorageSetting();
  std::lock_guard lock(setting.mutex);
  return setting.inUse;
}

OdString ConfigFileStorage::fileName() {
  FileStorageSetting& setting = fileStorageSetting();
  std::lock_guard lock(setting.mutex);
  return setting.fileName.isEmpty() ? internal::defaultConfigFile() : setting.fileName;
}

}  // namespace ut
