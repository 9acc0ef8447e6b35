#include "core/ut_trace.h"

#include <cstdio>
#include <cstdlib>

namespace ut::internal {

void trace(int level, const wxString& text) {
  const char* setting = std::getenv("VDM_LOG_LEVEL");
  if (!setting || *setting == '\0' || std::atoi(setting) < level) return;
  std::fprintf(stderr, "%d> %s\n", level, static_cast<const char*>(text.utf8_str()));
}

}  // namespace ut::internal
