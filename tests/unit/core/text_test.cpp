#include "core/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

// --- the text itself ---

TEST(text, is_null_at_first_and_reads_as_empty) {
  const text t;
  EXPECT_TRUE(t.is_null());
  EXPECT_TRUE(t.is_empty());
  EXPECT_EQ(t.view(), "");
  EXPECT_STREQ(t.c_str(), "");
  EXPECT_EQ(text_length(t), 0U);
}

TEST(text, made_of_no_bytes_is_present_and_empty) {
  EXPECT_FALSE(text(""sv).is_null());
  EXPECT_FALSE(text(std::string_view()).is_null());
  EXPECT_TRUE(text(""sv).is_empty());
}

TEST(text, keeps_its_bytes_at_every_length_around_the_inline_capacity) {
  for (std::size_t length = 0; length < 3 * text::inline_capacity; ++length) {
    const std::string bytes(length, 'x');
    const text t(bytes);
    EXPECT_EQ(t.view(), bytes);
    EXPECT_EQ(std::string(t.c_str()), bytes);
  }
}

TEST(text, grows_byte_by_byte_out_of_the_inline_room) {
  text t;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    const char c = static_cast<char>('a' + i % 26);
    t.append(c);
    expected += c;
    ASSERT_EQ(t.view(), expected);
    ASSERT_EQ(t.c_str()[t.size()], '\0');
  }
}

TEST(text, stays_null_when_nothing_is_appended) {
  text t;
  t.append(""sv);
  EXPECT_TRUE(t.is_null());
}

TEST(text, appends_to_null_as_a_copy) {
  text t;
  t.append("abc"sv);
  t.append("def"sv);
  EXPECT_EQ(t.view(), "abcdef");
}

TEST(text, appends_a_part_of_itself_even_while_it_moves) {
  text t("0123456789"sv);
  for (int i = 0; i < 8; ++i) {
    const std::string expected = std::string(t.view()) + std::string(t.view().substr(1));
    t.append(t.view().substr(1));
    ASSERT_EQ(t.view(), expected);
  }
}

TEST(text, moves_and_leaves_the_source_null) {
  for (const std::size_t length : {std::size_t{3}, std::size_t{300}}) {
    const std::string bytes(length, 'm');
    text source(bytes);
    text moved(std::move(source));
    EXPECT_EQ(moved.view(), bytes);
    EXPECT_TRUE(source.is_null());  // NOLINT(bugprone-use-after-move)
    text assigned(std::string(200, 'o'));
    assigned = std::move(moved);
    EXPECT_EQ(assigned.view(), bytes);
    EXPECT_TRUE(moved.is_null());  // NOLINT(bugprone-use-after-move)
  }
}

TEST(text, survives_being_moved_onto_itself) {
  text t(std::string(100, 's'));
  text &same = t;
  t = std::move(same);
  EXPECT_EQ(t.view(), std::string(100, 's'));
}

TEST(text, cut_to_no_bytes_is_null) {
  text t("abc"sv);
  t.truncate(2);
  EXPECT_EQ(t.view(), "ab");
  EXPECT_STREQ(t.c_str(), "ab");
  t.truncate(5);
  EXPECT_EQ(t.view(), "ab");
  t.truncate(0);
  EXPECT_TRUE(t.is_null());
}

TEST(text, reserved_room_is_filled_by_its_caller) {
  text t("ab"sv);
  char *room = t.reserve(500);
  room[0] = 'c';
  t.commit(1);
  EXPECT_EQ(t.view(), "abc");
  EXPECT_STREQ(t.c_str(), "abc");
}

TEST(text, keeps_its_bytes_when_the_room_for_a_large_page_is_made) {
  text t("front"sv);
  t.reserve(1 << 20);
  EXPECT_EQ(t.view(), "front");
  EXPECT_STREQ(t.c_str(), "front");
}

TEST(text, keeps_its_bytes_while_it_grows_to_a_large_page) {
  constexpr std::string_view line = "a line of twenty-one\n";
  constexpr std::size_t lines = 1'200'000;  // 25 MB
  text t;
  for (std::size_t i = 0; i < lines; ++i) t.append(line);
  ASSERT_EQ(t.size(), lines * line.size());
  for (std::size_t i = 0; i < lines; ++i) ASSERT_EQ(t.view().substr(i * line.size(), line.size()), line) << i;
}

// --- copies and pieces ---

TEST(copy_text, of_null_is_null) { EXPECT_TRUE(copy_text(text()).is_null()); }

