#include "macro/macro_library.h"

#include <gtest/gtest.h>

#include <string>

#include "core/evaluator.h"
#include "main/modules.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

// The body of a macro; "(none)" when there is none.
std::string body(std::string_view name) {
  const macro *found = find_macro(name);
  return found == nullptr ? "(none)" : std::string(found->body.view());
}

std::string expanded(std::string_view source) {
  register_all_operators();
  return std::string(evaluate_copy(source).view());
}

// --- name_parameters ---

std::string named(std::string_view names, std::string_view source) {
  return std::string(name_parameters(names, text(source)).view());
}

TEST(name_parameters, turns_a_name_into_its_number) { EXPECT_EQ(named("who;why", "$who: $why!"), "$1: $2!"); }

TEST(name_parameters, deliberately_takes_a_name_for_a_prefix_the_first_in_the_list_first) {
  EXPECT_EQ(named("a;ab", "$ab"), "$1b");
  EXPECT_EQ(named("ab;a", "$ab $a"), "$1 $2");
}

TEST(name_parameters, keeps_a_doubled_dollar_and_the_text_after_it) { EXPECT_EQ(named("a", "$$a $$$a"), "$$a $$$1"); }

TEST(name_parameters, keeps_a_number) { EXPECT_EQ(named("a;1", "$1 $a $9x"), "$1 $1 $9x"); }

TEST(name_parameters, marks_a_name_that_is_not_in_the_list) {
  EXPECT_EQ(named("a", "$b."), "$[macro param name not found]b.");
  EXPECT_EQ(named("a", "$"), "$[macro param name not found]");
  EXPECT_EQ(named("a", "$A"), "$[macro param name not found]A");
}

TEST(name_parameters, continues_after_the_number) { EXPECT_EQ(named("a;b", "$a$b"), "$1$2"); }

TEST(name_parameters, without_names_or_without_a_body_changes_nothing) {
  EXPECT_EQ(named("", "$b"), "$b");
  EXPECT_TRUE(name_parameters("a", text()).is_null());
  EXPECT_FALSE(name_parameters("a", text(""sv)).is_null());
}

TEST(name_parameters, counts_beyond_nine) { EXPECT_EQ(named("a;b;c;d;e;f;g;h;i;j", "$j"), "$10"); }

// --- define_macros ---

TEST(define_macros, defines_a_block_with_its_parameters) {
  EXPECT_EQ(define_macros("@greet[who]\nHello $who!", nullptr), 1);
  EXPECT_EQ(body("greet"), "Hello $1!");
}

TEST(define_macros, takes_a_header_without_brackets) {
  define_macros("@plain name\nbody $x", nullptr);
  EXPECT_EQ(body("plain name"), "body $x");
}

TEST(define_macros, ignores_what_follows_the_closing_bracket) {
  define_macros("@tail[a] ignored\n$a", nullptr);
  EXPECT_EQ(body("tail"), "$1");
}

TEST(define_macros, takes_an_unclosed_list_of_names_to_the_end_of_the_line) {
  define_macros("@open[a;b\n$b", nullptr);
  EXPECT_EQ(body("open"), "$2");
}

TEST(define_macros, counts_the_definitions) { EXPECT_EQ(define_macros("@n1\na\n@n2\nb\n@n1\nc", nullptr), 3); }

TEST(define_macros, ignores_the_text_before_the_first_header) {
  EXPECT_EQ(define_macros("<html> @no\n text\n@first\nbody", nullptr), 1);
  EXPECT_EQ(body("first"), "body");
  EXPECT_EQ(body("no"), "(none)");
}

TEST(define_macros, of_a_text_without_header_lines_defines_nothing) {
  EXPECT_EQ(define_macros("a page with an @ in it\n and one @more", nullptr), 0);
  EXPECT_EQ(define_macros("", nullptr), 0);
}

