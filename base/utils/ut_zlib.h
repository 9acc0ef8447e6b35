// Zlib compression of whole files and memory buffers. `ZlibEngine` compresses one file into another as a
// zlib stream (and back) in blocks of 4096 bytes; after every block it reports its progress through a
// virtual operation that a derived class overrides to show it, or to stop the run with setAbortFlag.
// The three static functions compress and decompress memory buffers in one call.
//
//   class Job : public ZlibEngine {
//    protected:
//     void progress(int percent) override { bar.set(percent); if (bar.cancelled()) setAbortFlag(true); }
//     void status(const wchar_t* text) override { log(text); }  // "Success", "User Abort", "Zlib Error"
//   };
//   Job job;
//   job.compress(L"/tmp/plan.dwg", L"/tmp/plan.dwz", 6);    // 0; progress 0..100, then "Success"
//   job.decompress(L"/tmp/plan.dwz", L"/tmp/plan.dwg");     // 0
//   job.decompress(L"/tmp/cut.dwz", L"/tmp/cut.dwg");       // -5 for a truncated stream: "Zlib Error"
//
//   std::vector<unsigned char> text = ..., packed(ZlibEngine::compressedSize(text.size()));
//   unsigned long size = packed.size();
//   ZlibEngine::compressMemory(packed.data(), &size, text.data(), text.size(), 6);  // 0; size: bytes used
//
// Paths take "\" and "/" both as the folder separator and "|" as a space. A run's output is left as far
// as it was written when the run fails or is aborted; a missing input file creates no output.
//
// One engine runs one file pair at a time, on the caller's thread. setAbortFlag may also be called from
// another thread while a run is going on. The static functions may be called from any thread.

#ifndef QX_UT_ZLIB_H
#define QX_UT_ZLIB_H

#include <atomic>
#include <memory>

class ZlibEngine {
 public:
  // The result of a run that progress() stopped.
  static constexpr int kAborted = -7;
  // The size of the blocks a run reads, writes and reports progress after.
  static constexpr int kBlockSize = 4096;

  ZlibEngine();
  ZlibEngine(const ZlibEngine& other);
  ZlibEngine(ZlibEngine&& other) noexcept;
  ZlibEngine& operator=(const ZlibEngine& other);
  ZlibEngine& operator=(ZlibEngine&& other) noexcept;
  virtual ~ZlibEngine();

  // Compresses `inputPath` into `outputPath` at `level` (0 to 9, or -1 for zlib's default of 6).
  // 0 on success; kAborted when progress() stopped the run; otherwise zlib's error code, or -1 (Z_ERRNO)
  // when a file could not be opened, read or written.
  int compress(const wchar_t* inputPath, const wchar_t* outputPath, int level);
  // Decompresses the zlib stream in `inputPath` into `outputPath`; results as compress().
  int decompress(const wchar_t* inputPath, const wchar_t* outputPath);

  // Stops the current run after its block. The argument is ignored: the flag is set either way, and only
  // the start of the next run clears it.
  void setAbortFlag(bool abort);

  // Zlib's upper bound of the compressed size of `sourceLength` bytes.
  static unsigned long compressedSize(unsigned long sourceLength);
  // One-call compression at `level` and decompression; `destLength` holds the room in `dest` and receives
  // the bytes used. Zlib's result codes: 0, Z_BUF_ERROR (-5) when `dest` is too small, Z_DATA_ERROR (-3)
  // for a corrupted or incomplete stream, Z_STREAM_ERROR (-2) for a bad level.
  static int compressMemory(unsigned char* dest, unsigned long* destLength, unsigned char* source,
                            unsigned long sourceLength, int level);
  static int decompressMemory(unsigned char* dest, unsigned long* destLength, unsigned char* source,
                              unsigned long sourceLength);

 protected:
  // Record the input's length and initialise the zlib stream; 0, or the zlib error that ends the run.
  // An override calls these first.
  virtual int doInflateInit();
  virtual int doDeflateInit(int level);
  // After every block with the percentage of the input consumed, and once more at the end. Does nothing
  // here.
  virtual void progress(int percent);
  // Once at the end of a run: "Success", "User Abort" or "Zlib Error". Does nothing here.
  virtual void status(const wchar_t* text);

  // The input consumed so far, in percent of the input's length (100 for an empty input).
  int percent();
  // Reads the next block into the stream's input when the stream has used up what it had; the number of
  // bytes read.
  int load_input();
  // Writes the output the steps have collected and makes its area free again; -1 (and the run's result
  // -1) when the output could not be written, else 0.
  int flush_output();
  // The three work only during a run, that is from the init operations to status().

 private:
  struct Run;
  int run(const wchar_t* inputPath, const wchar_t* outputPath, int level);
  int step(int flush);
  void processBlocks();

  std::unique_ptr<Run> m_run;  // the zlib stream, the files and the blocks; only during a run
  std::atomic<bool> m_abort{false};
  long long m_inputLength = 0;
  int m_lastResult = 0;
};

#endif