TEST(copy_text, of_an_empty_text_is_present) { EXPECT_FALSE(copy_text(text(""sv)).is_null()); }

TEST(copy_text, is_independent_of_its_source) {
  text source("abc"sv);
  const text copy = copy_text(source);
  source.data()[0] = 'X';
  EXPECT_EQ(copy.view(), "abc");
}

TEST(text_or_null, copies_all_bytes_and_gives_null_for_none) {
  EXPECT_EQ(text_or_null("abc").view(), "abc");
  EXPECT_TRUE(text_or_null("").is_null());
}

TEST(copy_prefix, gives_the_first_bytes) { EXPECT_EQ(copy_prefix("abcdef", 3).view(), "abc"); }

TEST(copy_prefix, gives_all_bytes_when_there_are_fewer) { EXPECT_EQ(copy_prefix("abc", 9).view(), "abc"); }

TEST(copy_prefix, of_nothing_or_of_length_zero_is_null) {
  EXPECT_TRUE(copy_prefix({}, 3).is_null());
  EXPECT_TRUE(copy_prefix("abc", 0).is_null());
}

TEST(copy_counted, gives_the_first_bytes) { EXPECT_EQ(copy_counted("abcdef", 2).view(), "ab"); }

TEST(copy_counted, of_length_zero_is_empty_and_present) {
  const text t = copy_counted("abc", 0);
  EXPECT_FALSE(t.is_null());
  EXPECT_TRUE(t.is_empty());
}

TEST(substring, gives_the_bytes_from_the_start) { EXPECT_EQ(substring("abcdef", 2, 3), "cde"); }

TEST(substring, clamps_the_length_to_what_remains) { EXPECT_EQ(substring("abc", 1, 100), "bc"); }

TEST(substring, clamps_the_start_to_the_text) { EXPECT_EQ(substring("abc", 100, 1), ""); }

TEST(substring, of_nothing_or_of_length_zero_is_empty) {
  EXPECT_EQ(substring({}, 0, 5), "");
  EXPECT_EQ(substring("abc", 1, 0), "");
}

text spliced(std::string_view target, std::size_t start, std::size_t count, std::string_view insert) {
  text t(target);
  splice(t, start, count, insert);
  return t;
}

TEST(splice, of_abc_at_1_count_5_without_insert_gives_a) { EXPECT_EQ(spliced("abc", 1, 5, {}).view(), "a"); }

TEST(splice, of_abc_at_0_count_3_without_insert_gives_null) { EXPECT_TRUE(spliced("abc", 0, 3, {}).is_null()); }

TEST(splice, puts_a_longer_text_in_place) { EXPECT_EQ(spliced("abcd", 1, 2, "12345").view(), "a12345d"); }

TEST(splice, puts_a_shorter_text_in_place) { EXPECT_EQ(spliced("abcdef", 1, 4, "-").view(), "a-f"); }

TEST(splice, puts_a_text_of_the_same_length_in_place) { EXPECT_EQ(spliced("abcd", 1, 2, "xy").view(), "axyd"); }

TEST(splice, clamps_the_start_to_the_text) { EXPECT_EQ(spliced("abc", 50, 1, "d").view(), "abcd"); }

TEST(splice, into_null_gives_the_insert) {
  text t;
  splice(t, 0, 0, "new");
  EXPECT_EQ(t.view(), "new");
}

TEST(splice, of_null_without_insert_stays_null) {
  text t;
  splice(t, 3, 3, {});
  EXPECT_TRUE(t.is_null());
}

TEST(splice, follows_the_plain_rule_on_random_texts) {
  quillet_tests::random_texts random(21);
  constexpr std::string_view pieces[] = {"a", "b", "cd", "efghijklmnop"};
  for (int i = 0; i < 2000; ++i) {
    std::string target = random.text(pieces, 12);
    const std::string insert = random.text(pieces, 6);
    const std::size_t start = random.number(60);
    const std::size_t count = random.number(60);
    const text result = spliced(target, start, count, insert);
    target.replace(std::min(start, target.size()), count, insert);
    ASSERT_EQ(result.view(), target);
    ASSERT_EQ(result.is_null(), target.empty());
    ASSERT_STREQ(result.c_str(), target.c_str());
  }
}

TEST(delete_range, removes_the_bytes) {
  text t("abcdef"sv);
  delete_range(t, 1, 2);
  EXPECT_EQ(t.view(), "adef");
}

TEST(insert_at, keeps_every_byte) {
  text t("abc"sv);
  insert_at(t, 1, "--");
  EXPECT_EQ(t.view(), "a--bc");
}

