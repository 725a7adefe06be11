// Finding the few bytes that mean something among the many that do not, sixteen at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

#ifdef __SSE2__
using byte_block = __m128i;
[[nodiscard]] inline byte_block load_block(const char *bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}
inline void store_block(char *to, byte_block bytes) { _mm_storeu_si128(reinterpret_cast<__m128i *>(to), bytes); }
[[nodiscard]] inline byte_block make_block(std::uint64_t low, std::uint64_t high) {
  return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}
#else
struct byte_block {
  char bytes[block_size];
};
[[nodiscard]] inline byte_block load_block(const char *bytes) {
  byte_block loaded;
  std::memcpy(loaded.bytes, bytes, block_size);
  return loaded;
}
inline void store_block(char *to, const byte_block &bytes) { std::memcpy(to, bytes.bytes, block_size); }
[[nodiscard]] inline byte_block make_block(std::uint64_t low, std::uint64_t high) {
  byte_block made;
  std::memcpy(made.bytes, &low, 8);
  std::memcpy(made.bytes + 8, &high, 8);
  return made;
}
#endif

// Fewer than sixteen bytes, followed by zeros; no byte after them is read.
[[nodiscard]] inline byte_block load_short_block(const char *bytes, std::size_t size) {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  if (size >= 8) {
    std::memcpy(&low, bytes, 8);
    std::memcpy(&high, bytes + size - 8, 8);
    high = size == 8 ? 0 : high >> (16 - size) * 8;
  } else if (size >= 4) {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::memcpy(&first, bytes, 4);
    std::memcpy(&last, bytes + size - 4, 4);
    low = first | std::uint64_t{last} << (size - 4) * 8;
  } else {
    for (std::size_t i = 0; i < size; ++i) low |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << i * 8;
  }
  return make_block(low, high);
}

// Bit i is set when byte i of the block is one of the set.
template <char... set>
[[nodiscard]] inline std::uint32_t mask_in(const byte_block &bytes) {
#ifdef __SSE2__
  __m128i hits = _mm_setzero_si128();
  ((hits = _mm_or_si128(hits, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(set)))), ...);
  return static_cast<std::uint32_t>(_mm_movemask_epi8(hits));
#else
  std::uint32_t mask = 0;
  for (std::size_t i = 0; i < block_size; ++i) mask |= std::uint32_t{is_one_of<set...>(bytes.bytes[i])} << i;
  return mask;
#endif
}

[[nodiscard]] constexpr bool is_up_to_space(char c) { return static_cast<unsigned char>(c) <= ' '; }

// Bit i is set when byte i of the block is a space or below it.
[[nodiscard]] inline std::uint32_t mask_up_to_space(const byte_block &bytes) {
#ifdef __SSE2__
  const __m128i hits = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(' ')), bytes);
  return static_cast<std::uint32_t>(_mm_movemask_epi8(hits));
#else
  std::uint32_t mask = 0;
  for (std::size_t i = 0; i < block_size; ++i) mask |= std::uint32_t{is_up_to_space(bytes.bytes[i])} << i;
  return mask;
#endif
}

// `mask_in` for the sixteen at `bytes`.
template <char... set>
[[nodiscard]] inline std::uint32_t block_mask(const char *bytes) {
  return mask_in<set...>(load_block(bytes));
}

// Bit i is set when byte i of the sixteen at `bytes` is `wanted` once the bits of `fold` are set in it.
[[nodiscard]] inline std::uint32_t folded_block_mask(const char *bytes, char fold, char wanted) {
#ifdef __SSE2__
  const __m128i loaded = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
  const __m128i hits = _mm_cmpeq_epi8(_mm_or_si128(loaded, _mm_set1_epi8(fold)), _mm_set1_epi8(wanted));
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

// Calls `use` with the position of each byte of the set, in their order.
template <char... set, class function>
void for_each_of(std::string_view source, const function &use) {
  const char *const bytes = source.data();
  const std::size_t size = source.size();
  for (std::size_t i = 0; i < size; i += block_size) {
    const bool is_whole = size - i >= block_size;
    std::uint32_t mask = mask_in<set...>(is_whole ? load_block(bytes + i) : load_short_block(bytes + i, size - i));
    for (; mask != 0; mask &= mask - 1) use(i + static_cast<std::size_t>(std::countr_zero(mask)));
  }
}

}  // namespace quillet
