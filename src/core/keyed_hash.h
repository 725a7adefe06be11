// A hash of bytes that a visitor chose. The hash depends on a secret of the process, so that nobody can choose
// many names that share one hash and make a table of them slow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quillet {

struct hash_key {
  std::uint64_t low;
  std::uint64_t high;
};

// SipHash-1-3 (J.-P. Aumasson, D. J. Bernstein: SipHash: a fast short-input PRF, 2012): one round for each eight
// bytes, three at the end.
[[nodiscard]] std::uint64_t siphash(std::string_view bytes, const hash_key &key);

// The same with the secret of the process: random bytes of the system, taken at the first call.
[[nodiscard]] std::uint64_t keyed_hash(std::string_view bytes);

// For the standard library's containers.
struct keyed_hasher {
  using is_transparent = void;
  std::size_t operator()(std::string_view bytes) const { return keyed_hash(bytes); }
};

}  // namespace quillet