TEST(concat, joins_its_parts) { EXPECT_EQ(concat({"ab", "c", "def"}).view(), "abcdef"); }

TEST(concat, ends_at_the_first_absent_part) {
  EXPECT_EQ(concat({"[invalid operator ", {}, "]"}).view(), "[invalid operator ");
}

TEST(concat, of_nothing_is_null) {
  EXPECT_TRUE(concat({}).is_null());
  EXPECT_TRUE(concat({{}, "a"}).is_null());
}

TEST(until_nul, keeps_the_bytes_before_the_first_nul) {
  EXPECT_EQ(until_nul("ab\0cd\0"sv), "ab");
  EXPECT_EQ(until_nul("\0x"sv), "");
  EXPECT_EQ(until_nul("abc"), "abc");
}

// --- cutting ---

TEST(cut_at_char, cuts_before_the_first_one_and_gives_the_rest) {
  std::string_view head = "a=b=c";
  EXPECT_EQ(cut_at_char(head, '='), "b=c");
  EXPECT_EQ(head, "a");
}

TEST(cut_at_char, without_one_gives_none_and_keeps_the_text) {
  std::string_view head = "abc";
  EXPECT_EQ(cut_at_char(head, '=').data(), nullptr);
  EXPECT_EQ(head, "abc");
}

TEST(cut_at_char, at_the_end_gives_an_empty_rest_that_is_there) {
  std::string_view head = "a=";
  const std::string_view rest = cut_at_char(head, '=');
  EXPECT_NE(rest.data(), nullptr);
  EXPECT_EQ(rest, "");
}

TEST(cut_at_char, of_nothing_gives_none) {
  std::string_view head;
  EXPECT_EQ(cut_at_char(head, '=').data(), nullptr);
}

TEST(cut_at_last_char, cuts_before_the_last_one) {
  std::string_view head = "/a/b/c";
  EXPECT_EQ(cut_at_last_char(head, '/'), "c");
  EXPECT_EQ(head, "/a/b");
}

TEST(cut_at_last_char, without_one_gives_none_and_keeps_the_text) {
  std::string_view head = "abc";
  EXPECT_EQ(cut_at_last_char(head, '/').data(), nullptr);
  EXPECT_EQ(head, "abc");
}

TEST(cut_at_text, cuts_before_the_first_occurrence) {
  std::string_view head = "a--b--c";
  EXPECT_EQ(cut_at_text(head, "--"), "b--c");
  EXPECT_EQ(head, "a");
}

TEST(cut_at_text, without_a_mark_gives_the_text_itself) {
  std::string_view head = "abc";
  EXPECT_EQ(cut_at_text(head, {}), "abc");
  EXPECT_EQ(head, "abc");
}

TEST(cut_at_text, without_an_occurrence_gives_none) {
  std::string_view head = "a-b";
  EXPECT_EQ(cut_at_text(head, "--").data(), nullptr);
  EXPECT_EQ(head, "a-b");
}

TEST(cut_at_last_text, cuts_before_the_last_occurrence) {
  std::string_view head = "a--b--c";
  EXPECT_EQ(cut_at_last_text(head, "--"), "c");
  EXPECT_EQ(head, "a--b");
}

TEST(next_token, gives_one_token_after_the_other) {
  std::string_view rest = "a;b;;c";
  EXPECT_EQ(next_token(rest, ';'), "a");
  EXPECT_EQ(next_token(rest, ';'), "b");
  EXPECT_EQ(next_token(rest, ';'), "");
  EXPECT_EQ(next_token(rest, ';'), "c");
  EXPECT_EQ(rest.data(), nullptr);
}

TEST(next_token, after_a_separator_at_the_end_is_empty_once_more) {
  std::string_view rest = "a;";
  EXPECT_EQ(next_token(rest, ';'), "a");
  EXPECT_NE(rest.data(), nullptr);
  EXPECT_EQ(next_token(rest, ';'), "");
  EXPECT_EQ(rest.data(), nullptr);
}

// --- changing bytes ---

TEST(replace_chars, changes_every_such_byte) {
  text t("a.b.c"sv);
  replace_chars(t, '.', '/');
  EXPECT_EQ(t.view(), "a/b/c");
}

TEST(replace_chars, accepts_null) {
  text t;
  replace_chars(t, '.', '/');
  EXPECT_TRUE(t.is_null());
}

TEST(tabs_to_blanks, changes_every_tab) {
  text t("\ta\t\tb\n"sv);
  tabs_to_blanks(t);
  EXPECT_EQ(t.view(), " a  b\n");
}

