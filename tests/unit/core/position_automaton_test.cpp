#include "core/position_automaton.h"

#include <gtest/gtest.h>

#include <string>

using namespace quillet;

namespace {

bool is_certain(std::string_view expression) {
  const auto automaton = read_automaton(expression);
  return automaton && automaton->groups_are_certain;
}

TEST(position_automaton, is_made_for_everyday_expressions) {
  for (const char *expression : {"a", "[a-z]+@[a-z]+", "(a|b)*c", "a.b?", "[[:digit:]]+\\.", "[]a-]", "\n"}) {
    EXPECT_TRUE(read_automaton(expression)) << expression;
  }
}

TEST(position_automaton, is_not_made_for_what_depends_on_what_is_around_a_match) {
  for (const char *expression : {"^a", "a$", "\\ba", "a\\>", "(a)\\1", "\\w"}) {
    EXPECT_FALSE(read_automaton(expression)) << expression;
  }
}

TEST(position_automaton, is_not_made_for_what_matches_nothing_or_is_wrong) {
  for (const char *expression :
       {"", "a*", "a|b?", "()", "(a", "a)", "*a", "a**", "a|", "[a", "[b-a]", "[[:no:]]", "a{2}"}) {
    EXPECT_FALSE(read_automaton(expression)) << expression;
  }
}

TEST(position_automaton, has_at_most_64_positions) {
  EXPECT_TRUE(read_automaton(std::string(64, 'a')));
  EXPECT_FALSE(read_automaton(std::string(65, 'a')));
}

TEST(position_automaton, knows_where_groups_are_that_are_matched_in_one_way) {
  for (const char *expression : {"(a)", "([a-z]+)@([a-z]+)", "(a)?b", "(a)|(b)", "((a)b)", "(.+)x"}) {
    EXPECT_TRUE(is_certain(expression)) << expression;
  }
  for (const char *expression : {"(a)*b", "(a)+", "(a*)b", "(a+)(a+)", "(a|ab)(c|bc)", "(a)|a", "((a)b)+"}) {
    EXPECT_FALSE(is_certain(expression)) << expression;
  }
}

}  // namespace
