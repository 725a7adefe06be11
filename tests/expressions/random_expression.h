// Random regular expressions and texts for them; the same ones for the same number every time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// A small generator whose numbers are the same with every compiler and library.
class random_numbers {
 public:
  explicit random_numbers(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15 + 0x1234567) {
    for (int i = 0; i < 3; ++i) below(2);
  }
  unsigned below(unsigned end) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<unsigned>((state_ >> 11) % end);
  }
  bool one_in(unsigned n) { return below(n) == 0; }
  template <std::size_t size>
  std::string_view one_of(const std::string_view (&choices)[size]) {
    return choices[below(size)];
  }

 private:
  std::uint64_t state_;
};

// What kinds of expressions there are.
enum class expression_kind {
  everyday,  // what pages use: sets, groups, alternatives, repetitions
  narrow,    // the same with very few bytes, so that there are many ways to match
  any,       // everything that the C library knows, back references and word boundaries too
  nested,    // repetitions of repetitions of what may be nothing
  broken,    // pieces of expressions in any order, mostly wrong
};

std::string random_expression(random_numbers &random, expression_kind kind);
// A text in which an expression has a fair chance to match: letters of the expression itself among others.
std::string random_text(random_numbers &random, std::string_view expression, unsigned longest);