TEST(replace_all, replaces_every_occurrence_from_the_left) { EXPECT_EQ(replace_all("aa", "b", "aaaaa").view(), "bba"); }

TEST(replace_all, never_looks_at_what_it_put_in) { EXPECT_EQ(replace_all("a", "aa", "aba").view(), "aabaa"); }

TEST(replace_all, with_nothing_removes) { EXPECT_EQ(replace_all("-", {}, "a-b-c").view(), "abc"); }

TEST(replace_all, keeps_a_text_without_an_occurrence) { EXPECT_EQ(replace_all("x", "y", "abc").view(), "abc"); }

TEST(replace_all, without_anything_to_find_or_without_text_is_null) {
  EXPECT_TRUE(replace_all({}, "x", "abc").is_null());
  EXPECT_TRUE(replace_all("a", "x", {}).is_null());
}

TEST(upper_in_place, changes_ascii_letters_only) {
  text t("azAZ09@`{\xE0\xC0"sv);
  upper_in_place(t);
  EXPECT_EQ(t.view(), "AZAZ09@`{\xE0\xC0");
}

TEST(lower_in_place, changes_ascii_letters_only) {
  text t("azAZ09@`[\xE0\xC0"sv);
  lower_in_place(t);
  EXPECT_EQ(t.view(), "azaz09@`[\xE0\xC0");
}

TEST(remove_white_space, removes_the_six_white_space_bytes) {
  text t(" a\tb\nc\vd\fe\r\xA0 "sv);
  remove_white_space(t);
  EXPECT_EQ(t.view(), "abcde\xA0");
}

TEST(remove_white_space, of_white_space_alone_leaves_null) {
  text t(" \t"sv);
  remove_white_space(t);
  EXPECT_TRUE(t.is_null());
}

TEST(url_encode, of_a_space_b_slash_c_gives_plus_and_a_lower_case_escape) {
  EXPECT_EQ(url_encode("a b/c").view(), "a+b%2fc");
}

TEST(url_encode, keeps_letters_and_digits_and_nothing_else) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    char escaped[4];
    std::snprintf(escaped, sizeof escaped, "%%%02x", static_cast<unsigned>(byte));
    std::string expected = escaped;
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) expected = std::string(1, c);
    if (c == ' ') expected = "+";
    EXPECT_EQ(url_encode({&c, 1}).view(), expected) << byte;
  }
}

TEST(url_encode, of_nothing_is_null) {
  EXPECT_TRUE(url_encode({}).is_null());
  EXPECT_TRUE(url_encode("").is_null());
}

TEST(url_escape, of_a_space_b_ampersand_c_gives_plus_and_an_upper_case_escape) {
  EXPECT_EQ(url_escape("a b&c").view(), "a+b%26c");
  EXPECT_EQ(url_escape("/").view(), "%2F");
}

TEST(url_escape, keeps_letters_digits_underscore_minus_and_point_and_nothing_else) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    char escaped[4];
    std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned>(byte));
    std::string expected = escaped;
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) expected = std::string(1, c);
    if (c == '_' || c == '-' || c == '.') expected = std::string(1, c);
    if (c == ' ') expected = "+";
    EXPECT_EQ(url_escape({&c, 1}).view(), expected) << byte;
  }
}

TEST(url_escape, of_nothing_is_null) { EXPECT_TRUE(url_escape({}).is_null()); }

TEST(url_unescape, undoes_escapes_in_upper_or_lower_case) { EXPECT_EQ(url_unescape("a+b%2f%2Fc").view(), "a b//c"); }

TEST(url_unescape, takes_a_byte_that_is_no_digit_for_0) {
  EXPECT_EQ(url_unescape("%4x").view(), "@");
  EXPECT_EQ(url_unescape("%x1y").view(), "\x01y");
}

TEST(url_unescape, drops_an_escape_cut_short_by_the_end) {
  EXPECT_EQ(url_unescape("a%4").view(), "a");
  EXPECT_EQ(url_unescape("a%").view(), "a");
}

TEST(url_unescape, cuts_the_text_at_a_nul_byte) { EXPECT_EQ(url_unescape("a%00b").view(), "a"); }

TEST(url_unescape, of_nothing_is_null) {
  EXPECT_TRUE(url_unescape({}).is_null());
  EXPECT_TRUE(url_unescape("%0").is_null());
}

TEST(url_unescape, gives_back_what_url_escape_was_given) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  EXPECT_EQ(url_unescape(url_escape(bytes)).view(), bytes);
  EXPECT_EQ(url_unescape(url_encode(bytes)).view(), bytes);
}