TEST(define_macros, ends_a_body_before_the_next_header) {
  define_macros("@e1\nline 1\nline 2\n@e2\nother", nullptr);
  EXPECT_EQ(body("e1"), "line 1\nline 2");
  EXPECT_EQ(body("e2"), "other");
}

TEST(define_macros, drops_one_empty_line_before_the_next_header) {
  define_macros("@d1\nbody\n\n@d2\nbody\n\n\n@d3\nx", nullptr);
  EXPECT_EQ(body("d1"), "body");
  EXPECT_EQ(body("d2"), "body\n");
}

TEST(define_macros, drops_the_line_feed_at_the_end_of_the_text) {
  define_macros("@l1\nbody\n", nullptr);
  EXPECT_EQ(body("l1"), "body");
}

TEST(define_macros, of_a_header_followed_by_a_header_defines_nothing) {
  EXPECT_EQ(define_macros("@h1\n@h2\nbody", nullptr), 1);
  EXPECT_EQ(body("h1"), "(none)");
  EXPECT_EQ(body("h2"), "body");
}

TEST(define_macros, of_a_header_on_the_last_line_defines_nothing) {
  EXPECT_EQ(define_macros("@z1\nbody\n@z2", nullptr), 1);
  EXPECT_EQ(body("z1"), "body");
  EXPECT_EQ(body("z2"), "(none)");
}

TEST(define_macros, keeps_an_at_sign_inside_a_line_of_a_body) {
  define_macros("@mail\nwrite to a@b.c\n @ x", nullptr);
  EXPECT_EQ(body("mail"), "write to a@b.c\n @ x");
}

TEST(define_macros, replaces_an_earlier_macro) {
  define_macros("@again\nold", nullptr);
  define_macros("@again\nnew", nullptr);
  EXPECT_EQ(body("again"), "new");
}

TEST(define_macros, runs_autoexec_and_discards_its_result) {
  text output;
  register_all_operators();
  EXPECT_EQ(define_macros("@autoexec\ndiscarded ^macro_new[by autoexec;yes]", &output), 1);
  EXPECT_TRUE(output.is_null());
  EXPECT_EQ(body("by autoexec"), "yes");
}

TEST(define_macros, appends_the_output_of_main) {
  text output("before "sv);
  register_all_operators();
  EXPECT_EQ(define_macros("@main\nI am ^macro[name]\n@name\nmain", &output), 2);
  EXPECT_EQ(output.view(), "before I am main");
}

TEST(define_macros, runs_autoexec_before_main) {
  text output;
  register_all_operators();
  define_macros("@main\n^macro[order]\n@autoexec\n^macro_new[order;autoexec was here]", &output);
  EXPECT_EQ(output.view(), "autoexec was here");
}

TEST(define_macros, does_not_run_main_without_an_output) {
  register_all_operators();
  define_macros("@main\n^macro_new[by main;yes]", nullptr);
  EXPECT_EQ(body("by main"), "(none)");
}

TEST(define_macros, keeps_neither_autoexec_nor_main) {
  text output;
  define_macros("@main\nm\n@autoexec\na", &output);
  EXPECT_EQ(body("main"), "(none)");
  EXPECT_EQ(body("autoexec"), "(none)");
}

TEST(define_macros, gives_autoexec_and_main_of_before_back) {
  define_macro("main", text("outer main"sv));
  define_macro("autoexec", text("outer autoexec"sv));
  text output;
  define_macros("@main\ninner main", &output);
  EXPECT_EQ(output.view(), "inner main");
  EXPECT_EQ(body("main"), "outer main");
  EXPECT_EQ(body("autoexec"), "outer autoexec");
  define_macro("main", text());
  define_macro("autoexec", text());
}

TEST(define_macros, does_not_run_the_autoexec_of_before) {
  register_all_operators();
  define_macro("autoexec", text("^macro_new[by the outer autoexec;yes]"sv));
  define_macros("@other\nx", nullptr);
  define_macro("autoexec", text());
  EXPECT_EQ(body("by the outer autoexec"), "(none)");
}

