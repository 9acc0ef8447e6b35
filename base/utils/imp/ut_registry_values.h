// The byte forms of registry values that more than one part of the registry family reads and writes.

#ifndef QX_UT_REGISTRY_VALUES_H
#define QX_UT_REGISTRY_VALUES_H

#include "registry_platform.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ut::internal {

// A dword in the registry's little-endian byte order.
inline std::string dwordBytes(uint32_t value) {
  const char bytes[] = {static_cast<char>(value), static_cast<char>(value >> 8),
                        static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
  return std::string(bytes, 4);
}

// The dword a value holds, sign-extended as a 32-bit number; nothing for a value of another type.
inline std::optional<long> dwordValue(const platform::RegistryValue& value) {
  if (value.type != eRegDword || value.data.size() != 4) return std::nullopt;
  uint32_t number = 0;
  for (int i = 3; i >= 0; --i) number = number << 8 | static_cast<unsigned char>(value.data[i]);
  return static_cast<int32_t>(number);
}

// Whether a number fits a dword, read as signed or unsigned.
inline bool fitsDword(long value) { return value >= INT32_MIN && value <= static_cast<long>(UINT32_MAX); }

inline bool isStringValue(const platform::RegistryValue& value) {
  return value.type == eRegString || value.type == eRegExpandString;
}

}  // namespace ut::internal

#endif
