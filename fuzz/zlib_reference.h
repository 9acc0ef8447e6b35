// What zlib's own streaming inflate makes of a buffer, for the zlib fuzz targets to compare with.

#ifndef QX_FUZZ_ZLIB_REFERENCE_H
#define QX_FUZZ_ZLIB_REFERENCE_H

#include <zlib.h>

#include <string>

namespace qxfuzz {

struct Inflated {
  std::string bytes;   // the output, up to the stream's end or the first error
  bool ended = false;  // whether the stream ended properly
};

inline Inflated referenceInflate(const unsigned char* data, size_t size) {
  Inflated result;
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return result;
  stream.next_in = const_cast<unsigned char*>(data);
  stream.avail_in = static_cast<uInt>(size);
  char buffer[65536];
  int code = Z_OK;
  while (code == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(buffer);
    stream.avail_out = sizeof buffer;
    code = inflate(&stream, Z_FINISH);
    result.bytes.append(buffer, sizeof buffer - stream.avail_out);
    if (code == Z_BUF_ERROR && stream.avail_out == 0) code = Z_OK;  // only the buffer was full
  }
  result.ended = code == Z_STREAM_END;
  inflateEnd(&stream);
  return result;
}

}  // namespace qxfuzz

#endif
