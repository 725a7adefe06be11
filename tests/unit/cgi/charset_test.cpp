#include "cgi/charset.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "cgi/charset_rows.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

// The two settings for the time of a test; null: unset.
class charset_settings {
 public:
  charset_settings(const char *source, const char *output) {
    set("SOURCE_CHARSET", source);
    set("CHARSET", output);
    read_charsets();
  }
  charset_settings(const charset_settings &) = delete;
  charset_settings &operator=(const charset_settings &) = delete;
  ~charset_settings() {
    unsetenv("SOURCE_CHARSET");
    unsetenv("CHARSET");
    read_charsets();
  }

 private:
  static void set(const char *name, const char *value) {
    if (value == nullptr) {
      unsetenv(name);
    } else {
      setenv(name, value, 1);
    }
  }
};

std::string all_bytes() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes;
}

std::string recoded(std::string bytes, int from, int to) {
  recode(bytes.data(), bytes.size(), from, to);
  return bytes;
}

std::string with_high_half(const unsigned char (&high)[128]) {
  std::string expected = all_bytes().substr(0, 128);
  for (const unsigned char byte : high) expected += static_cast<char>(byte);
  return expected;
}

// --- names ---

TEST(charset_number, knows_each_key) {
  EXPECT_EQ(charset_number("WIN"), 1);
  EXPECT_EQ(charset_number("1251"), 1);
  EXPECT_EQ(charset_number("KOI"), 2);
  EXPECT_EQ(charset_number("ALT"), 3);
  EXPECT_EQ(charset_number("DOS"), 3);
  EXPECT_EQ(charset_number("866"), 3);
  EXPECT_EQ(charset_number("MAC"), 4);
  EXPECT_EQ(charset_number("ISO"), 5);
}

TEST(charset_number, finds_a_key_anywhere_in_upper_or_lower_case) {
  EXPECT_EQ(charset_number("windows-1251"), 1);
  EXPECT_EQ(charset_number("cp1251"), 1);
  EXPECT_EQ(charset_number("koi8-r"), 2);
  EXPECT_EQ(charset_number("IBM866"), 3);
  EXPECT_EQ(charset_number("x-mac-cyrillic"), 4);
  EXPECT_EQ(charset_number("iso-8859-5"), 5);
}

TEST(charset_number, of_two_keys_takes_the_one_that_comes_first_in_the_table) {
  EXPECT_EQ(charset_number("iso koi win"), 1);
  EXPECT_EQ(charset_number("iso koi"), 2);
  EXPECT_EQ(charset_number("mac dos"), 3);
  EXPECT_EQ(charset_number("iso mac"), 4);
}

TEST(charset_number, without_a_key_is_0) {
  EXPECT_EQ(charset_number(""), 0);
  EXPECT_EQ(charset_number("utf-8"), 0);
}

TEST(read_charsets, reads_both_settings) {
  const charset_settings settings("koi8-r", "windows-1251");
  EXPECT_EQ(source_charset(), charset_koi8_r);
  EXPECT_EQ(output_charset(), charset_windows_1251);
}

TEST(read_charsets, takes_an_unset_one_for_none) {
  const charset_settings settings(nullptr, nullptr);
  EXPECT_EQ(source_charset(), charset_none);
  EXPECT_EQ(output_charset(), charset_none);
}

// --- the eight tables, against the published mappings ---

TEST(recode, from_windows_1251_into_koi8_r) {
  EXPECT_EQ(recoded(all_bytes(), 1, 2), with_high_half(quillet_tests::windows_1251_to_koi8_r));
}
TEST(recode, from_koi8_r_into_windows_1251) {
  EXPECT_EQ(recoded(all_bytes(), 2, 1), with_high_half(quillet_tests::koi8_r_to_windows_1251));
}
TEST(recode, from_cp866_into_koi8_r) {
  EXPECT_EQ(recoded(all_bytes(), 3, 2), with_high_half(quillet_tests::cp866_to_koi8_r));
}
TEST(recode, from_koi8_r_into_cp866) {
  EXPECT_EQ(recoded(all_bytes(), 2, 3), with_high_half(quillet_tests::koi8_r_to_cp866));
}
TEST(recode, from_mac_cyrillic_into_koi8_r) {
  EXPECT_EQ(recoded(all_bytes(), 4, 2), with_high_half(quillet_tests::mac_cyrillic_to_koi8_r));
}
TEST(recode, from_koi8_r_into_mac_cyrillic) {
  EXPECT_EQ(recoded(all_bytes(), 2, 4), with_high_half(quillet_tests::koi8_r_to_mac_cyrillic));
}
TEST(recode, from_iso_8859_5_into_koi8_r) {
  EXPECT_EQ(recoded(all_bytes(), 5, 2), with_high_half(quillet_tests::iso_8859_5_to_koi8_r));
}
TEST(recode, from_koi8_r_into_iso_8859_5) {
  EXPECT_EQ(recoded(all_bytes(), 2, 5), with_high_half(quillet_tests::koi8_r_to_iso_8859_5));
}

TEST(recode, goes_through_koi8_r_between_any_other_two) {
  for (int from = 1; from <= 5; ++from) {
    for (int to = 1; to <= 5; ++to) {
      if (from == to) continue;
      EXPECT_EQ(recoded(all_bytes(), from, to), recoded(recoded(all_bytes(), from, 2), 2, to)) << from << to;
    }
  }
}

