#include "core/ut_utf8.h"

#include "core/ut_utf8_vector.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace ut::internal {

// --- Validation ----------------------------------------------------------------------------------------
//
// A piece is checked sixteen bytes at a time where the processor allows it, else one sequence at a time
// while at least four bytes are left; a sequence cut by the end of a piece is finished byte by byte
// through a small automaton whose state carries over to the next piece.

namespace {

enum State : unsigned char {
  kAccept,
  kNeed1,    // one more 80..BF
  kNeed2,    // two more
  kNeed3,    // three more
  kAfterE0,  // A0..BF, then one more (no overlong three-byte form)
  kAfterED,  // 80..9F, then one more (no surrogate)
  kAfterF0,  // 90..BF, then two more (no overlong four-byte form)
  kAfterF4,  // 80..8F, then two more (nothing above U+10FFFF)
  kReject,
};

State leadState(unsigned char b) {
  if (b < 0x80) return kAccept;
  if (b < 0xC2) return kReject;
  if (b < 0xE0) return kNeed1;
  if (b == 0xE0) return kAfterE0;
  if (b == 0xED) return kAfterED;
  if (b < 0xF0) return kNeed2;
  if (b == 0xF0) return kAfterF0;
  if (b < 0xF4) return kNeed3;
  if (b == 0xF4) return kAfterF4;
  return kReject;
}

State nextState(State state, unsigned char b) {
  const auto within = [b](unsigned low, unsigned high) { return b >= low && b <= high; };
  switch (state) {
    case kAccept: return leadState(b);
    case kNeed1: return within(0x80, 0xBF) ? kAccept : kReject;
    case kNeed2: return within(0x80, 0xBF) ? kNeed1 : kReject;
    case kNeed3: return within(0x80, 0xBF) ? kNeed2 : kReject;
    case kAfterE0: return within(0xA0, 0xBF) ? kNeed1 : kReject;
    case kAfterED: return within(0x80, 0x9F) ? kNeed1 : kReject;
    case kAfterF0: return within(0x90, 0xBF) ? kNeed2 : kReject;
    case kAfterF4: return within(0x80, 0x8F) ? kNeed2 : kReject;
    case kReject: return kReject;
  }
  return kReject;
}

bool isContinuation(unsigned char b) { return (b & 0xC0) == 0x80; }

bool hasHighBit(const unsigned char* p) {
  uint64_t words[4];
  std::memcpy(words, p, sizeof words);
  return ((words[0] | words[1] | words[2] | words[3]) & 0x8080808080808080ull) != 0;
}

// The length of the well-formed sequence at `p`, which has at least four bytes after it; 0 if invalid.
size_t sequenceAt(const unsigned char* p) {
  State state = leadState(p[0]);
  if (state == kAccept) return 1;
  if (state == kNeed1) return isContinuation(p[1]) ? 2 : 0;
  size_t length = 1;
  while (state != kAccept && state != kReject) state = nextState(state, p[length++]);
  return state == kAccept ? length : 0;
}

// Where the sequence cut off by the end of [p, end) starts: a lead byte among the last three bytes whose
// sequence runs past the end; `end` when there is none. A lead byte never continues a sequence, so the
// bytes before it and those from it on are well-formed together exactly when each part is.
const unsigned char* startOfCutSequence(const unsigned char* p, const unsigned char* end) {
  for (const unsigned char* q = end; q > p && end - q < 3;) {
    const unsigned char b = *--q;
    if (b < 0x80) return end;
    if (b >= 0xC0) return q + (b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : 2) > end ? q : end;
  }
  return end;
}

}  // namespace

bool Utf8Validator::feed(const unsigned char* bytes, size_t size) {
  const unsigned char* p = bytes;
  const unsigned char* const end = bytes + size;
  auto state = static_cast<State>(m_state);
  for (; p < end && state != kAccept && state != kReject; ++p) state = nextState(state, *p);
  if (state == kAccept && hasUtf8Vector()) {
    const unsigned char* const cut = startOfCutSequence(p, end);
    if (!validUtf8Vector(p, static_cast<size_t>(cut - p))) state = kReject;
    p = cut;
  }
  if (state == kAccept) {
    while (end - p >= 4) {
      while (end - p >= 32 && !hasHighBit(p)) p += 32;
      while (p < end && *p < 0x80) ++p;
      if (end - p < 4) break;
      const size_t length = sequenceAt(p);
      if (length == 0) {
        state = kReject;
        break;
      }
      p += length;
    }
    for (; p < end && state != kReject; ++p) state = nextState(state, *p);
  }
  m_state = state;
  return state != kReject;
}

// --- Encoding that never fails ----------------------------------------------------------------------------

void encodeUtf8Lenient(std::wstring_view text, std::string& out) {
  const auto unencodable = [](wchar_t c) {
    const auto u = static_cast<char32_t>(c);
    return (u >= 0xD800 && u <= 0xDFFF) || u > 0x10FFFF;
  };
  while (!text.empty()) {
    const auto valid = static_cast<size_t>(std::find_if(text.begin(), text.end(), unencodable) - text.begin());
    (void)encodeUtf8(text.substr(0, valid), out);
    if (valid == text.size()) return;
    out += "\xEF\xBF\xBD";
    text.remove_prefix(valid + 1);
  }
}

}  // namespace ut::internal
