// Reading the numbers of expressions.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/text.h"

namespace quillet {

struct number_reading {
  double value = 0;
  std::size_t length = 0;  // the bytes read; 0: there is no number
};

// A decimal integer that is a double exactly; none as well where a number needs a closer look.
[[nodiscard]] inline number_reading read_plain_integer(std::string_view source) {
  constexpr std::size_t exact_digits = 15;
  unsigned long long number = 0;
  std::size_t i = 0;
  for (; i < source.size() && is_digit(source[i]); ++i) number = number * 10 + static_cast<unsigned>(source[i] - '0');
  const char next = i < source.size() ? lower_char(source[i]) : '\0';
  if (i == 0 || i > exact_digits || next == '.' || next == 'e') return {};
  if (source[0] == '0' && (i > 1 || next == 'x')) return {};
  return {static_cast<double>(static_cast<long long>(number)), i};
}

[[nodiscard]] number_reading read_any_number(std::string_view source);

// The number at the front of `source`, by the C library's rules: an unsigned integer when it begins
// with "0", in base 16 after "0x", otherwise in base 8; else a decimal number with sign, fraction and
// exponent. "inf" and "nan" are no numbers.
[[nodiscard]] inline number_reading read_number(std::string_view source) {
  const number_reading plain = read_plain_integer(source);
  return plain.length != 0 ? plain : read_any_number(source);
}

}  // namespace quillet
