#include "core/dictionary.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

void set(string_dictionary &d, std::string_view name, std::string_view value) { dictionary_set(d, name, text(value)); }

// The entries in their order, "key=value" each.
std::string show(const string_dictionary &d) {
  std::string shown;
  for (const auto &entry : d.entries) {
    shown += std::string(entry->key.view()) + "=" + std::string(entry->value.view()) + " ";
  }
  return shown;
}

TEST(compare_keys, orders_bytes_as_unsigned) {
  EXPECT_LT(compare_keys(text("a"sv), text("b"sv)), 0);
  EXPECT_GT(compare_keys(text("\xE0"sv), text("z"sv)), 0);
  EXPECT_LT(compare_keys(text("a"sv), text("ab"sv)), 0);
  EXPECT_EQ(compare_keys(text("ab"sv), text("ab"sv)), 0);
}

TEST(compare_keys, sorts_an_absent_key_before_any_present_one) {
  EXPECT_LT(compare_keys(text(), text(""sv)), 0);
  EXPECT_GT(compare_keys(text("a"sv), text()), 0);
  EXPECT_EQ(compare_keys(text(), text()), 0);
}

TEST(dictionary, is_empty_at_first) {
  string_dictionary d;
  dictionary_init(d);
  EXPECT_TRUE(d.entries.empty());
  EXPECT_EQ(dictionary_get(d, "a"), nullptr);
}

TEST(dictionary, init_empties_it) {
  string_dictionary d;
  set(d, "a", "1");
  dictionary_init(d);
  EXPECT_TRUE(d.entries.empty());
}

TEST(dictionary, set_b_then_a_then_c_keeps_the_keys_in_order) {
  string_dictionary d;
  set(d, "b", "2");
  set(d, "a", "1");
  set(d, "c", "3");
  EXPECT_EQ(show(d), "a=1 b=2 c=3 ");
}

TEST(dictionary, setting_an_existing_name_replaces_its_value_and_keeps_the_count) {
  string_dictionary d;
  set(d, "a", "1");
  set(d, "a", "2");
  EXPECT_EQ(show(d), "a=2 ");
}

TEST(dictionary, setting_null_removes_the_entry) {
  string_dictionary d;
  set(d, "a", "1");
  set(d, "b", "2");
  dictionary_set(d, "a", text());
  EXPECT_EQ(show(d), "b=2 ");
  EXPECT_FALSE(dictionary_exists(d, "a"));
}

TEST(dictionary, setting_an_absent_name_to_null_changes_nothing) {
  string_dictionary d;
  dictionary_set(d, "a", text());
  EXPECT_TRUE(d.entries.empty());
}

TEST(dictionary, keeps_an_empty_value_that_is_present) {
  string_dictionary d;
  set(d, "a", "");
  EXPECT_TRUE(dictionary_exists(d, "a"));
  ASSERT_NE(dictionary_get(d, "a"), nullptr);
  EXPECT_EQ(dictionary_get(d, "a")->view(), "");
}

TEST(dictionary, removing_an_absent_name_changes_nothing) {
  string_dictionary d;
  set(d, "a", "1");
  dictionary_remove(d, "b");
  dictionary_remove(d, "");
  EXPECT_EQ(show(d), "a=1 ");
}

TEST(dictionary, keys_that_differ_in_case_are_distinct_and_upper_case_sorts_first) {
  string_dictionary d;
  set(d, "a", "lower");
  set(d, "A", "upper");
  EXPECT_EQ(show(d), "A=upper a=lower ");
}

TEST(dictionary, sorts_bytes_above_127_behind_the_letters) {
  string_dictionary d;
  set(d, "\xE0", "2");
  set(d, "z", "1");
  EXPECT_EQ(show(d), "z=1 \xE0=2 ");
}

TEST(dictionary, find_gives_the_place_of_a_key) {
  string_dictionary d;
  set(d, "a", "1");
  set(d, "c", "3");
  std::size_t position = 99;
  EXPECT_TRUE(dictionary_find(d, "c", position));
  EXPECT_EQ(position, 1U);
}

TEST(dictionary, find_gives_the_place_where_an_absent_key_belongs) {
  string_dictionary d;
  set(d, "b", "2");
  set(d, "d", "4");
  std::size_t position = 99;
  EXPECT_FALSE(dictionary_find(d, "a", position));
  EXPECT_EQ(position, 0U);
  EXPECT_FALSE(dictionary_find(d, "c", position));
  EXPECT_EQ(position, 1U);
  EXPECT_FALSE(dictionary_find(d, "e", position));
  EXPECT_EQ(position, 2U);
}

TEST(dictionary, owns_copies_of_its_keys) {
  string_dictionary d;
  std::string name = "key";
  set(d, name, "1");
  name = "xxx";
  EXPECT_EQ(show(d), "key=1 ");
}

TEST(dictionary, a_value_keeps_its_place_in_memory_when_others_are_set) {
  string_dictionary d;
  set(d, "m", "value");
  const text *value = dictionary_get(d, "m");
  for (char c = 'a'; c <= 'z'; ++c) {
    if (c != 'm') set(d, {&c, 1}, "x");
  }
  EXPECT_EQ(dictionary_get(d, "m"), value);
}

TEST(dictionary, holds_what_an_ordered_map_holds_after_random_changes) {
  quillet_tests::random_texts random(23);
  constexpr std::string_view pieces[] = {"a", "b", "A", "\xFF", "aa"};
  string_dictionary d;
  std::map<std::string, std::string> expected;
  for (int i = 0; i < 3000; ++i) {
    const std::string name = random.text(pieces, 3);
    const std::string value = random.text(pieces, 20);
    if (random.number(3) == 0) {
      dictionary_remove(d, name);
      expected.erase(name);
    } else {
      set(d, name, value);
      expected[name] = value;
    }
    std::string shown;
    for (const auto &[key, held] : expected) shown += key + "=" + held + " ";
    ASSERT_EQ(show(d), shown);
  }
}

}  // namespace
}  // namespace quillet
