#include "cgi/optimizer.h"

#include <gtest/gtest.h>

#include <string>

#include "cgi/request.h"
#include "core/evaluator.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

std::string optimized(std::string_view page, bool content_type_set = false) {
  text t(page);
  request.content_type_set = content_type_set;
  optimize_output(t);
  request.content_type_set = false;
  return std::string(t.view());
}

std::string optimized_after(std::string_view calls, std::string_view page) {
  register_all_operators();
  EXPECT_TRUE(evaluate_copy(calls).is_null());
  const std::string result = optimized(page);
  static_cast<void>(evaluate_copy("^optimize[]"));
  return result;
}

TEST(optimize_output, shrinks_a_run_to_its_first_byte) {
  EXPECT_EQ(optimized("a  \n\t b"), "a b");
  EXPECT_EQ(optimized("a\n\t b"), "a\nb");
  EXPECT_EQ(optimized("a\t\tb\r\nc"), "a\tb\rc");
}

TEST(optimize_output, keeps_the_first_byte_of_the_text) {
  EXPECT_EQ(optimized("\na"), "\na");
  EXPECT_EQ(optimized("\n\n  a"), "\na");
}

TEST(optimize_output, shrinks_white_space_at_the_end) { EXPECT_EQ(optimized("a \n"), "a "); }

TEST(optimize_output, knows_no_other_white_space) { EXPECT_EQ(optimized("a\v\v\f\f\xA0\xA0z"), "a\v\v\f\f\xA0\xA0z"); }

TEST(optimize_output, with_a_content_type_of_the_page_removes_leading_line_breaks) {
  EXPECT_EQ(optimized("\n\na", true), "a");
  EXPECT_EQ(optimized("\r\n\r\na", true), "a");
}

TEST(optimize_output, with_a_content_type_of_the_page_deliberately_keeps_only_the_return_of_a_pair) {
  EXPECT_EQ(optimized("a\r\nb\r\n\r\nc", true), "a\rb\rc");
}

TEST(optimize_output, with_a_content_type_of_the_page_shrinks_line_breaks_only) {
  EXPECT_EQ(optimized("a\t\t  b\n\nc", true), "a\t\t  b\nc");
  EXPECT_EQ(optimized("a\n \n", true), "a\n \n");
}

TEST(optimize_output, leaves_nothing_of_a_page_of_line_breaks_with_a_content_type) {
  EXPECT_EQ(optimized("\n\r\n", true), "");
}

TEST(optimize_output, accepts_null) {
  text t;
  optimize_output(t);
  EXPECT_TRUE(t.is_null());
}

TEST(optimize, no_keeps_every_byte) { EXPECT_EQ(optimized_after("^optimize[no]", "a  b\n\n"), "a  b\n\n"); }

TEST(optimize, anything_else_turns_it_on_the_empty_one_included) {
  for (const char *last : {"^optimize[]", "^optimize[yes]", "^optimize[NO]", "^optimize[no ]"}) {
    EXPECT_EQ(optimized_after(std::string("^optimize[no]") + last, "a  b"), "a b") << last;
  }
}

TEST(optimize, the_last_call_decides) { EXPECT_EQ(optimized_after("^optimize[]^optimize[no]", "a  b"), "a  b"); }

// The rule as it is told, byte by byte.
std::string plainly_optimized(const std::string &page, bool content_type_set) {
  const std::string_view set = content_type_set ? "\n\r"sv : " \n\r\t"sv;
  std::string kept;
  for (const char c : page) {
    const bool in_set = set.find(c) != std::string_view::npos;
    const bool drop = kept.empty() ? content_type_set : set.find(kept.back()) != std::string_view::npos;
    if (!in_set || !drop) kept += c;
  }
  return kept;
}

TEST(optimize_output, follows_the_plain_rule_on_random_texts) {
  quillet_tests::random_texts random(32);
  constexpr std::string_view pieces[] = {"a",    " ",  "\n",  "\r", "\t", "\r\n", "bcdefghijklmnopqrs",
                                         "    ", "\v", "\x1F"};
  for (int i = 0; i < 10000; ++i) {
    const std::string page = random.text(pieces, 40);
    ASSERT_EQ(optimized(page, false), plainly_optimized(page, false)) << testing::PrintToString(page);
    ASSERT_EQ(optimized(page, true), plainly_optimized(page, true)) << testing::PrintToString(page);
  }
}

}  // namespace
}  // namespace quillet