// --- asking ---

TEST(all_digits, is_true_of_digits_only) {
  EXPECT_TRUE(all_digits("0123456789"));
  EXPECT_FALSE(all_digits("12a"));
  EXPECT_FALSE(all_digits("-1"));
  EXPECT_FALSE(all_digits("1 "));
  EXPECT_FALSE(all_digits("1/"));
  EXPECT_FALSE(all_digits("1:"));
}

TEST(all_digits, is_false_of_nothing) {
  EXPECT_FALSE(all_digits(""));
  EXPECT_FALSE(all_digits({}));
}

TEST(is_nonempty, is_true_of_a_text_with_bytes) {
  EXPECT_TRUE(is_nonempty("a"));
  EXPECT_FALSE(is_nonempty(""));
  EXPECT_FALSE(is_nonempty({}));
}

TEST(text_equal, compares_bytes) {
  EXPECT_TRUE(text_equal(text("ab"sv), text("ab"sv)));
  EXPECT_FALSE(text_equal(text("ab"sv), text("aB"sv)));
  EXPECT_FALSE(text_equal(text("ab"sv), text("abc"sv)));
}

TEST(text_equal, two_nulls_are_equal_and_a_null_equals_only_a_null) {
  EXPECT_TRUE(text_equal(text(), text()));
  EXPECT_FALSE(text_equal(text(), text(""sv)));
  EXPECT_FALSE(text_equal(text("a"sv), text()));
}

TEST(equal_ignoring_case, ignores_the_case_of_ascii_letters_only) {
  EXPECT_TRUE(equal_ignoring_case("Post", "pOST"));
  EXPECT_FALSE(equal_ignoring_case("post", "post "));
  EXPECT_FALSE(equal_ignoring_case("@", "`"));
  EXPECT_FALSE(equal_ignoring_case("\xC0", "\xE0"));
  EXPECT_TRUE(equal_ignoring_case({}, ""));
}

// --- numbers ---

TEST(parse_int, reads_the_front_of_a_text) {
  EXPECT_EQ(parse_int("12abc"), 12);
  EXPECT_EQ(parse_int(" \t\n-7 8"), -7);
  EXPECT_EQ(parse_int("+5"), 5);
  EXPECT_EQ(parse_int("0x10"), 0);
}

TEST(parse_int, of_no_number_is_0) {
  EXPECT_EQ(parse_int(""), 0);
  EXPECT_EQ(parse_int("abc"), 0);
  EXPECT_EQ(parse_int("-"), 0);
  EXPECT_EQ(parse_int("- 1"), 0);
}

TEST(parse_int, beyond_its_range_gives_the_nearest_limit) {
  EXPECT_EQ(parse_int("2147483647"), INT_MAX);
  EXPECT_EQ(parse_int("2147483648"), INT_MAX);
  EXPECT_EQ(parse_int("-2147483648"), INT_MIN);
  EXPECT_EQ(parse_int("-2147483649"), INT_MIN);
  EXPECT_EQ(parse_int(std::string(1000, '9')), INT_MAX);
}

TEST(parse_long, beyond_its_range_gives_the_nearest_limit) {
  EXPECT_EQ(parse_long("9223372036854775807"), LLONG_MAX);
  EXPECT_EQ(parse_long("9223372036854775808"), LLONG_MAX);
  EXPECT_EQ(parse_long("-9223372036854775808"), LLONG_MIN);
  EXPECT_EQ(parse_long("-9223372036854775809"), LLONG_MIN);
  EXPECT_EQ(parse_long("-" + std::string(1000, '9')), LLONG_MIN);
}

TEST(format_signed, gives_decimal_digits) {
  EXPECT_EQ(format_signed(0).view(), "0");
  EXPECT_EQ(format_signed(-42).view(), "-42");
  EXPECT_EQ(format_signed(LLONG_MIN).view(), "-9223372036854775808");
}

TEST(format_signed, pads_with_zeros_after_the_sign) {
  EXPECT_EQ(format_signed(7, 10).view(), "0000000007");
  EXPECT_EQ(format_signed(-7, 4).view(), "-007");
  EXPECT_EQ(format_signed(12345, 3).view(), "12345");
}

TEST(format_unsigned, gives_decimal_digits) {
  EXPECT_EQ(format_unsigned(ULLONG_MAX).view(), "18446744073709551615");
  EXPECT_EQ(format_unsigned(5, 3).view(), "005");
}

}  // namespace
}  // namespace quillet
