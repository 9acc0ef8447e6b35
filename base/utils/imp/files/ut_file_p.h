// Inside the general file functions: how the cache of unavailable network roots (isNetworkPathAvailable)
// learns which roots there are, asks them and tells the time. The library uses the platform's means; a
// test puts in its own to decide which roots exist, whether and when they answer, and what time it is.

#ifndef QX_UT_FILE_P_H
#define QX_UT_FILE_P_H

#include "OdString.h"
#include "platform/files.h"

#include <chrono>
#include <functional>
#include <memory>

namespace ut::internal {

struct NetworkRootSettings {
  using Clock = std::chrono::steady_clock;

  // The file systems mounted now.
  std::function<std::shared_ptr<const platform::MountTable>()> mountTable = platform::mountTable;
  // Asks `root` something only its server can answer, and returns when the answer comes, if ever. It runs
  // on a thread of its own, which is abandoned when it does not return in time.
  std::function<void(const OdString& root)> probe = [](const OdString& root) {
    (void)platform::probeFileSystem(root);
  };
  // The clock of the two periods below; how long a caller waits for an answer is measured in real time.
  std::function<Clock::time_point()> now = Clock::now;
  // How long a caller waits for a probe to answer.
  std::chrono::milliseconds probeTimeout{2000};
  // How long a root that did not answer in time counts as unavailable.
  std::chrono::minutes unavailableFor{5};
  // How long a root that answered is taken as available without asking again.
  std::chrono::seconds trustAnswerFor{10};
};

// Replaces the settings and forgets what the cache knew of every root. Call it while no other thread
// asks the cache; probes still running keep the settings they started with.
void setNetworkRootSettings(NetworkRootSettings settings);

}  // namespace ut::internal

#endif
