#include "ut_system.h"

#include "core/ut_identity.h"
#include "platform/system.h"

#include <atomic>

namespace ut {

OdString getExecutableFolder() { return platform::executableFolder(); }

OdString getUserConfigDir() { return platform::userConfigDir(internal::companyName()); }

unsigned long getCurrentThreadId() { return platform::currentThreadId(); }

namespace {
std::atomic<unsigned long> g_mainThreadId{0};
}  // namespace

void setMainThreadId(unsigned long id) { g_mainThreadId.store(id, std::memory_order_relaxed); }

unsigned long getMainThreadId() { return g_mainThreadId.load(std::memory_order_relaxed); }

}  // namespace ut
