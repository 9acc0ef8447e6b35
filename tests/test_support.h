// Shared by the suites: readable OdString values in failure messages.

#ifndef QX_TESTS_TEST_SUPPORT_H
#define QX_TESTS_TEST_SUPPORT_H

#include "OdString.h"

#include <ostream>
#include <string>

inline void PrintTo(const OdString& s, std::ostream* os) {
  *os << "L\"";
  for (wchar_t c : s.view()) {
    if (c >= 0x20 && c < 0x7F)
      *os << static_cast<char>(c);
    else
      *os << "\\x{" << std::hex << static_cast<unsigned>(c) << std::dec << "}";
  }
  *os << "\"";
}

#endif
