#include "core/linear_matcher.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "core/regular_expression.h"

using namespace quillet;

namespace {

// Each would take hours if its time grew with the square of the text.
TEST(linear_matcher, takes_time_that_grows_with_the_text) {
  const std::string letters(10000000, 'x');
  std::array<regmatch_t, 1> whole;
  EXPECT_EQ(regular_expression("x+y", 0).match(letters, whole), REG_NOMATCH);
  EXPECT_EQ(regular_expression("[a-z]+@[a-z]+", 0).match(letters, whole), REG_NOMATCH);
}

TEST(linear_matcher, finds_all_matches_in_time_that_grows_with_the_text) {
  const regular_expression expression("x(.*y)?", 0);
  const std::string letters(1000000, 'x');
  match_search search(expression, letters);
  std::array<regmatch_t, 2> pieces;
  std::size_t offset = 0;
  for (; search.find(offset, pieces) == 0; offset += static_cast<std::size_t>(pieces[0].rm_eo)) {
    ASSERT_EQ(pieces[0].rm_eo, 1);
    ASSERT_EQ(pieces[1].rm_eo, -1);
  }
  EXPECT_EQ(offset, letters.size());
}

// Any 13 bytes and then an "a": which of the last 13 bytes was one makes 8,192 sets.
std::string many_sets() {
  std::string expression;
  for (int i = 0; i < 13; ++i) expression += "[abc]";
  return expression + "a";
}

std::string mixed_letters(std::size_t length) {
  std::string letters;
  unsigned state = 1;
  for (std::size_t i = 0; i < length; ++i) {
    state = state * 1103515245 + 12345;
    letters += (state >> 16) % 2 == 0 ? 'a' : 'b';
  }
  return letters;
}

TEST(linear_matcher, gives_up_where_a_text_leads_to_too_many_sets) {
  linear_matcher matcher(*read_automaton(many_sets()));
  linear_matcher::mark_list marks;
  EXPECT_TRUE(matcher.mark("aaaabbbbcccc", marks));
  EXPECT_FALSE(matcher.mark(mixed_letters(100000), marks));
}

TEST(regular_expression, asks_the_library_where_the_linear_matcher_gives_up) {
  std::array<regmatch_t, 1> whole;
  ASSERT_EQ(regular_expression(many_sets(), 0).match("-" + mixed_letters(100000), whole), 0);
  EXPECT_EQ(whole[0].rm_so, 1);
}

TEST(regular_expression, does_not_look_into_a_text_without_a_byte_that_it_needs) {
  const std::string letters(10000000, 'a');
  std::array<regmatch_t, 2> pieces;
  EXPECT_EQ(regular_expression("^.*[a-z]+@[a-z]{2}$", 0).match(letters, pieces), REG_NOMATCH);
  EXPECT_EQ(regular_expression("([a-z]*)1", REG_ICASE).match(letters, pieces), REG_NOMATCH);
}

}  // namespace
