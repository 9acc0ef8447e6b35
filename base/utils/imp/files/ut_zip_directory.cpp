// The central directory as stored, for the two facts wxWidgets does not keep: an entry's name as written
// (it drops a leading slash) and its file type (it resets the type bits of the attributes to a file's or
// a folder's). The directory is found as wxWidgets finds it, so that both read the same records.

#include "files/ut_zip_p.h"

#include <wx/stream.h>

#include <algorithm>

namespace ut::internal {

namespace {

constexpr uint32_t kCentral = 0x02014b50, kEnd = 0x06054b50, kZip64End = 0x06064b50,
                   kZip64Locator = 0x07064b50;
constexpr size_t kCentralSize = 46, kEndSize = 22, kLocatorSize = 20, kZip64EndSize = 56;
constexpr uint32_t kTypeMask = 0170000, kLinkType = 0120000;

uint32_t le16(const unsigned char* p) { return p[0] | p[1] << 8; }
uint32_t le32(const unsigned char* p) { return le16(p) | le16(p + 2) << 16; }
uint64_t le64(const unsigned char* p) { return le32(p) | uint64_t{le32(p + 4)} << 32; }

bool readAt(wxInputStream& in, wxFileOffset offset, void* buffer, size_t size) {
  return offset >= 0 && in.SeekI(offset) != wxInvalidOffset && in.Read(buffer, size).LastRead() == size;
}

// The end record's position: the last signature at most a maximal comment (64 KiB) before the end.
wxFileOffset findEnd(wxInputStream& in) {
  const wxFileOffset length = in.GetLength();
  if (length < static_cast<wxFileOffset>(kEndSize)) return -1;
  const wxFileOffset start = std::max<wxFileOffset>(0, length - kEndSize - 0xFFFF);
  std::vector<unsigned char> tail(static_cast<size_t>(length - start));
  if (!readAt(in, start, tail.data(), tail.size())) return -1;
  for (size_t i = tail.size() - kEndSize + 1; i-- > 0;) {
    if (le32(&tail[i]) == kEnd) return start + static_cast<wxFileOffset>(i);
  }
  return -1;
}

// Where the first central record stands: at the offset the end record gives, or, for an archive behind
// a prefix (a self-extractor), the directory's size before the end record.
wxFileOffset findDirectory(wxInputStream& in, wxFileOffset end) {
  unsigned char record[kZip64EndSize];
  if (!readAt(in, end, record, kEndSize)) return -1;
  uint64_t entries = le16(record + 10), size = le32(record + 12), offset = le32(record + 16);
  if (end >= static_cast<wxFileOffset>(kLocatorSize) &&
      readAt(in, end - kLocatorSize, record, kLocatorSize) && le32(record) == kZip64Locator) {
    if (!readAt(in, static_cast<wxFileOffset>(le64(record + 8)), record, kZip64EndSize) ||
        le32(record) != kZip64End)
      return -1;
    entries = le64(record + 32), size = le64(record + 40), offset = le64(record + 48);
  }
  const uint32_t first = entries ? kCentral : kEnd;
  for (const uint64_t candidate : {offset, static_cast<uint64_t>(end) - size}) {
    if (candidate <= static_cast<uint64_t>(end) &&
        readAt(in, static_cast<wxFileOffset>(candidate), record, 4) && le32(record) == first)
      return static_cast<wxFileOffset>(candidate);
  }
  return -1;
}

}  // namespace

bool readStoredEntries(wxInputStream& archive, std::vector<StoredEntry>& entries) {
  const wxFileOffset end = findEnd(archive);
  wxFileOffset at = end < 0 ? -1 : findDirectory(archive, end);
  if (at < 0) return false;
  unsigned char header[kCentralSize] = {};
  while (readAt(archive, at, header, 4) && le32(header) == kCentral) {
    if (!readAt(archive, at, header, kCentralSize)) return false;
    const size_t nameLength = le16(header + 28);
    StoredEntry entry;
    entry.name.resize(nameLength);
    if (nameLength && archive.Read(entry.name.data(), nameLength).LastRead() != nameLength) return false;
    entry.isLink = ((le32(header + 38) >> 16) & kTypeMask) == kLinkType;
    entries.push_back(std::move(entry));
    at += static_cast<wxFileOffset>(kCentralSize + nameLength + le16(header + 30) + le16(header + 32));
  }
  return le32(header) == kEnd || le32(header) == kZip64End;
}

}  // namespace ut::internal
