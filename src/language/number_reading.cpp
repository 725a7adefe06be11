#include "language/number_reading.h"

#include <climits>
#include <cstdlib>

#include "core/text.h"

namespace quillet {

namespace {

// The value of a digit in the bases up to 16; 16 for any other byte.
unsigned digit_value(char c) {
  if (is_digit(c)) return static_cast<unsigned>(c - '0');
  const char lower = lower_char(c);
  return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 16;
}

// An integer that begins with "0". One that is too large gives the largest.
number_reading read_prefixed_integer(std::string_view source) {
  const bool hexadecimal = source.size() > 2 && lower_char(source[1]) == 'x' && digit_value(source[2]) < 16;
  const unsigned base = hexadecimal ? 16 : 8;
  std::size_t i = hexadecimal ? 2 : 0;
  unsigned long number = 0;
  bool too_large = false;
  for (; i < source.size() && digit_value(source[i]) < base; ++i) {
    too_large = too_large || __builtin_mul_overflow(number, base, &number);
    number += digit_value(source[i]);  // which fits into the bits that the product leaves free
  }
  return {static_cast<double>(too_large ? ULONG_MAX : number), i};
}

constexpr double powers_of_ten[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int largest_power = 22;      // the largest power of ten that is a double exactly
constexpr int exact_digits = 15;       // every number of so many digits is a double exactly
constexpr int exponent_limit = 99999;  // beyond it, only the sign of an exponent counts

// The parts of a decimal number, as far as they are needed to see whether it is a simple one.
struct decimal_parts {
  bool negative = false;
  unsigned long long digits = 0;  // all digits as an integer, while `digit_count` <= exact_digits
  int digit_count = 0;            // from the first one that is not 0
  long long exponent = 0;
};

// By hand: the standard library's reading of a double brings its locales into the program, which adds 11 % to the
// instructions of a small page.
class decimal_reader {
 public:
  explicit decimal_reader(std::string_view source) : source_(source) {}

  // The bytes of the number; 0 when there is none.
  std::size_t read() {
    if (at() == '-' || at() == '+') parts.negative = source_[position_++] == '-';
    std::size_t mantissa = read_digits();
    if (at() == '.') {
      ++position_;
      const std::size_t fraction = read_digits();
      parts.exponent -= static_cast<long long>(fraction);
      mantissa += fraction;
    }
    if (mantissa == 0) return 0;
    read_exponent();
    return position_;
  }

  decimal_parts parts;

 private:
  [[nodiscard]] char at() const { return position_ < source_.size() ? source_[position_] : '\0'; }

  std::size_t read_digits() {
    const std::size_t start = position_;
    for (; is_digit(at()); ++position_) {
      if (parts.digit_count > exact_digits || (parts.digit_count == 0 && at() == '0')) continue;
      ++parts.digit_count;
      parts.digits = parts.digits * 10 + static_cast<unsigned>(at() - '0');
    }
    return position_ - start;
  }

  // An "e" without digits after it belongs to what follows.
  void read_exponent() {
    const std::size_t start = position_;
    if (lower_char(at()) != 'e') return;
    ++position_;
    const bool negative = at() == '-';
    if (negative || at() == '+') ++position_;
    if (!is_digit(at())) {
      position_ = start;
      return;
    }
    int exponent = 0;
    for (; is_digit(at()); ++position_) {
      if (exponent < exponent_limit) exponent = exponent * 10 + (at() - '0');
    }
    parts.exponent += negative ? -exponent : exponent;
  }

  std::string_view source_;
  std::size_t position_ = 0;
};

number_reading read_decimal(std::string_view source) {
  decimal_reader reader(source);
  const std::size_t length = reader.read();
  const decimal_parts &parts = reader.parts;
  if (length == 0) return {};
  if (parts.digit_count > exact_digits || parts.exponent > largest_power || parts.exponent < -largest_power) {
    return {std::strtod(text(source.substr(0, length)).c_str(), nullptr), length};
  }
  // Both operands are exact, so the one operation rounds as reading the decimals would.
  double value = static_cast<double>(parts.digits);
  if (parts.exponent < 0) {
    value /= powers_of_ten[-parts.exponent];
  } else {
    value *= powers_of_ten[parts.exponent];
  }
  return {parts.negative ? -value : value, length};
}

}  // namespace

number_reading read_any_number(std::string_view source) {
  if (source.starts_with('0')) return read_prefixed_integer(source);
  std::size_t blanks = 0;
  while (blanks < source.size() && is_white_space(source[blanks])) ++blanks;
  number_reading reading = read_decimal(source.substr(blanks));
  if (reading.length != 0) reading.length += blanks;
  return reading;
}

}  // namespace quillet
