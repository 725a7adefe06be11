#include "cgi/form.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cgi/request.h"
#include "support.h"

namespace quillet {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

// The entries are views of what was decoded, and stay for the rest of the process.
char *keep(std::string_view data) {
  static std::deque<std::string> kept;
  return kept.emplace_back(data).data();
}

// The entries that decoding adds, "name=value" each.
using list = std::vector<std::string>;
list decoded(std::string_view data) {
  const std::size_t before = form_entries().size();
  EXPECT_EQ(decode_urlencoded(keep(data), data.size()), decode_ok);
  list added;
  for (std::size_t i = before; i < form_entries().size(); ++i) {
    const form_entry entry = form_entries()[i];
    EXPECT_FALSE(entry.is_file());
    added.push_back(std::string(entry.name) + "=" + std::string(entry.value));
  }
  return added;
}

// --- decode_urlencoded ---

TEST(decode_urlencoded, keeps_every_field_in_the_order_of_arrival) {
  EXPECT_EQ(decoded("a=1&b=&a=3"), (list{"a=1", "b=", "a=3"}));
}

TEST(decode_urlencoded, without_an_equals_sign_gives_no_entry) { EXPECT_EQ(decoded("x"), (list{})); }

TEST(decode_urlencoded, ignores_a_rest_without_an_equals_sign) { EXPECT_EQ(decoded("a=1&x"), (list{"a=1"})); }

TEST(decode_urlencoded, takes_the_name_up_to_the_next_equals_sign_whatever_it_holds) {
  EXPECT_EQ(decoded("x&a=1"), (list{"x&a=1"}));
}

TEST(decode_urlencoded, keeps_equals_signs_in_a_value) { EXPECT_EQ(decoded("a=b=c"), (list{"a=b=c"})); }

TEST(decode_urlencoded, takes_an_empty_name) { EXPECT_EQ(decoded("=1"), (list{"=1"})); }

TEST(decode_urlencoded, of_nothing_gives_no_entry) { EXPECT_EQ(decoded(""), (list{})); }

TEST(decode_urlencoded, ignores_an_ampersand_at_the_end) { EXPECT_EQ(decoded("a=1&"), (list{"a=1"})); }

TEST(decode_urlencoded, turns_a_plus_into_a_space) { EXPECT_EQ(decoded("a+b=c+d"), (list{"a b=c d"})); }

TEST(decode_urlencoded, decodes_escapes_in_upper_or_lower_case) {
  EXPECT_EQ(decoded("%61=%c1%C1%2B"), (list{"a=\xC1\xC1+"}));
}

TEST(decode_urlencoded, never_decodes_twice) { EXPECT_EQ(decoded("a=%2541"), (list{"a=%41"})); }

TEST(decode_urlencoded, takes_a_byte_that_is_no_digit_for_0) {
  EXPECT_EQ(decoded("a=%4xb"), (list{"a=@b"}));
  EXPECT_EQ(decoded("a=%x1b"), (list{"a=\x01"
                                     "b"}));
}

TEST(decode_urlencoded, knows_22_digits) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (c == '&') continue;
    int expected = 0;
    if (c >= '0' && c <= '9') expected = c - '0';
    if (c >= 'A' && c <= 'F') expected = c - 'A' + 10;
    if (c >= 'a' && c <= 'f') expected = c - 'a' + 10;
    EXPECT_EQ(decoded(std::string("a=%4") + c), (list{std::string("a=") + static_cast<char>(0x40 + expected)})) << byte;
  }
}

TEST(decode_urlencoded, drops_an_escape_that_is_cut) {
  EXPECT_EQ(decoded("a=%41%4"), (list{"a=A"}));
  EXPECT_EQ(decoded("a=%41%"), (list{"a=A"}));
  EXPECT_EQ(decoded("a%4=1"), (list{"a=1"}));
  EXPECT_EQ(decoded("a=%4&b=1"), (list{"a=", "b=1"}));
}

TEST(decode_urlencoded, cuts_a_name_at_its_first_nul_and_keeps_the_bytes_of_a_value) {
  EXPECT_EQ(decoded("a%00b=c%00d"), (list{"a=c\0d"s}));
}

