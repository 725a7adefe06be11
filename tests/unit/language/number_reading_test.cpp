#include "language/number_reading.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support.h"

namespace quillet {
namespace {

// The value and the bytes read, as the C library reads the whole text.
void expect_like_strtod(const std::string &number) {
  char *end = nullptr;
  const double expected = std::strtod(number.c_str(), &end);
  const number_reading read = read_number(number);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(read.value), std::bit_cast<std::uint64_t>(expected)) << number;
  EXPECT_EQ(read.length, static_cast<std::size_t>(end - number.c_str())) << number;
}

TEST(read_number, reads_nothing_where_there_is_no_number) {
  for (const char *source : {"", "x", "-", "+", ".", "-.", "e5", ".e5", "--5", "+-5", "-x", " ", "inf", "nan", "-inf",
                             "+nan", "INFINITY", "NaN(1)"}) {
    EXPECT_EQ(read_number(source).length, 0U) << source;
    EXPECT_EQ(read_number(source).value, 0) << source;
  }
}

TEST(read_number, reads_decimal_numbers_like_the_c_library) {
  for (const char *number : {"1",
                             "-1",
                             "+1",
                             "12345",
                             "1.5",
                             "-.5",
                             "5.",
                             "1e5",
                             "1E-5",
                             "1e+5",
                             "1e22",
                             "1e23",
                             "1e-22",
                             "1e-23",
                             "999999999999999",
                             "9999999999999999",
                             "123456789012345e7",
                             "1.7976931348623157e308",
                             "1.8e308",
                             "4.9e-324",
                             "2e-324",
                             "2.2250738585072011e-308",
                             "9007199254740993",
                             "-0",
                             "-0.0",
                             "-00012.50",
                             "1e400",
                             "-1e400",
                             "1e-400",
                             "1e99999999999",
                             "1e-99999999999",
                             "  7",
                             "\t\n\v\f\r-7.25"}) {
    expect_like_strtod(number);
  }
}

TEST(read_number, ends_at_the_first_byte_that_does_not_belong) {
  EXPECT_EQ(read_number("12x").length, 2U);
  EXPECT_EQ(read_number("1e").length, 1U);
  EXPECT_EQ(read_number("1e+").length, 1U);
  EXPECT_EQ(read_number("1.5.5").length, 3U);
  EXPECT_EQ(read_number("5-3").length, 1U);
  EXPECT_EQ(read_number("1e5e5").length, 3U);
  EXPECT_EQ(read_number("123456789012345678x").length, 18U);
}

TEST(read_number, reads_random_decimal_numbers_like_the_c_library) {
  constexpr std::string_view pieces[] = {"1", "9", "5", "0", "00", "123", "77777"};
  constexpr std::string_view signs[] = {"", "", "-", "+"};
  quillet_tests::random_texts random(7);
  for (int i = 0; i < 50000; ++i) {
    // The first digit is not 0.
    std::string number(signs[random.number(4)]);
    number += std::to_string(1 + random.number(9)) + random.text(pieces, 5);
    if (random.number(2) == 0) number += "." + random.text(pieces, 6);
    if (random.number(3) == 0) {
      number += 'e';
      number += signs[random.number(4)];
      number += std::to_string(random.number(330));
    }
    expect_like_strtod(number);
  }
}

TEST(read_number, reads_a_million_digits) {
  expect_like_strtod(std::string(1000000, '1'));
  expect_like_strtod("." + std::string(1000000, '0') + "1");
  expect_like_strtod("1." + std::string(1000000, '3') + "e-5");
}

TEST(read_number, reads_integers_with_a_prefix) {
  struct row {
    const char *source;
    double value;
    std::size_t length;
  };
  constexpr row rows[] = {{"0", 0, 1},     {"00", 0, 2},    {"017", 15, 3}, {"09", 0, 1},  {"0179", 15, 3},
                          {"0x1F", 31, 4}, {"0X1f", 31, 4}, {"0x", 0, 1},   {"0xg", 0, 1}, {"0x1g", 1, 3},
                          {"0.5", 0, 1},   {"0e5", 0, 1},   {"0b1", 0, 1}};
  for (const row &expected : rows) {
    EXPECT_EQ(read_number(expected.source).value, expected.value) << expected.source;
    EXPECT_EQ(read_number(expected.source).length, expected.length) << expected.source;
  }
}

TEST(read_number, a_prefixed_integer_stays_within_64_bits) {
  EXPECT_EQ(read_number("0xffffffffffffffff").value, static_cast<double>(ULONG_MAX));
  EXPECT_EQ(read_number("0x10000000000000000").value, static_cast<double>(ULONG_MAX));
  EXPECT_EQ(read_number("0x7fffffffffffffff").value, 9223372036854775807.0);
  EXPECT_EQ(read_number("0x10000000000000000").length, 19U);
  EXPECT_EQ(read_number("0" + std::string(1000, '7')).length, 1001U);
}

TEST(read_number, a_sign_or_a_space_makes_a_number_decimal) {
  EXPECT_EQ(read_number("-010").value, -10);
  EXPECT_EQ(read_number(" 010").value, 10);
  EXPECT_EQ(read_number("-0x10").value, 0);
  EXPECT_EQ(read_number("-0x10").length, 2U);
}

TEST(read_number, reads_no_byte_after_its_source) {
  const std::string digits = "123456";
  EXPECT_EQ(read_number(std::string_view(digits).substr(0, 3)).value, 123);
  EXPECT_EQ(read_number(std::string_view("0x12").substr(0, 2)).length, 1U);
  EXPECT_EQ(read_number(std::string_view("1e5").substr(0, 2)).length, 1U);
  EXPECT_EQ(read_number(std::string_view("12345678901234567890").substr(0, 17)).value, 12345678901234567.0);
}

}  // namespace
}  // namespace quillet
