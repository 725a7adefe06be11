#include "core/line_list.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

TEST(line_list_append, without_a_value_gives_the_name_and_a_line_feed) {
  text list;
  line_list_append(list, "name");
  EXPECT_EQ(list.view(), "name\n");
}

TEST(line_list_append, with_a_value_puts_one_space_between) {
  text list;
  line_list_append(list, "a", "1");
  line_list_append(list, "b", "two words");
  EXPECT_EQ(list.view(), "a 1\nb two words\n");
}

TEST(line_list_append, with_an_empty_value_keeps_the_space) {
  text list;
  line_list_append(list, "a", "");
  EXPECT_EQ(list.view(), "a \n");
}

TEST(line_list_append_if_value, appends_only_a_value_with_bytes) {
  text list;
  line_list_append_if_value(list, "a", "");
  EXPECT_TRUE(list.is_null());
  line_list_append_if_value(list, "b", "2");
  EXPECT_EQ(list.view(), "b 2\n");
}

TEST(line_list_find, gives_the_first_of_two_lines_of_that_name) { EXPECT_EQ(line_list_find("x 1\nx 2\n", "x"), "1"); }

TEST(line_list_find, never_finds_a_line_without_a_space) {
  EXPECT_EQ(line_list_find("y\n", "y").data(), nullptr);
  EXPECT_EQ(line_list_find("y", "y").data(), nullptr);
}

TEST(line_list_find, compares_the_whole_name) {
  EXPECT_EQ(line_list_find("ab 1\na 2\n", "a"), "2");
  EXPECT_EQ(line_list_find("a 1\n", "ab").data(), nullptr);
}

TEST(line_list_find, takes_the_value_up_to_the_end_of_the_line) {
  EXPECT_EQ(line_list_find("a one two \nb 2\n", "a"), "one two ");
  EXPECT_EQ(line_list_find("a last", "a"), "last");
}

TEST(line_list_find, gives_an_empty_value_that_is_there) {
  const std::string_view value = line_list_find("a \n", "a");
  EXPECT_NE(value.data(), nullptr);
  EXPECT_EQ(value, "");
}

TEST(line_list_find, lets_a_name_begin_with_a_space) {
  EXPECT_EQ(line_list_find(" a 1\n", " a"), "1");
  EXPECT_EQ(line_list_find(" 1\n", "").data(), nullptr);
}

TEST(line_list_find, goes_past_empty_lines) { EXPECT_EQ(line_list_find("\n\na 1\n", "a"), "1"); }

TEST(line_list_find, finds_nothing_in_nothing) {
  EXPECT_EQ(line_list_find({}, "a").data(), nullptr);
  EXPECT_EQ(line_list_find("a 1\n", {}).data(), nullptr);
}

}  // namespace
}  // namespace quillet
