#include "qxutils.h"

#include <cstdio>

int main() {
  OdArray<OdString> parts;
  ut::split(parts, L"a,b", L",");
  const bool ok = parts.size() == 2 && parts[1] == L"b";
  std::puts(ok ? "package: 1 passed, 0 failed" : "package: 0 passed, 1 failed");
  return ok ? 0 : 1;
}
