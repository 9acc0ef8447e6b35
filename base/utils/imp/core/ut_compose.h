// Canonical composition: a base character and a combining mark that follows it, as one precomposed
// character where Unicode has one ("e" and U+0301 give U+00E9), as normalization form C composes them.
// Code pages that lack combining marks often hold the precomposed letters.
//
//   ut::internal::composePair(U'e', U'\u0301');   // U'\u00E9'
//   ut::internal::composePair(U'q', U'\u0301');   // 0: no such letter

#ifndef QX_UT_COMPOSE_H
#define QX_UT_COMPOSE_H

namespace ut::internal {

// Whether `c` ever follows a base in a composition; cheap, for skipping text with nothing to compose.
[[nodiscard]] bool mayCompose(char32_t c);
// The precomposed character of `base` followed by `mark`; 0 when there is none.
[[nodiscard]] char32_t composePair(char32_t base, char32_t mark);

}  // namespace ut::internal

#endif