// The rule as it is told, byte by byte.
std::string plainly_decoded(const std::string &bytes) {
  const auto digit = [](char c) {
    const std::size_t at = "0123456789abcdef"sv.find(static_cast<char>(c >= 'A' && c <= 'F' ? c + 32 : c));
    return at == std::string_view::npos ? 0 : static_cast<int>(at);
  };
  std::string result;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '+') {
      result += ' ';
    } else if (bytes[i] != '%') {
      result += bytes[i];
    } else {
      if (i + 2 >= bytes.size()) break;
      result += static_cast<char>(digit(bytes[i + 1]) * 16 + digit(bytes[i + 2]));
      i += 2;
    }
  }
  return result;
}

list plainly_split(std::string data) {
  list entries;
  while (!data.empty()) {
    const std::size_t equals = data.find('=');
    if (equals == std::string::npos) break;
    const std::size_t end = std::min(data.find('&', equals + 1), data.size());
    std::string name = plainly_decoded(data.substr(0, equals));
    name = name.substr(0, name.find('\0'));
    entries.push_back(name + "=" + plainly_decoded(data.substr(equals + 1, end - equals - 1)));
    data.erase(0, end + 1);
  }
  return entries;
}

TEST(decode_urlencoded, follows_the_plain_rule_on_random_texts) {
  quillet_tests::random_texts random(12);
  constexpr std::string_view pieces[] = {"a", "=", "=", "&", "%", "%4", "%41", "%00", "+", "f", "G", "\0"sv, "\xFF"};
  for (int i = 0; i < 10000; ++i) {
    const std::string data = random.text(pieces, 16);
    ASSERT_EQ(decoded(data), plainly_split(data)) << testing::PrintToString(data);
  }
}

// --- looking up ---

TEST(find_form_entry, gives_the_first_of_that_name_and_then_the_next) {
  decoded("find1=1&other=2&find1=3");
  const auto first = find_form_entry("find1");
  ASSERT_TRUE(first);
  EXPECT_EQ(first->value, "1");
  const auto second = find_next_form_entry();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->value, "3");
  EXPECT_FALSE(find_next_form_entry());
  EXPECT_FALSE(find_next_form_entry());
}

TEST(find_form_entry, starts_at_the_front_each_time) {
  decoded("find2=1&find2=2");
  EXPECT_EQ(find_form_entry("find2")->value, "1");
  EXPECT_EQ(find_form_entry("find2")->value, "1");
}

TEST(find_form_entry, compares_the_whole_name_case_sensitively) {
  decoded("Find3=1");
  EXPECT_FALSE(find_form_entry("find3"));
  EXPECT_FALSE(find_form_entry("Find"));
  EXPECT_FALSE(find_form_entry("Find33"));
  EXPECT_FALSE(find_next_form_entry());
}

TEST(find_next_form_entry, does_not_need_the_name_any_more) {
  decoded("find4=1&find4=2");
  auto name = std::make_unique<std::string>("find4");
  ASSERT_TRUE(find_form_entry(*name));
  name.reset();
  ASSERT_TRUE(find_next_form_entry());
}

TEST(add_form_entry, keeps_thousands) {
  const std::size_t before = form_entries().size();
  for (int i = 0; i < 5000; ++i) ASSERT_TRUE(add_form_entry({"add", "value", {}}));
  EXPECT_EQ(form_entries().size(), before + 5000);
  EXPECT_EQ(form_entries()[before + 4999].value, "value");
}

// Every name of a list of entries and some others, in random order, often enough for the index: each found as by
// going through the list.
void expect_lookups_follow_the_list(quillet_tests::random_texts &random) {
  const auto all = form_entries();
  for (std::size_t n = 0; n < 12 * all.size(); ++n) {
    const std::string name = n % 7 == 0 ? "none" : std::string(all[random.number(all.size())].name);
    std::size_t at = 0;
    const auto next = [&] {
      while (at < all.size() && all[at].name != name) ++at;
      return at < all.size() ? std::optional(all[at++]) : std::nullopt;
    };
    auto found = find_form_entry(name);
    for (std::size_t more = 1 + random.number(4); more > 0; --more, found = find_next_form_entry()) {
      const auto expected = next();
      ASSERT_EQ(found.has_value(), expected.has_value()) << name;
      if (!found) break;
      ASSERT_EQ(found->value.data(), expected->value.data()) << name;
    }
  }
}

