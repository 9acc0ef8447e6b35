#include "ut_zlib.h"

#include "platform/files.h"
#include "platform/text.h"

#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace {

// The version text the engine hands to zlib's initialisation. Zlib compares only its first character
// with its own version (ZLIB_VERSION, 1.2.13 here): any 1.x release takes it.
constexpr const char* kZlibVersion = "1.2.5";

// Up to this input length percentages are computed as consumed * 100 / length; above it as consumed /
// (length / 100), which keeps the product small.
constexpr long long kExactPercentLimit = 10000000;

// The input is read in blocks of 4096 bytes through a stdio buffer of this size, so that the file
// system sees large reads.
constexpr size_t kInputBuffer = 1 << 20;

// The output of the steps collects in an area of this size and is written when less than kOutputRoom
// is left. The blocks stay the unit of progress and abort; what changes is that a step's output lands
// after the previous one's instead of at the start of a 4096-byte block. Inflate copies a match from
// the output it is writing far faster than from its window, and takes its fast path only with 258 bytes
// of room: with 4096-byte output blocks decompression ran at half the speed of a plain zlib loop.
constexpr unsigned kOutputArea = 1 << 20;
constexpr unsigned kOutputRoom = 64 << 10;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

FilePtr openFile(const wchar_t* path, const char* mode) {
  if (!path) return nullptr;
  const std::string narrow =
      ut::platform::fileNameToNarrow(ut::platform::correctPathSeparators(OdString(path)).view());
  return FilePtr(std::fopen(narrow.c_str(), mode));
}

long long fileLength(std::FILE* file) {
  if (std::fseek(file, 0, SEEK_END) != 0) return 0;
  const long length = std::ftell(file);
  std::rewind(file);
  return length > 0 ? length : 0;
}

}  // namespace

struct ZlibEngine::Run {
  explicit Run(bool deflating) : deflating(deflating) {}

  z_stream stream{};
  const bool deflating;
  bool initialised = false;
  FilePtr input;
  FilePtr output;
  unsigned char in[kBlockSize];
  std::unique_ptr<unsigned char[]> out{new unsigned char[kOutputArea]};
};

ZlibEngine::ZlibEngine() = default;

ZlibEngine::ZlibEngine(const ZlibEngine& other)
    : m_abort(other.m_abort.load()), m_inputLength(other.m_inputLength), m_lastResult(other.m_lastResult) {}

ZlibEngine::ZlibEngine(ZlibEngine&& other) noexcept : ZlibEngine(static_cast<const ZlibEngine&>(other)) {}

ZlibEngine& ZlibEngine::operator=(const ZlibEngine& other) {
  m_abort = other.m_abort.load();
  m_inputLength = other.m_inputLength;
  m_lastResult = other.m_lastResult;
  return *this;
}

ZlibEngine& ZlibEngine::operator=(ZlibEngine&& other) noexcept {
  return *this = static_cast<const ZlibEngine&>(other);
}

ZlibEngine::~ZlibEngine() = default;

int ZlibEngine::compress(const wchar_t* inputPath, const wchar_t* outputPath, int level) {
  m_run = std::make_unique<Run>(true);
  return run(inputPath, outputPath, level);
}

int ZlibEngine::decompress(const wchar_t* inputPath, const wchar_t* outputPath) {
  m_run = std::make_unique<Run>(false);
  return run(inputPath, outputPath, 0);
}

void ZlibEngine::setAbortFlag(bool) { m_abort = true; }

int ZlibEngine::run(const wchar_t* inputPath, const wchar_t* outputPath, int level) {
  z_stream& stream = m_run->stream;
  m_lastResult = Z_OK;
  m_abort = false;
  stream.total_in = 0;
  stream.next_out = m_run->out.get();
  stream.avail_out = kOutputArea;
  // The output is opened only for an input that opened, so that a wrong input name truncates nothing.
  m_run->input = openFile(inputPath, "rb");
  if (m_run->input) std::setvbuf(m_run->input.get(), nullptr, _IOFBF, kInputBuffer);
  if (m_run->input) m_run->output = openFile(outputPath, "wb");
  if (!m_run->output) m_lastResult = Z_ERRNO;
  if (m_lastResult == Z_OK) m_lastResult = m_run->deflating ? doDeflateInit(level) : doInflateInit();
  if (m_lastResult == Z_OK) {
    processBlocks();
    progress(percent());
  }
  if (m_run->initialised && m_run->deflating) deflateEnd(&stream);
  if (m_run->initialised && !m_run->deflating) inflateEnd(&stream);
  m_run->input.reset();
  // Closing writes what the file's buffer still holds; a failure there is a failed write.
  if (m_run->output && std::fclose(m_run->output.release()) != 0 && m_lastResult >= Z_OK)
    m_lastResult = Z_ERRNO;
  const bool aborted = m_abort;
  if (aborted) {
    status(L"User Abort");
  } else if (m_lastResult == Z_OK || m_lastResult == Z_STREAM_END) {
    m_lastResult = Z_OK;
    status(L"Success");
  } else {
    status(L"Zlib Error");
  }
  m_run.reset();
  return aborted ? kAborted : m_lastResult;
}

