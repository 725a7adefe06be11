#include "language/number_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "support.h"

namespace quillet {
namespace {

std::string format(double value, std::string_view how) {
  text out;
  append_number(value, how, out);
  return std::string(out.view());
}

template <typename number>
std::string c_format(const std::string &how, number value) {
  char buffer[1024];
  std::snprintf(buffer, sizeof buffer, how.c_str(), value);
  return buffer;
}

TEST(append_number, without_a_format_gives_a_truncated_integer) {
  EXPECT_EQ(format(0, ""), "0");
  EXPECT_EQ(format(3.9, ""), "3");
  EXPECT_EQ(format(-3.9, ""), "-3");
  EXPECT_EQ(format(-0.5, ""), "0");
  EXPECT_EQ(format(2147483647, ""), "2147483647");
  EXPECT_EQ(format(-2147483648.0, ""), "-2147483648");
}

TEST(append_number, without_a_format_gives_the_smallest_integer_for_what_is_none) {
  for (const double value : {2147483648.0, -2147483649.0, 1e300, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(format(value, ""), "-2147483648");
  }
}

TEST(append_number, appends) {
  text out("a");
  append_number(1, "", out);
  append_number(2, "%d%%", out);
  EXPECT_EQ(out.view(), "a12%");
}

TEST(append_number, formats_like_the_c_library) {
  const std::string flags[] = {"", "-", "+", " ", "0", "#", "'", "+0", "- ", "-+ #0", "#-0"};
  const std::string sizes[] = {"", "1", "12", ".", ".0", ".3", "12.5", "30.20", "300.200"};
  const double values[] = {0.0, -0.0, 1.0, -2.5, 1e22, 123456.789, 1e-7, 0.5, 1e300, HUGE_VAL, -HUGE_VAL, std::nan("")};
  for (const std::string &flag : flags) {
    for (const std::string &size : sizes) {
      for (const char letter : std::string("eEfFgGaA")) {
        const std::string how = "%" + flag + size + letter;
        for (const double value : values) EXPECT_EQ(format(value, how), c_format(how, value)) << how;
      }
      for (const char letter : std::string("di")) {
        const std::string how = "%" + flag + size + letter;
        for (const int value : {0, 1, -1, 12345, -2147483647 - 1}) {
          EXPECT_EQ(format(value, how), c_format(how, value)) << how;
        }
      }
      for (const char letter : std::string("ouxX")) {
        const std::string how = "%" + flag + size + letter;
        for (const unsigned value : {0U, 1U, 255U, 4294967295U}) {
          EXPECT_EQ(format(value, how), c_format(how, value)) << how;
        }
      }
    }
  }
}

TEST(append_number, deliberate_the_letters_of_the_whole_format_choose_the_integer) {
  EXPECT_EQ(format(4294967295.0, "%d"), "-2147483648");
  EXPECT_EQ(format(4294967295.0, "u%d"), "u-1");
  EXPECT_EQ(format(2.75, "%.2f"), "2.75");
  EXPECT_EQ(format(2.75, "d%.2f"), "d2.00");
  EXPECT_EQ(format(-2.75, "%.2fX"), "-2.00X");
}

TEST(append_number, the_low_32_bits_of_a_64_bit_integer_are_shown) {
  EXPECT_EQ(format(-1, "%u"), "4294967295");
  EXPECT_EQ(format(4294967296.0 + 7, "%u"), "7");
  EXPECT_EQ(format(-4294967296.0 - 7, "%u"), "4294967289");
  EXPECT_EQ(format(9223372036854774784.0, "%x"), "fffffc00");
  EXPECT_EQ(format(-9223372036854775808.0, "%x"), "0");
  for (const double value : {9223372036854775808.0, -1e19, HUGE_VAL, std::nan("")}) EXPECT_EQ(format(value, "%x"), "0");
}

TEST(append_number, what_is_no_conversion_of_a_number_is_literal) {
  for (const char *how : {"%",   "%s",   "%n",   "%c",    "%p",   "%m",  "%*d", "%.*f",  "%-*d", "%1$d", "%5",
                          "%-",  "%.",   "%.5",  "%l",    "%h",   "%5%", "%Lf", "%zd",   "%jd",  "%td",  "%qd",
                          "%hf", "%hhe", "%llf", "%llld", "%hld", "%y",  "% ",  "%\xFF", "%5 d"}) {
    EXPECT_EQ(format(5, how), how);
  }
}

TEST(append_number, two_percent_signs_are_one) {
  EXPECT_EQ(format(5, "%%"), "%");
  EXPECT_EQ(format(5, "%%%"), "%%");
  EXPECT_EQ(format(5, "%%d"), "%d");
  EXPECT_EQ(format(5, "%d%%"), "5%");
}

TEST(append_number, a_length_can_come_before_the_letter) {
  EXPECT_EQ(format(300, "%ld %lld"), "300 %lld");
  EXPECT_EQ(format(300, "%lld"), "300");
  EXPECT_EQ(format(2.5, "%lf"), "2.500000");
  EXPECT_EQ(format(-1, "%lu"), "4294967295");
  EXPECT_EQ(format(70000, "%hd"), "4464");
  EXPECT_EQ(format(300, "%hhu"), "44");
}

TEST(append_number, only_the_first_conversion_is_honoured) {
  EXPECT_EQ(format(5, "%d%d"), "5%d");
  EXPECT_EQ(format(5, "%s %d %n %f"), "%s 5 %n %f");
  EXPECT_EQ(format(5, "%%%d%%%d"), "%5%%d");
}

TEST(append_number, shows_no_more_than_1023_bytes) {
  const std::string x(2000, 'x');
  EXPECT_EQ(format(5, x), x.substr(0, 1023));
  EXPECT_EQ(format(5, x.substr(0, 1022) + "%d"), x.substr(0, 1022) + "5");
  EXPECT_EQ(format(5, x.substr(0, 1023) + "%d"), x.substr(0, 1023));
  EXPECT_EQ(format(123, x.substr(0, 1021) + "%d"), x.substr(0, 1021) + "12");
}

TEST(append_number, shows_sizes_beyond_1023_bytes_as_the_c_library_does) {
  for (const std::string how :
       {"%1022d", "%1023d", "%1024d", "%-1024d", "%01024d", "%5000d", "%.1023d", "%.5000d", "%5000.10d"}) {
    EXPECT_EQ(format(-7, how), c_format(how, -7)) << how;
  }
  for (const std::string how : {"%.1020f", "%.1100f", "%.99999f", "%.99999e", "%.99999g", "%#.99999g", "%.99999a",
                                "%99999f", "%-99999f", "%099999f"}) {
    for (const double value : {1.0 / 3, -1e300, 4.9e-324}) EXPECT_EQ(format(value, how), c_format(how, value)) << how;
  }
}

TEST(append_number, survives_sizes_beyond_all_measure) {
  EXPECT_EQ(format(1, "%2147483648d"), std::string(1023, ' '));
  EXPECT_EQ(format(1, "%99999999999999999999999999d"), std::string(1023, ' '));
  EXPECT_EQ(format(1, "%.99999999999999999999999999d"), std::string(1023, '0'));
  EXPECT_EQ(format(1, "%" + std::string(100000, '0') + "d"), "1");
  EXPECT_EQ(format(1, "%" + std::string(100000, '-') + "3d"), "1  ");
}

TEST(append_number, survives_formats_of_any_bytes) {
  constexpr std::string_view pieces[] = {"%",  "%", "d", "f", "n", "s", "*", ".", "5",
                                         "99", "-", "#", "l", "h", "$", "u", " ", "x"};
  quillet_tests::random_texts random(11);
  for (int i = 0; i < 50000; ++i) {
    const std::string how = random.text(pieces, 12);
    if (!how.empty()) {
      EXPECT_LE(format(12345.678, how).size(), 1023U);
    }
  }
}

TEST(conversion_letter, is_that_of_the_first_conversion) {
  EXPECT_EQ(conversion_letter("%.2f"), 'f');
  EXPECT_EQ(conversion_letter("100%% of %03ld, %f"), 'd');
  EXPECT_EQ(conversion_letter("%s %*d"), '\0');
  EXPECT_EQ(conversion_letter("%"), '\0');
}

TEST(find_integer_letter, looks_at_the_whole_format_of_a_fraction) {
  EXPECT_EQ(find_integer_letter("Preis: %.2f"), 3U);
  EXPECT_EQ(find_integer_letter("%.2f o"), 5U);
  EXPECT_EQ(find_integer_letter("%.2f EUR"), std::string_view::npos);
  EXPECT_EQ(find_integer_letter("Preis: %d"), std::string_view::npos);
  EXPECT_EQ(find_integer_letter("nothing to convert"), std::string_view::npos);
}

}  // namespace
}  // namespace quillet