TEST(find_form_entry, finds_the_same_by_the_index_as_one_by_one) {
  quillet_tests::random_texts random(17);
  constexpr std::string_view pieces[] = {"a=1", "b=2", "ab=", "=", "c%00=x", "%63=y", "long+name+in+words=z"};
  for (const std::size_t count : {1U, 16U, 17U, 18U, 60U, 400U}) {
    free_form_entries();
    std::string data;
    for (std::size_t i = 0; i < count; ++i) {
      data += random.text(pieces, 1) + "&f" + std::to_string(random.number(count)) + "=" + std::to_string(i) + "&";
    }
    decoded(data);
    expect_lookups_follow_the_list(random);
    ASSERT_TRUE(add_form_entry({"f1", "added later", {}}));
    ASSERT_TRUE(add_form_entry({"none", "added later", "file"}));
    decoded("f2=more&none=more");
    expect_lookups_follow_the_list(random);
  }
  free_form_entries();
}

// Going through the list for each name would take hours.
TEST(find_form_entry, takes_linear_time_for_every_name_of_a_long_list) {
  std::string data;
  for (int i = 0; i < 500'000; ++i) data += "f" + std::to_string(i) + "=&";
  decode_urlencoded(data.data(), data.size());
  for (const form_entry entry : form_entries()) ASSERT_EQ(find_form_entry(entry.name)->name, entry.name);
  free_form_entries();
}

// --- the accessors ---

TEST(form_entry, keeps_the_bytes_as_they_came) {
  decoded("value1=a%0D%0A%00b");
  EXPECT_EQ(find_form_entry("value1")->value, "a\r\n\0b"sv);
}

TEST(append_form_text, ends_at_the_first_nul) {
  decoded("string5=ab%00cd&string8=%00cd");
  text value;
  append_form_text(*find_form_entry("string5"), value);
  append_form_text(*find_form_entry("string8"), value);
  EXPECT_EQ(value.view(), "ab");
}

TEST(append_form_text, gives_every_value_of_a_name) {
  decoded("strings=1&other=x&strings=&strings=a%0D%0Ab");
  ASSERT_TRUE(add_form_entry({"strings", "bytes", "file"}));
  list values;
  for (auto entry = find_form_entry("strings"); entry; entry = find_next_form_entry()) {
    text value;
    append_form_text(*entry, value);
    values.emplace_back(value.view());
  }
  EXPECT_EQ(values, (list{"1", "", "a\nb", "(file)"}));
}

// --- line breaks ---

std::string normalised(std::string_view value) {
  text out;
  append_normalised(value, out);
  return std::string(out.view());
}

TEST(append_normalised, turns_each_kind_of_line_break_into_a_line_feed) {
  EXPECT_EQ(normalised("a\nb"), "a\nb");
  EXPECT_EQ(normalised("a\r\nb"), "a\nb");
  EXPECT_EQ(normalised("a\rb"), "a\nb");
}

TEST(append_normalised, gives_as_many_line_feeds_as_the_larger_count_of_the_run) {
  EXPECT_EQ(normalised("\r\n\r\n"), "\n\n");
  EXPECT_EQ(normalised("\r\r\r\n"), "\n\n\n");
  EXPECT_EQ(normalised("\n\r\n\n"), "\n\n\n");
  EXPECT_EQ(normalised("\n\n\r\r"), "\n\n");
}

TEST(append_normalised, leaves_what_was_there) {
  text out("before\r\n"sv);
  append_normalised("a\r\n", out);
  EXPECT_EQ(out.view(), "before\r\na\n");
}

TEST(append_normalised, follows_the_plain_rule_on_random_texts) {
  quillet_tests::random_texts random(13);
  constexpr std::string_view pieces[] = {"a", "bc", "\r", "\n", "\r\n"};
  for (int i = 0; i < 10000; ++i) {
    const std::string value = random.text(pieces, 12);
    std::string expected;
    for (std::size_t at = 0; at < value.size();) {
      const std::size_t end = std::min(value.find_first_not_of("\r\n", at), value.size());
      const auto run = std::string_view(value).substr(at, end - at);
      const auto breaks = std::max(std::count(run.begin(), run.end(), '\r'), std::count(run.begin(), run.end(), '\n'));
      expected.append(static_cast<std::size_t>(breaks), '\n');
      at = end;
      if (at < value.size()) expected += value[at++];
    }
    ASSERT_EQ(normalised(value), expected) << testing::PrintToString(value);
  }
}

}  // namespace
}  // namespace quillet
