// What the operators and functions of expressions compute. In a header, so that a loop over a prepared expression
// makes no call for each of them.
#pragma once

#include <climits>

#include "language/expression_operations.h"

namespace quillet {

// The number truncated toward zero. One beyond 32 bits, and what is no number, gives -2147483648.
[[nodiscard]] inline int truncate_to_int(double value) {
  return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int>(value) : INT_MIN;
}

[[nodiscard]] inline int truncate_to_int(long long value) {
  const int narrow = static_cast<int>(value);
  return narrow == value ? narrow : INT_MIN;
}

inline constexpr double whole_numbers_from = 4503599627370496.0;  // 2^52; no double from here on has a fraction

[[nodiscard]] inline double round_down(double x) {
  if (!(__builtin_fabs(x) < whole_numbers_from)) return x;
  auto whole = static_cast<double>(static_cast<long long>(x));
  if (whole > x) whole -= 1;
  return __builtin_copysign(whole, x);
}

inline constexpr double division_by_zero = 1e300;

[[nodiscard]] inline double from_bits(unsigned bits) { return static_cast<int>(bits); }

[[nodiscard]] inline double apply_integer_infix(operation meaning, int a, int b) {
  const auto bits_a = static_cast<unsigned>(a);
  const auto bits_b = static_cast<unsigned>(b);
  switch (meaning) {
    // The processor's division fails for the smallest number and -1, and takes 64 bits twice the time.
    case operation::remainder:
      return b == 0 || b == -1 ? 0 : a % b;
    case operation::shift_left:
      return from_bits(bits_a << (bits_b & 31));
    case operation::shift_right:
      return a >> (bits_b & 31);
    case operation::bit_and:
      return from_bits(bits_a & bits_b);
    case operation::bit_xor:
      return from_bits(bits_a ^ bits_b);
    case operation::bit_or:
      return from_bits(bits_a | bits_b);
    case operation::logical_and:
      return a != 0 && b != 0;
    default:
      return a != 0 || b != 0;
  }
}

[[nodiscard]] inline double apply_infix(operation meaning, double x, double y) {
  switch (meaning) {
    case operation::multiply:
      return x * y;
    // Deliberate: a huge number and no error.
    case operation::divide:
      return y == 0 ? division_by_zero : x / y;
    case operation::add:
      return x + y;
    case operation::subtract:
      return x - y;
    case operation::less:
      return x < y;
    case operation::greater:
      return x > y;
    case operation::less_or_equal:
      return x <= y;
    case operation::greater_or_equal:
      return x >= y;
    case operation::equal:
      return x == y;
    case operation::not_equal:
      return x != y;
    default:
      return apply_integer_infix(meaning, truncate_to_int(x), truncate_to_int(y));
  }
}

[[nodiscard]] inline double apply_prefix(operation meaning, double x) {
  switch (meaning) {
    case operation::logical_not:
      return truncate_to_int(x) == 0;
    // Deliberate: unsigned, unlike every other integer result.
    case operation::complement:
      return ~static_cast<unsigned>(truncate_to_int(x));
    case operation::round:
      return round_down(x + 0.5);
    case operation::floor:
      return round_down(x);
    case operation::ceiling:
      return -round_down(-x);
    case operation::absolute:
      return __builtin_fabs(x);
    case operation::sign:
      return (x > 0) - (x < 0);
    // Deliberate: `sqrt` is known, and always 0.
    default:
      return 0;
  }
}

}  // namespace quillet
