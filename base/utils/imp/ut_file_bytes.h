// Whole files as bytes, for the families that read and write small files in one piece.

#ifndef QX_UT_FILE_BYTES_H
#define QX_UT_FILE_BYTES_H

#include "OdString.h"

#include <optional>
#include <string>
#include <string_view>

namespace ut::internal {

// Nothing when the file cannot be opened or read.
[[nodiscard]] std::optional<std::string> readFileBytes(const OdString& file);
// Replaces the file's content; false when it cannot be created or written.
[[nodiscard]] bool writeFileBytes(const OdString& file, std::string_view bytes);
// The name as the file system spells it.
[[nodiscard]] std::string nativeName(const OdString& file);

}  // namespace ut::internal

#endif
