#include "core/ut_compose.h"

#include <algorithm>
#include <iterator>

namespace ut::internal {

namespace {

struct Composition {
  char32_t base;
  char32_t mark;
  char32_t composed;
};

#include "ut_compose_table.inc"

constexpr bool byPair(const Composition& a, const Composition& b) {
  return a.base != b.base ? a.base < b.base : a.mark < b.mark;
}

static_assert(std::is_sorted(std::begin(kCompositions), std::end(kCompositions), byPair));
static_assert(std::is_sorted(std::begin(kMarks), std::end(kMarks)));

}  // namespace

bool mayCompose(char32_t c) {
  return c >= kMarks[0] && std::binary_search(std::begin(kMarks), std::end(kMarks), c);
}

char32_t composePair(char32_t base, char32_t mark) {
  const Composition probe{base, mark, 0};
  const auto found = std::lower_bound(std::begin(kCompositions), std::end(kCompositions), probe, byPair);
  return found != std::end(kCompositions) && found->base == base && found->mark == mark ? found->composed : 0;
}

}  // namespace ut::internal
