// Generated content of the kinds a CAD application's files hold, for the compression benchmarks: text
// (drawing-exchange-like lines of codes, layer names and coordinates), binary records (little-endian
// integers and doubles of a mesh) and already-compressed data (deflated text, which deflate cannot
// shrink again). Deterministic for a given generator state.

#ifndef QX_BENCH_MIXED_CONTENT_H
#define QX_BENCH_MIXED_CONTENT_H

#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

namespace qxbench {

inline std::string textContent(std::mt19937& random, size_t size) {
  static const char* const kLayers[] = {"A-WALL", "S-BEAM", "M-PIPE", "E-LITE", "0", "DIM"};
  std::string text;
  char line[96];
  while (text.size() < size) {
    std::snprintf(line, sizeof line, "  0\nLINE\n  8\n%s\n 10\n%.4f\n 20\n%.4f\n", kLayers[random() % 6],
                  (random() % 1000000) / 100.0, (random() % 1000000) / 100.0);
    text += line;
  }
  text.resize(size);
  return text;
}

inline std::string binaryContent(std::mt19937& random, size_t size) {
  std::string bytes;
  while (bytes.size() < size) {
    const int32_t index = static_cast<int32_t>(random() % 5000);
    const double point[3] = {(random() % 10000) * 0.25, (random() % 10000) * 0.25, (random() % 40) * 0.5};
    bytes.append(reinterpret_cast<const char*>(&index), sizeof index);
    bytes.append(reinterpret_cast<const char*>(point), sizeof point);
  }
  bytes.resize(size);
  return bytes;
}

inline std::string compressedContent(std::mt19937& random, size_t size) {
  std::string packed;
  while (packed.size() < size) {
    const std::string text = textContent(random, 1 << 20);
    uLongf length = compressBound(text.size());
    std::string out(length, '\0');
    compress2(reinterpret_cast<Bytef*>(out.data()), &length, reinterpret_cast<const Bytef*>(text.data()),
              text.size(), 9);
    packed.append(out.data(), length);
  }
  packed.resize(size);
  return packed;
}

// Content of kind `kind` (0 text, 1 binary, 2 compressed).
inline std::string mixedContent(std::mt19937& random, int kind, size_t size) {
  return kind == 0 ? textContent(random, size) : kind == 1 ? binaryContent(random, size)
                                                           : compressedContent(random, size);
}

}  // namespace qxbench

#endif
