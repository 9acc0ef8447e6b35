// The cache of unavailable network roots. A root is the mount point of a network file system; asking it
// means a probe on a thread of its own, because a call into a share whose server has gone may not return
// for minutes (or, on a hard NFS mount, ever). Each caller waits for the probe only as long as the
// settings allow; a probe that does not answer is abandoned, never joined, and the root is marked
// unavailable until the period runs out. After that, callers wait for the same probe again, if it still
// hangs, instead of starting another: one silent root never has more than one thread stuck in it.

#include "ut_file.h"

#include "core/ut_assert_p.h"
#include "core/ut_wx.h"
#include "files/ut_file_p.h"

#include <wx/filename.h>
#include <wx/log.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>

namespace ut {

namespace {

using internal::NetworkRootSettings;
using TimePoint = NetworkRootSettings::Clock::time_point;

// One question to a root. Its thread holds a share of it and drops that when the answer comes.
class Probe {
 public:
  static std::shared_ptr<Probe> start(const OdString& root, const NetworkRootSettings& settings) {
    auto probe = std::make_shared<Probe>();
    try {
      std::thread([probe, root, ask = settings.probe] {
        ask(root);
        probe->answer();
      }).detach();
    } catch (const std::system_error&) {
      probe->answer();  // no thread to ask with: the root is not held against the caller
    }
    return probe;
  }

  // True when the answer has come, or comes within `timeout`.
  bool waitForAnswer(std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    return m_answered.wait_for(lock, timeout, [this] { return m_done; });
  }

 private:
  void answer() {
    const std::lock_guard lock(m_mutex);
    m_done = true;
    m_answered.notify_all();
  }

  std::mutex m_mutex;
  std::condition_variable m_answered;
  bool m_done = false;
};

// The path's absolute form, "." and ".." resolved by name: the file system is not asked, as it may be
// the one that does not answer.
std::wstring absoluteForm(const OdString& path) {
  const wxLogNull quiet;
  wxFileName name(internal::toWx(path));
  name.MakeAbsolute();
  return internal::fromWx(name.GetFullPath()).str();
}

// The network mount point that holds `path`, if the innermost mount point that holds it is one.
std::optional<std::wstring> networkRootOf(const OdString& path, const platform::MountTable& mounts) {
  if (std::none_of(mounts.begin(), mounts.end(), [](const auto& mount) { return mount.network; })) {
    return std::nullopt;
  }
  const std::wstring absolute = absoluteForm(path);
  const platform::MountPoint* innermost = nullptr;
  for (const platform::MountPoint& mount : mounts) {
    const std::wstring_view root = mount.path.view();
    const bool holds = absolute.starts_with(root) && (absolute.size() == root.size() ||
                                                      root.ends_with(L'/') || absolute[root.size()] == L'/');
    // A later mount on the same point covers the earlier one.
    if (holds && (!innermost || root.size() >= innermost->path.view().size())) innermost = &mount;
  }
  if (!innermost || !innermost->network) return std::nullopt;
  return innermost->path.str();
}

class NetworkRoots {
 public:
  static NetworkRoots& instance() {
    static NetworkRoots* const roots = new NetworkRoots;  // never destroyed: callable while the process exits
    return *roots;
  }

  void configure(NetworkRootSettings settings) {
    const std::lock_guard lock(m_mutex);
    m_settings = std::move(settings);
    m_roots.clear();
  }

  bool isAvailable(const OdString& path) {
    std::unique_lock lock(m_mutex);
    const std::optional<std::wstring> root = networkRootOf(path, *m_settings.mountTable());
    if (!root) return true;
    Root& state = m_roots[*root];
    const TimePoint now = m_settings.now();
    if (now < state.unavailableUntil) return false;
    if (now < state.trustedUntil) return true;
    if (!state.probe) state.probe = Probe::start(OdString(*root), m_settings);
    const std::shared_ptr<Probe> probe = state.probe;
    const std::chrono::milliseconds timeout = m_settings.probeTimeout;
    lock.unlock();
    const bool answered = probe->waitForAnswer(timeout);
    lock.lock();
    return answered ? trust(*root, probe) : markUnavailable(*root, lock);
  }

 private:
  struct Root {
    TimePoint unavailableUntil;
    TimePoint trustedUntil;
    std::shared_ptr<Probe> probe;  // the probe that has not answered yet, if one was started
  };

  bool trust(const std::wstring& root, const std::shared_ptr<Probe>& probe) {
    Root& state = m_roots[root];
    if (state.probe == probe) state.probe.reset();
    state.trustedUntil = m_settings.now() + m_settings.trustAnswerFor;
    return true;
  }

  // Reports outside the lock, so that a callback may ask the cache again.
  bool markUnavailable(const std::wstring& root, std::unique_lock<std::mutex>& lock) {
    Root& state = m_roots[root];
    const TimePoint now = m_settings.now();
    if (now < state.unavailableUntil) return false;  // another caller has marked it meanwhile
    state.unavailableUntil = now + m_settings.unavailableFor;
    const int minutes = static_cast<int>(m_settings.unavailableFor.count());
    lock.unlock();
    internal::report(
        "ut::isNetworkPathAvailable",
        wxString::Format(L"The network path with root directory '%ls' is not available at the "
                         L"moment and will be ignored for the next %d minute(s) or until restart.",
                         root.c_str(), minutes));
    return false;
  }

  std::mutex m_mutex;
  NetworkRootSettings m_settings;
  std::unordered_map<std::wstring, Root> m_roots;
};

}  // namespace

bool isNetworkPathAvailable(const OdString& path) { return NetworkRoots::instance().isAvailable(path); }

namespace internal {

void setNetworkRootSettings(NetworkRootSettings settings) {
  NetworkRoots::instance().configure(std::move(settings));
}

}  // namespace internal

}  // namespace ut
