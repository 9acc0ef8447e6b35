// Writing archives. wxWidgets' zip stream writes headers, sums and the directory on the caller's thread;
// the worker threads read the files and deflate them ahead, in pieces of at most 1 MiB. Each piece is
// deflated with the 32 KiB before it as its dictionary and ends at a byte boundary (the last one ends
// the stream), so that a file's pieces joined are one deflate stream, as pigz makes them. The stream
// asks for an entry's compressor; ours passes the pieces on and lets the entry's own bytes, which
// wxWidgets needs for its sums and sizes, fall away.

#include "files/ut_zip_p.h"

#include "core/ut_assert_p.h"
#include "platform/files.h"

#include <wx/datetime.h>
#include <wx/zipstrm.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>

namespace ut::internal {

namespace {

constexpr uint64_t kPiece = 1 << 20;
constexpr size_t kWindow = 32 << 10;
// How far the workers may run ahead of the archive: pieces, and bytes read.
constexpr size_t kAheadPieces = 64;
constexpr uint64_t kAheadBytes = 32 << 20;
// Entries from this size on get Zip64 sizes in their local header from the start: deflate may make
// such a file larger than 4 GiB although it is smaller.
constexpr uint64_t kZip64Size = 0xF0000000;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// One zlib deflater per worker thread, reset for every piece.
class Deflater {
 public:
  Deflater() {
    m_ready = deflateInit2(&m_stream, kZipLevel, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~Deflater() {
    if (m_ready) deflateEnd(&m_stream);
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // `raw` deflated after `dictionary`, ending the stream when `last`, else at a byte boundary.
  bool deflate(const std::string& dictionary, const std::string& raw, bool last, std::string& packed) {
    if (!m_ready || deflateReset(&m_stream) != Z_OK) return false;
    if (!dictionary.empty() &&
        deflateSetDictionary(&m_stream, reinterpret_cast<const Bytef*>(dictionary.data()),
                             static_cast<uInt>(dictionary.size())) != Z_OK)
      return false;
    packed.resize(deflateBound(&m_stream, raw.size()) + 16);
    m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(raw.data()));
    m_stream.avail_in = static_cast<uInt>(raw.size());
    m_stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    m_stream.avail_out = static_cast<uInt>(packed.size());
    const int result = ::deflate(&m_stream, last ? Z_FINISH : Z_SYNC_FLUSH);
    packed.resize(packed.size() - m_stream.avail_out);
    return m_stream.avail_in == 0 && result == (last ? Z_STREAM_END : Z_OK);
  }

 private:
  z_stream m_stream{};
  bool m_ready = false;
};

struct Piece {
  std::string raw;
  std::string packed;
  std::string error;  // why the file could not be read; empty when it could
};

bool readExactly(std::FILE* file, std::string& bytes, uint64_t size) {
  bytes.resize(size);
  return std::fread(bytes.data(), 1, size, file) == size;
}

// Bytes [offset, offset + length) of `file`, read and deflated.
Piece deflatePiece(const std::string& file, uint64_t offset, uint64_t length, bool last) {
  thread_local Deflater deflater;
  Piece piece;
  const FilePtr in(std::fopen(file.c_str(), "rb"));
  const uint64_t start = offset > kWindow ? offset - kWindow : 0;
  std::string dictionary;
  if (!in) {
    piece.error = platform::lastErrorText();
  } else if (std::fseek(in.get(), static_cast<long>(start), SEEK_SET) != 0 ||
             !readExactly(in.get(), dictionary, offset - start) ||
             !readExactly(in.get(), piece.raw, length)) {
    piece.error = std::ferror(in.get()) ? platform::lastErrorText() : "it became shorter while it was read";
  } else if (!deflater.deflate(dictionary, piece.raw, last, piece.packed)) {
    piece.error = "zlib could not deflate it";
  }
  return piece;
}

uint64_t pieceCount(const ZipItem& item) {
  return item.isFolder ? 0 : std::max<uint64_t>(1, (item.size + kPiece - 1) / kPiece);
}

// Submits the pieces of the items in order, as far ahead as the limits allow, and hands them back in
// the same order.
class PieceQueue {
 public:
  explicit PieceQueue(const std::vector<ZipItem>& items) : m_items(items) {}

  Piece next() {
    fill();
    Piece piece = m_pending.front().first.get();
    m_aheadBytes -= m_pending.front().second;
    m_pending.pop_front();
    return piece;
  }

 private:
  void fill() {
    while (m_item < m_items.size() &&
           (m_pending.empty() || (m_pending.size() < kAheadPieces && m_aheadBytes < kAheadBytes))) {
      const ZipItem& item = m_items[m_item];
      if (m_piece == pieceCount(item)) {
        ++m_item;
        m_piece = 0;
        continue;
      }
      const uint64_t offset = m_piece * kPiece, length = std::min(kPiece, item.size - offset);
      const bool last = ++m_piece == pieceCount(item);
      m_pending.emplace_back(m_pool.submit([&item, offset, length, last] {
        return deflatePiece(item.source, offset, length, last);
      }),
                             length);
      m_aheadBytes += length;
    }
  }

  const std::vector<ZipItem>& m_items;
  size_t m_item = 0;
  uint64_t m_piece = 0;
  std::deque<std::pair<std::future<Piece>, uint64_t>> m_pending;
  uint64_t m_aheadBytes = 0;
  WorkerPool
      m_pool;  // last: destroyed first, it lets the submitted pieces end before the queue they read goes
};

// Stands where wxWidgets expects an entry's compressor: takes the entry's bytes, which wxWidgets has
// already summed, and writes the deflated pieces handed in before them instead.
class PackedSink : public wxOutputStream {
 public:
  void add(std::string&& packed) {
    m_pieces.push_back(std::move(packed));
    if (m_target) drain();
  }
  // Nothing is written before the stream's first Write(): wxWidgets writes the local header after it
  // opens the compressor.
  void open(wxOutputStream& target) {
    m_target = &target;
    Reset();
  }
  bool close() {
    drain();
    m_target = nullptr;
    return IsOk();
  }

 protected:
  size_t OnSysWrite(const void*, size_t size) override {
    drain();
    return IsOk() ? size : 0;
  }

 private:
  void drain() {
    for (const std::string& piece : m_pieces) {
      if (m_target->Write(piece.data(), piece.size()).LastWrite() != piece.size())
        m_lasterror = wxSTREAM_WRITE_ERROR;
    }
    m_pieces.clear();
  }

  wxOutputStream* m_target = nullptr;
  std::vector<std::string> m_pieces;
};

class PackedZipOutputStream : public wxZipOutputStream {
 public:
  explicit PackedZipOutputStream(wxOutputStream& out) : wxZipOutputStream(out, kZipLevel, wxConvUTF8) {}
  ~PackedZipOutputStream() override { Close(); }

  // The deflated form of the bytes that the next Write() gives the current entry.
  void addPacked(std::string&& packed) { m_sink.add(std::move(packed)); }

 protected:
  wxOutputStream* OpenCompressor(wxOutputStream& stream, wxZipEntry& entry, const Buffer[]) override {
    entry.SetMethod(wxZIP_METHOD_DEFLATE);
    m_sink.open(stream);
    return &m_sink;
  }
  bool CloseCompressor(wxOutputStream* compressor) override {
    return compressor == &m_sink ? m_sink.close() : wxZipOutputStream::CloseCompressor(compressor);
  }

 private:
  PackedSink m_sink;
};

// A zip entry's time, within what DOS time can hold (1980 to 2107, local time).
wxDateTime entryTime(int64_t seconds) {
  constexpr int64_t kEarliest = 315619200, kLatest = 4354732800;  // 2 January 1980, 30 December 2107
  return wxDateTime(static_cast<time_t>(std::clamp(seconds, kEarliest, kLatest)));
}

// The pieces of one file into its entry. False when the archive cannot be written whole: a piece after
// the first failed, so that the entry cannot be completed (reported).
bool writeFile(PackedZipOutputStream& zip, const ZipItem& item, Piece first, PieceQueue& queue,
               const char* operation) {
  auto* entry = new wxZipEntry(wxString::FromUTF8(item.name), entryTime(item.modified),
                               static_cast<wxFileOffset>(item.size));
  zip.SetFormat(item.size >= kZip64Size ? wxZIP_FORMAT_ZIP64 : wxZIP_FORMAT_DEFAULT);
  if (!zip.PutNextEntry(entry)) return false;
  Piece piece = std::move(first);
  for (uint64_t done = 1;; ++done) {
    zip.addPacked(std::move(piece.packed));
    if (!zip.Write(piece.raw.data(), piece.raw.size()).IsOk()) return false;
    if (done == pieceCount(item)) return zip.CloseEntry();
    piece = queue.next();
    if (!piece.error.empty()) return report(operation, "Cannot read \"" + item.source + "\": " + piece.error);
  }
}

}  // namespace

WorkerPool::WorkerPool() {
  const unsigned count = std::max(1u, std::thread::hardware_concurrency());
  for (unsigned i = 0; i < count; ++i) m_threads.emplace_back([this] { work(); });
}

WorkerPool::~WorkerPool() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stopping = true;
  }
  m_wake.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

void WorkerPool::work() {
  for (;;) {
    std::function<void()> job;
    {
      std::unique_lock<std::mutex> lock(m_mutex);
      m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
      if (m_jobs.empty()) return;
      job = std::move(m_jobs.front());
      m_jobs.pop_front();
    }
    job();
  }
}

bool writeZipItems(wxOutputStream& out, const std::vector<ZipItem>& items, const char* operation,
                   bool& incomplete) {
  PieceQueue queue(items);
  PackedZipOutputStream zip(out);
  for (const ZipItem& item : items) {
    if (item.isFolder) {
      if (!zip.PutNextDirEntry(wxString::FromUTF8(item.name), entryTime(item.modified))) return false;
      continue;
    }
    Piece first = queue.next();
    if (first.error.empty()) {
      if (!writeFile(zip, item, std::move(first), queue, operation)) return false;
      continue;
    }
    report(operation, "Cannot read \"" + item.source + "\": " + first.error);
    incomplete = true;
    for (uint64_t piece = 1; piece < pieceCount(item); ++piece) queue.next();
  }
  return zip.Close();
}

}  // namespace ut::internal
