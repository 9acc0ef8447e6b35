#include "ut_file_bytes.h"

#include <wx/string.h>

#include <fstream>
#include <iterator>

namespace ut::internal {

std::string nativeName(const OdString& file) {
  return std::string(wxString(file.c_str()).fn_str());
}

std::optional<std::string> readFileBytes(const OdString& file) {
  std::ifstream in(nativeName(file), std::ios::binary);
  if (!in) return std::nullopt;
  std::string bytes(std::istreambuf_iterator<char>(in), {});
  if (in.bad()) return std::nullopt;
  return bytes;
}

bool writeFileBytes(const OdString& file, std::string_view bytes) {
  std::ofstream out(nativeName(file), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return static_cast<bool>(out);
}

}  // namespace ut::internal
