// Arbitrary bytes as a zip archive: listing it, extracting it from its file and from a stream that cannot
// seek, and taking its one file never crash, and never write outside the target folder. The target
// stands four folders deep in a scratch folder; anything that climbs out of it, or any symbolic link
// (extraction makes none), aborts.

#include "ut_zip.h"

#include <stdlib.h>
#include <wx/debug.h>
#include <wx/mstream.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

fs::path g_scratch;
fs::path g_target;

// A stream over the bytes that cannot seek, as one from a socket.
class UnseekableStream : public wxMemoryInputStream {
 public:
  using wxMemoryInputStream::wxMemoryInputStream;
  bool IsSeekable() const override { return false; }

 protected:
  wxFileOffset OnSysSeek(wxFileOffset, wxSeekMode) override { return wxInvalidOffset; }
};

void checkNothingOutside() {
  fs::path inside = g_scratch;
  for (const char* level : {"a", "b", "c"}) {
    for (const auto& entry : fs::directory_iterator(inside))
      if (entry.path().filename() != level && entry.path().filename() != "archive.zip") std::abort();
    inside /= level;
  }
  for (const auto& entry : fs::recursive_directory_iterator(g_target))
    if (entry.is_symlink()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  wxSetAssertHandler(
      [](const wxString&, int, const wxString&, const wxString&, const wxString&) { std::abort(); });
  std::string pattern = (fs::temp_directory_path() / "fuzz_zip_XXXXXX").string();
  g_scratch = mkdtemp(pattern.data());
  g_target = g_scratch / "a" / "b" / "c" / "target";
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fs::path archive = g_scratch / "archive.zip";
  std::ofstream(archive, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data), size);
  fs::remove_all(g_target);
  fs::create_directories(g_target);
  const OdString zip(archive.wstring().c_str()), target(g_target.wstring().c_str());

  OdArray<OdString> names;
  const bool listed = ut::getZippedFolderEntries(zip, names);
  if (!listed && !names.isEmpty()) std::abort();
  ut::unzipFolder(zip, target);
  checkNothingOutside();
  UnseekableStream stream(data, size);
  ut::unzipFolder(stream, target);
  checkNothingOutside();
  wxMemoryOutputStream one;
  if (ut::unzipOneFile(zip, one) && !listed) std::abort();
  return 0;
}