int ZlibEngine::step(int flush) {
  return m_run->deflating ? deflate(&m_run->stream, flush) : inflate(&m_run->stream, flush);
}

void ZlibEngine::processBlocks() {
  for (;;) {
    if (m_run->stream.avail_in == 0 && load_input() == 0) break;
    m_lastResult = step(Z_NO_FLUSH);
    if (m_lastResult == Z_OK && m_run->stream.avail_out < kOutputRoom) flush_output();
    if (m_lastResult != Z_OK) break;
    progress(percent());
    if (m_abort) break;
  }
  while (m_lastResult == Z_OK && !m_abort) {
    const uInt room = m_run->stream.avail_out;
    m_lastResult = step(Z_FINISH);
    if (m_run->stream.avail_out == room) break;
    if (m_run->stream.avail_out < kOutputRoom) flush_output();
  }
  // Whatever the ending, what the steps produced is written.
  if (m_run->stream.avail_out != kOutputArea) flush_output();
}

int ZlibEngine::doInflateInit() {
  m_inputLength = fileLength(m_run->input.get());
  const int result = inflateInit_(&m_run->stream, kZlibVersion, static_cast<int>(sizeof(z_stream)));
  m_run->initialised = result == Z_OK;
  return result;
}

int ZlibEngine::doDeflateInit(int level) {
  m_inputLength = fileLength(m_run->input.get());
  const int result = deflateInit_(&m_run->stream, level, kZlibVersion, static_cast<int>(sizeof(z_stream)));
  m_run->initialised = result == Z_OK;
  return result;
}

void ZlibEngine::progress(int) {}

void ZlibEngine::status(const wchar_t*) {}

int ZlibEngine::percent() {
  const uint64_t consumed = m_run ? m_run->stream.total_in : 0;
  const auto length = static_cast<uint64_t>(m_inputLength);
  if (length == 0) return 100;
  if (m_inputLength <= kExactPercentLimit) return static_cast<int>(consumed * 100 / length);
  return static_cast<int>(consumed / (length / 100));
}

int ZlibEngine::load_input() {
  if (!m_run || !m_run->input) return 0;
  const size_t count = std::fread(m_run->in, 1, kBlockSize, m_run->input.get());
  if (count < kBlockSize && std::ferror(m_run->input.get())) m_lastResult = Z_ERRNO;
  m_run->stream.next_in = m_run->in;
  m_run->stream.avail_in = static_cast<uInt>(count);
  return static_cast<int>(count);
}

int ZlibEngine::flush_output() {
  if (!m_run || !m_run->output) return Z_ERRNO;
  const size_t produced = kOutputArea - m_run->stream.avail_out;
  const bool written = std::fwrite(m_run->out.get(), 1, produced, m_run->output.get()) == produced;
  // The area is free again either way: what could not be written is lost, and must not be written twice.
  m_run->stream.next_out = m_run->out.get();
  m_run->stream.avail_out = kOutputArea;
  if (written) return Z_OK;
  m_lastResult = Z_ERRNO;
  return Z_ERRNO;
}

unsigned long ZlibEngine::compressedSize(unsigned long sourceLength) { return compressBound(sourceLength); }

int ZlibEngine::compressMemory(unsigned char* dest, unsigned long* destLength, unsigned char* source,
                               unsigned long sourceLength, int level) {
  return compress2(dest, destLength, source, sourceLength, level);
}

int ZlibEngine::decompressMemory(unsigned char* dest, unsigned long* destLength, unsigned char* source,
                                 unsigned long sourceLength) {
  return uncompress(dest, destLength, source, sourceLength);
}
