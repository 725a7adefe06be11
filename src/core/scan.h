// Finding the few bytes that mean something among the many that do not, sixteen at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace quillet {

constexpr std::size_t block_size = 16;

template <char... set>
[[nodiscard]] constexpr bool is_one_of(char c) {
  return ((c == set) || ...);
}

// Bit i is set when byte i of the sixteen at `bytes` is one of the set.
template <char... set>
[[nodiscard]] inline std::uint32_t block_mask(const char *bytes) {
#ifdef __SSE2__
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
  __m128i hits = _mm_setzero_si128();
  ((hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(set)))), ...);
  return static_cast<std::uint32_t>(_mm_movemask_epi8(hits));
#else
  std::uint32_t mask = 0;
  for (std::size_t i = 0; i < block_size; ++i) mask |= std::uint32_t{is_one_of<set...>(bytes[i])} << i;
  return mask;
#endif
}

// Bit i is set when byte i of the sixteen at `bytes` is `wanted` once the bits of `fold` are set in it.
[[nodiscard]] inline std::uint32_t folded_block_mask(const char *bytes, char fold, char wanted) {
#ifdef __SSE2__
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
  const __m128i hits = _mm_cmpeq_epi8(_mm_or_si128(block, _mm_set1_epi8(fold)), _mm_set1_epi8(wanted));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(hits));
#else
  std::uint32_t mask = 0;
  for (std::size_t i = 0; i < block_size; ++i) mask |= std::uint32_t{(bytes[i] | fold) == wanted} << i;
  return mask;
#endif
}

// The position of the first byte of the set at or after `from`; the size of the source when there is
// none.
template <char... set>
[[nodiscard]] inline std::size_t find_one_of(std::string_view source, std::size_t from) {
  const char *const bytes = source.data();
  const std::size_t size = source.size();
  for (; from + block_size <= size; from += block_size) {
    if (const std::uint32_t mask = block_mask<set...>(bytes + from); mask != 0) {
      return from + static_cast<std::size_t>(std::countr_zero(mask));
    }
  }
  while (from < size && !is_one_of<set...>(bytes[from])) ++from;
  return from;
}

}  // namespace quillet
