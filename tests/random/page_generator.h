// Random pages: every operator that stays on this machine and in its folder, nested, in loops and macros, with
// the mistakes that authors make.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace quillet_tests {

// The same numbers for the same seed, everywhere (splitmix64, Steele, Lea and Flood 2014).
class random_numbers {
 public:
  explicit random_numbers(std::uint64_t seed) : state_(seed) {}
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
  bool one_in(std::size_t n) { return below(n) == 0; }

 private:
  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
  }
  std::uint64_t state_;
};

// The page of that number.
[[nodiscard]] std::string make_page(std::uint64_t seed);

}  // namespace quillet_tests