TEST(define_macro, with_null_removes_it) {
  define_macro("gone", text("x"sv));
  define_macro("gone", text());
  EXPECT_EQ(body("gone"), "(none)");
}

// --- the operators on the library ---

TEST(macro, puts_its_arguments_in) {
  define_macro("greet me[who]", text("Hello $who!"sv));
  EXPECT_EQ(expanded("^macro[greet me;World]"), "Hello World!");
  EXPECT_EQ(expanded("^macro[greet me]"), "Hello !");
}

TEST(macro, of_an_undefined_name_says_so) { EXPECT_EQ(expanded("^macro[no such]"), "[undefined macro no such]"); }

TEST(macro, of_an_empty_name_says_so_without_a_closing_bracket) {
  EXPECT_EQ(expanded("^macro[]"), "[undefined macro ");
}

TEST(macro, evaluates_its_name) {
  define_macro("made up", text("found"sv));
  define_macro("which", text("made up"sv));
  EXPECT_EQ(expanded("^macro[^macro[which]]"), "found");
}

TEST(macro, makes_a_doubled_dollar_one) {
  define_macro("dollars", text("$$ $$1 $x $"sv));
  EXPECT_EQ(expanded("^macro[dollars;a]"), "$ $1 $x $");
}

TEST(macro, takes_two_digits_for_one_number) {
  define_macro("digits", text("$1 $10 $123"sv));
  EXPECT_EQ(expanded("^macro[digits;1;2;3;4;5;6;7;8;9;ten;11;twelve]"), "1 ten twelve3");
}

TEST(macro, returns_nothing_for_number_0_and_for_an_argument_that_is_missing) {
  define_macro("missing", text("<$0|$00|$2|$99>"sv));
  EXPECT_EQ(expanded("^macro[missing;a]"), "<|||>");
}

TEST(macro, never_replaces_a_dollar_in_an_argument) {
  define_macro("inside", text("$1"sv));
  EXPECT_EQ(expanded("^macro[inside;$1 $$]"), "$1 $$");
}

TEST(macro, evaluates_an_argument_where_and_as_often_as_the_body_uses_it) {
  define_macro("counted", text("x"sv));
  define_macro("twice", text("$1 $1"sv));
  define_macro("never", text("-"sv));
  EXPECT_EQ(expanded("^macro[twice;^macro[counted]]"), "x x");
  EXPECT_EQ(expanded("^macro[never;^macro_new[counted;evaluated]]^macro[counted]"), "-x");
}

TEST(macro, can_be_redefined_while_it_runs) {
  define_macro("self", text("^macro_new[self;new body]old body"sv));
  EXPECT_EQ(expanded("^macro[self] ^macro[self]"), "old body new body");
}

TEST(macro, of_a_body_that_becomes_empty_returns_nothing) {
  define_macro("emptied", text("$1"sv));
  EXPECT_EQ(expanded("^macro[emptied]"), "");
}

TEST(macro_new, defines_a_macro_from_raw_text) {
  EXPECT_EQ(expanded("^macro_new[fresh[a;b];$b ^macro[x]]"), "");
  EXPECT_EQ(body("fresh"), "$2 ^macro[x]");
}

TEST(macro_new, with_an_empty_body_removes_it) {
  expanded("^macro_new[short lived;x]^macro_new[short lived;]");
  EXPECT_EQ(body("short lived"), "(none)");
}

TEST(macro_exists, says_yes_of_a_macro_and_nothing_otherwise) {
  define_macro("existing", text("x"sv));
  EXPECT_EQ(expanded("^macro_exists[existing]"), "yes");
  EXPECT_EQ(expanded("^macro_exists[not existing]"), "");
  EXPECT_EQ(expanded("^macro_exists[]"), "");
}

}  // namespace
}  // namespace quillet
