// TextFile over arbitrary file content: opening never fails hard, and a file of well-formed UTF-8 reads
// back as its own text: the lines joined by LF are the decoded text with CR LF and CR turned into LF and
// one final line end dropped.

#include "ut_text_file.h"
#include "core/ut_utf8.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

std::filesystem::path g_file;

std::wstring expectedText(const std::string& bytes) {
  std::wstring text, unified;
  (void)ut::internal::decodeUtf8(bytes, text, false);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n') continue;
    unified += text[i] == L'\r' ? L'\n' : text[i];
  }
  if (!unified.empty() && unified.back() == L'\n') unified.pop_back();
  return unified;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::string pattern = (std::filesystem::temp_directory_path() / "fuzz_text_XXXXXX").string();
  g_file = std::filesystem::path(mkdtemp(pattern.data())) / "input.txt";
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::ofstream(g_file, std::ios::binary | std::ios::trunc) << bytes;
  ut::TextFile file(g_file.wstring().c_str());
  const bool opened = file.open();
  file.restoreLocale();
  // Other byte-order marks are not well-formed UTF-8 themselves.
  const bool plainUtf8 = ut::internal::isValidUtf8(bytes) && !bytes.starts_with("\xEF\xBB\xBF");
  if (!plainUtf8) return 0;
  if (!opened || file.encoding() != ut::TextFile::eBomNone) std::abort();
  std::wstring joined;
  for (size_t i = 0; i < file.getLineCount(); ++i) joined += (i ? L"\n" : L"") + file.getLine(i).str();
  if (joined != expectedText(bytes)) std::abort();
  return 0;
}
