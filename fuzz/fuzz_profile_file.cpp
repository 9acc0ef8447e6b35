// Profile files from arbitrary bytes: reading one never fails hard, the head of what its tree is saved as
// names the profile, and a tree read back from what it was saved as saves to the same bytes.

#include "config/ut_profile_p.h"
#include "core/ut_nocase.h"
#include "ut_file.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

std::filesystem::path g_dir;
const OdString kProfiles = L"Software/Korvani/VeltoCAD/V26x64/en_US/Profiles/";

OdString fileIn(const char* name) { return (g_dir / name).wstring().c_str(); }

std::string saved(const ut::ConfigNodePtr& tree, const char* name) {
  if (!ut::internal::profileFileStorage(fileIn(name), kProfiles)->save(tree)) std::abort();
  std::string bytes;
  (void)ut::readEntireFile(fileIn(name), bytes);
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::string pattern = (std::filesystem::temp_directory_path() / "fuzz_profile_XXXXXX").string();
  g_dir = mkdtemp(pattern.data());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!ut::writeEntireFile(fileIn("input.reg"), {reinterpret_cast<const char*>(data), size})) return 0;
  (void)ut::internal::readProfileFileHead(fileIn("input.reg"), kProfiles);
  const ut::ConfigNodePtr tree = ut::internal::profileFileStorage(fileIn("input.reg"), kProfiles)->load();
  if (!tree) return 0;
  const std::string first = saved(tree, "first.reg");
  const auto head = ut::internal::readProfileFileHead(fileIn("first.reg"), kProfiles);
  if (!head || !ut::internal::equalNoCase(head->name.view(), tree->path().view())) std::abort();
  const ut::ConfigNodePtr again = ut::internal::profileFileStorage(fileIn("first.reg"), kProfiles)->load();
  if (!again || saved(again, "second.reg") != first) std::abort();
  return 0;
}
