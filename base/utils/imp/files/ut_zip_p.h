// Inside the zip family: the worker threads that read and deflate files for an archive and write the
// files extracted from one, the deflating of a file's pieces, and what zipping and extracting share.
// wxWidgets' streams are used on the caller's thread only; the workers run zlib and the C library.

#ifndef QX_UT_ZIP_P_H
#define QX_UT_ZIP_P_H

#include "OdString.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class wxInputStream;
class wxOutputStream;

namespace ut::internal {

// Threads that run jobs in the order they were submitted. The destructor runs what is queued and joins.
class WorkerPool {
 public:
  // As many threads as the machine has cores.
  WorkerPool();
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  template <class Job>
  std::future<std::invoke_result_t<Job>> submit(Job job) {
    auto task = std::make_shared<std::packaged_task<std::invoke_result_t<Job>()>>(std::move(job));
    auto result = task->get_future();
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_jobs.emplace_back([task] { (*task)(); });
    }
    m_wake.notify_one();
    return result;
  }

  unsigned size() const { return static_cast<unsigned>(m_threads.size()); }

 private:
  void work();

  std::mutex m_mutex;
  std::condition_variable m_wake;
  std::deque<std::function<void()>> m_jobs;
  bool m_stopping = false;
  std::vector<std::thread> m_threads;
};

// The deflate level of every archive, zlib's default.
constexpr int kZipLevel = 6;

// A file or folder to go into an archive.
struct ZipItem {
  std::string source;  // the file's name as the file system takes it
  std::string name;    // the entry's name, UTF-8, a folder's ending in "/"
  bool isFolder = false;
  uint64_t size = 0;
  int64_t modified = 0;  // seconds since 1970
};

// Writes `items` as a zip archive to `out` (seekable), reporting under `operation` each file that cannot
// be read and is left out (`incomplete` is then set). False when the archive could not be written whole.
bool writeZipItems(wxOutputStream& out, const std::vector<ZipItem>& items, const char* operation,
                   bool& incomplete);

// What the central directory says of an entry that wxWidgets does not keep: its name as stored
// (wxWidgets drops a leading slash) and whether it is a symbolic link (wxWidgets resets the file type).
struct StoredEntry {
  std::string name;
  bool isLink = false;
};
// Appends those of every entry of a seekable archive, in the directory's order; false when the directory
// cannot be found or read.
bool readStoredEntries(wxInputStream& archive, std::vector<StoredEntry>& entries);

}  // namespace ut::internal

#endif
