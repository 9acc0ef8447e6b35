// The crash helper on Linux. The fault handler starts it with clone(CLONE_VM | CLONE_VFORK) and execve,
// which need neither the heap nor locks (fork would run the atfork handlers, and its child would inherit
// an allocator lock that the crashed thread may hold); the helper gets a socket pair as its standard
// input, the request and the faulting thread's stack through it, and PR_SET_PTRACER lets it trace its
// parent where Yama restricts ptrace. No SIGCHLD is asked for, so that the host's own handler never sees
// the helper; the handler reaps it itself.
//
// Signal safety: runCrashHelper and everything it calls (socketpair, clone, execve, poll, send, recv,
// shutdown, kill, waitpid, prctl, clock_gettime) are signal-safe and use no memory but the stack.

#include "platform/crash_helper.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

extern char** environ;

namespace ut::platform {

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kMaxRequest = 64 * 1024 * 1024;

struct HelperStart {
  const char* path;
  int channel;
};

// Runs in the child, on the parent's memory until execve replaces it. Not instrumented: a sanitizer's
// marks for this frame would stay behind in the parent's stack.
__attribute__((no_sanitize("address", "undefined"))) int startHelper(void* argument) {
  const auto* start = static_cast<const HelperStart*>(argument);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  if (start->channel == STDIN_FILENO) {
    fcntl(STDIN_FILENO, F_SETFD, 0);
  } else if (dup2(start->channel, STDIN_FILENO) < 0) {
    _exit(127);
  }
  char* const argv[] = {const_cast<char*>(start->path), nullptr};
  execve(start->path, argv, environ);
  _exit(127);
}

int64_t nowMs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

// Waits until `fd` is ready for `events`; false when the deadline passes first.
bool waitFor(int fd, short events, int64_t deadline) {
  for (;;) {
    const int64_t left = deadline - nowMs();
    if (left <= 0) return false;
    pollfd ready{fd, events, 0};
    const int result = poll(&ready, 1, static_cast<int>(std::min<int64_t>(left, INT_MAX)));
    if (result > 0) return true;
    if (result < 0 && errno != EINTR) return false;
  }
}

// False when the peer is gone, time runs out, or (sending memory) the bytes cannot be read. The system call
// itself, not the C library's wrapper: a sanitizer's wrapper would check the bytes, and a stack's are
// meant to be read beyond the objects it knows.
bool sendAll(int fd, const char* data, size_t size, int64_t deadline) {
  while (size > 0) {
    if (!waitFor(fd, POLLOUT, deadline)) return false;
    const ssize_t sent = syscall(SYS_sendto, fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT, nullptr, 0);
    if (sent < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (sent <= 0) return false;
    data += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

bool receiveAll(int fd, char* data, size_t size, int64_t deadline) {
  while (size > 0) {
    if (!waitFor(fd, POLLIN, deadline)) return false;
    const ssize_t received = recv(fd, data, size, MSG_DONTWAIT);
    if (received < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (received <= 0) return false;
    data += received;
    size -= static_cast<size_t>(received);
  }
  return true;
}

// Sends the memory a page at a time, up to the first page that cannot be read: the kernel answers EFAULT
// for it, where copying it here would fault.
void sendMemory(int fd, uint64_t start, size_t size, int64_t deadline) {
  while (size > 0) {
    const size_t chunk = std::min(size, kPage - static_cast<size_t>(start % kPage));
    if (!sendAll(fd, reinterpret_cast<const char*>(start), chunk, deadline)) return;
    start += chunk;
    size -= chunk;
  }
}

// Reaps the helper, killing it when it has not ended by the deadline.
void reap(pid_t child, int64_t deadline) {
  int status = 0;
  while (waitpid(child, &status, __WALL | WNOHANG) == 0) {
    if (nowMs() >= deadline) {
      kill(child, SIGKILL);
      while (waitpid(child, &status, __WALL) < 0 && errno == EINTR) {
      }
      return;
    }
    const timespec pause{0, 1000000};
    nanosleep(&pause, nullptr);
  }
}

}  // namespace

std::string locateCrashHelper(const char* name) {
  Dl_info library{};
  if (!dladdr(reinterpret_cast<void*>(&locateCrashHelper), &library) || !library.dli_fname) return {};
  char* resolved = realpath(library.dli_fname, nullptr);
  if (!resolved) return {};
  std::string path(resolved);
  std::free(resolved);
  path = path.substr(0, path.rfind('/') + 1) + name;
  return access(path.c_str(), X_OK) == 0 ? path : std::string();
}

int currentProcessId() { return getpid(); }

bool runCrashHelper(const char* helperPath, const void* request, size_t requestSize, uint64_t memoryStart,
                    size_t memorySize, void* answer, size_t answerSize, int timeoutMs) {
  int channel[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel) != 0) return false;
  HelperStart start{helperPath, channel[1]};
  alignas(16) char childStack[16 * 1024];
  const pid_t child = clone(startHelper, childStack + sizeof childStack, CLONE_VM | CLONE_VFORK, &start);
  close(channel[1]);
  bool answered = false;
  if (child > 0) {
    prctl(PR_SET_PTRACER, child, 0, 0, 0);
    const int64_t deadline = nowMs() + timeoutMs;
    if (sendAll(channel[0], static_cast<const char*>(request), requestSize, deadline))
      sendMemory(channel[0], memoryStart, memorySize, deadline);
    shutdown(channel[0], SHUT_WR);
    answered = receiveAll(channel[0], static_cast<char*>(answer), answerSize, deadline);
    reap(child, answered ? nowMs() + 1000 : 0);
    prctl(PR_SET_PTRACER, 0, 0, 0, 0);
  }
  close(channel[0]);
  return answered;
}

std::string readCrashRequest() {
  std::string bytes;
  char buffer[65536];
  for (;;) {
    const ssize_t got = read(STDIN_FILENO, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || bytes.size() + static_cast<size_t>(got) > kMaxRequest) break;
    bytes.append(buffer, static_cast<size_t>(got));
  }
  return bytes;
}

bool answerCrashRequest(const void* answer, size_t size) {
  return sendAll(STDIN_FILENO, static_cast<const char*>(answer), size, nowMs() + 5000);
}

std::FILE* openPrivateFile(const std::string& path, bool append) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  const bool created = fd >= 0;
  if (!created && errno == EEXIST)
    fd = open(path.c_str(), O_WRONLY | O_CLOEXEC | (append ? O_APPEND : O_TRUNC));
  if (fd < 0) return nullptr;
  // A new file is made readable by its owner only, whatever the umask; so is a rewritten one (a minidump
  // holds the process's memory). An appended file keeps the mode it was given.
  if ((created || !append) && fchmod(fd, 0600) != 0) {
    close(fd);
    return nullptr;
  }
  std::FILE* file = fdopen(fd, append ? "a" : "w");
  if (!file) close(fd);
  return file;
}

}  // namespace ut::platform
