// Formatting the numbers of expressions.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/text.h"

namespace quillet {

// Appends the value. Without a format: truncated to an integer, in decimal.
//
// A format is text with one conversion as of the C library's printf: "%", flags, width, precision, and
// one of d i o u x X e E f F g G a A; "l" and "h" can come before the letter. "%%" is a "%". Everything
// else is literal: a second conversion, conversions of anything but a number, "*". At most
// `longest_formatted` bytes are appended.
void append_number(double value, std::string_view format, text &out);

constexpr int longest_formatted = 1023;

// The letter of a format's conversion; 0 when it has none.
[[nodiscard]] char conversion_letter(std::string_view format);

// Where a format whose conversion is one for fractions has the first letter that makes the number an integer;
// npos when it has none, and for every other format.
[[nodiscard]] std::size_t find_integer_letter(std::string_view format);

}  // namespace quillet
