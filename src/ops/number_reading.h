// Reading the numbers of expressions.
#pragma once

#include <cstddef>
#include <string_view>

namespace quillet {

struct number_reading {
  double value = 0;
  std::size_t length = 0;  // the bytes read; 0: there is no number
};

// The number at the front of `source`, by the C library's rules: an unsigned integer when it begins
// with "0", in base 16 behind "0x", otherwise in base 8; else a decimal number with sign, fraction and
// exponent. "inf" and "nan" are no numbers.
[[nodiscard]] number_reading read_number(std::string_view source);

}  // namespace quillet