TEST(recode, maps_the_russian_letters_of_every_charset_onto_one_another_and_back) {
  // Capital A, small a, capital Ya, small ya, capital Yo, small yo, by charset number.
  constexpr std::string_view letters[] = {"",
                                          "\xC0\xE0\xDF\xFF\xA8\xB8",
                                          "\xE1\xC1\xF1\xD1\xB3\xA3",
                                          "\x80\xA0\x9F\xEF\xF0\xF1",
                                          "\x80\xE0\x9F\xDF\xDD\xDE",
                                          "\xB0\xD0\xCF\xEF\xA1\xF1"};
  for (int from = 1; from <= 5; ++from) {
    for (int to = 1; to <= 5; ++to) EXPECT_EQ(recoded(std::string(letters[from]), from, to), letters[to]);
  }
}

TEST(recode, of_koi8_r_byte_193_gives_windows_1251_byte_224) { EXPECT_EQ(recoded("\xC1", 2, 1), "\xE0"); }

TEST(recode, changes_nothing_without_one_of_the_charsets_or_between_the_same) {
  for (int number = 0; number <= 5; ++number) {
    EXPECT_EQ(recoded(all_bytes(), 0, number), all_bytes());
    EXPECT_EQ(recoded(all_bytes(), number, 0), all_bytes());
    EXPECT_EQ(recoded(all_bytes(), number, number), all_bytes());
  }
}

TEST(recode, accepts_null) {
  text t;
  recode(t, 1, 2);
  EXPECT_TRUE(t.is_null());
}

TEST(recode_for_output, goes_from_the_source_charset_to_the_output_charset) {
  const charset_settings settings("koi8-r", "windows-1251");
  text t("\xC1"sv);
  recode_for_output(t);
  EXPECT_EQ(t.view(), "\xE0");
}

TEST(recode_from_client, goes_from_the_output_charset_to_the_source_charset) {
  const charset_settings settings("koi8-r", "windows-1251");
  text t("\xE0"sv);
  recode_from_client(t.data(), t.size());
  EXPECT_EQ(t.view(), "\xC1");
}

TEST(recode_for_output, without_a_source_charset_changes_nothing) {
  const charset_settings settings(nullptr, "windows-1251");
  text t("\xC1\xE0"sv);
  recode_for_output(t);
  recode_from_client(t.data(), t.size());
  EXPECT_EQ(t.view(), "\xC1\xE0");
}

TEST(recode_and_url_encode, recodes_first) {
  const charset_settings settings("koi8-r", "windows-1251");
  EXPECT_EQ(recode_and_url_encode("a \xC1").view(), "a+%e0");
}

TEST(recode_and_url_encode, of_nothing_is_null) { EXPECT_TRUE(recode_and_url_encode({}).is_null()); }

// --- letter case ---

std::string upper_cased(std::string_view bytes) {
  text t(bytes);
  upper_text(t);
  return std::string(t.view());
}

std::string lower_cased(std::string_view bytes) {
  text t(bytes);
  lower_text(t);
  return std::string(t.view());
}

TEST(upper_text, changes_ascii_letters_by_the_ascii_rule) { EXPECT_EQ(upper_cased("azAZ09@`{"), "AZAZ09@`{"); }
TEST(lower_text, changes_ascii_letters_by_the_ascii_rule) { EXPECT_EQ(lower_cased("azAZ09@`["), "azaz09@`["); }

// Deliberate: of every byte above 127, letter or not, bit 5 is cleared for upper and set for lower case; the other
// way round when the source charset is KOI8-R.
TEST(upper_text, of_windows_1251_deliberately_clears_bit_5_of_every_byte_above_127) {
  const charset_settings settings("windows-1251", nullptr);
  for (int byte = 128; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    EXPECT_EQ(upper_cased({&c, 1}), std::string(1, static_cast<char>(byte & ~32))) << byte;
  }
}

TEST(upper_text, of_windows_1251_moves_224_to_255_down_by_32_and_the_non_letters_160_to_191_too) {
  const charset_settings settings("windows-1251", nullptr);
  EXPECT_EQ(upper_cased("\xE0\xFF\xC0\xDF\xA0\xBF"), "\xC0\xDF\xC0\xDF\x80\x9F");
}

TEST(lower_text, of_windows_1251_deliberately_sets_bit_5_of_every_byte_above_127) {
  const charset_settings settings("windows-1251", nullptr);
  for (int byte = 128; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    EXPECT_EQ(lower_cased({&c, 1}), std::string(1, static_cast<char>(byte | 32))) << byte;
  }
}

TEST(upper_text, of_koi8_r_sets_bit_5) {
  const charset_settings settings("koi8-r", nullptr);
  EXPECT_EQ(upper_cased("\xC1\xE1\x80\xFF"), "\xE1\xE1\xA0\xFF");
}

TEST(lower_text, of_koi8_r_clears_bit_5) {
  const charset_settings settings("koi8-r", nullptr);
  EXPECT_EQ(lower_cased("\xE1\xC1\xA0\xFF"), "\xC1\xC1\x80\xDF");
}

TEST(upper_text, without_a_source_charset_clears_bit_5) {
  const charset_settings settings(nullptr, "koi8-r");
  EXPECT_EQ(upper_cased("\xE1"), "\xC1");
  EXPECT_EQ(lower_cased("\xC1"), "\xE1");
}

}  // namespace
}  // namespace quillet
