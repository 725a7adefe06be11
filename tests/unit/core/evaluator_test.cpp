#include "core/evaluator.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

// --- operators to call ---

// Shows its parameters: "<a|b>".
void op_show(parameters &p, text &out) {
  out.append('<');
  for (int i = 0; i < p.count(); ++i) {
    if (i > 0) out.append('|');
    out.append(p[i]);
  }
  out.append('>');
}

void op_markup(parameters &, text &out) { out.append("^show[]"); }
void op_nothing(parameters &, text &) {}
void op_depth(parameters &, text &out) { out.append(format_signed(call_depth())); }
void op_throw(parameters &, text &) { throw std::runtime_error("out of the walk"); }

int runs = 0;
void op_count(parameters &, text &) { ++runs; }

// Evaluates its parameter twice.
void op_twice(parameters &p, text &out) {
  evaluate(p[0], out);
  evaluate(p[0], out);
}

constexpr operator_definition module[] = {
    {"show", op_show, 0, evaluated, "", ""},     {"lazy", op_show, 0, lazy, "", ""},
    {"one", op_show, 1, evaluated, "", ""},      {"two", op_show, 2, evaluated, "", ""},
    {"markup", op_markup, 0, evaluated, "", ""}, {"nothing", op_nothing, 0, evaluated, "", ""},
    {"depth", op_depth, 0, evaluated, "", ""},   {"throw", op_throw, 0, evaluated, "", ""},
    {"count", op_count, 0, evaluated, "", ""},   {"twice", op_twice, 1, lazy, "", ""},
    {"lazy two", op_show, 2, lazy, "", ""},
};

std::string expanded(std::string_view source) {
  register_operators(module);
  return std::string(evaluate_copy(source).view());
}

// Whatever is refused stays counted for the rest of the process, so such tests end in a child.
void expect_in_child(const std::function<void()> &body) {
  register_operators(module);
  const auto child = quillet_tests::run_in_child(body);
  EXPECT_EQ(child.status, 0) << child.output << child.error;
}

std::string nested(int levels, std::string_view innermost) {
  std::string source(innermost);
  for (int i = 0; i < levels; ++i) source = "^show[" + source + "]";
  return source;
}

std::string repeated(std::string_view piece, int times) {
  std::string all;
  for (; times > 0; --times) all += piece;
  return all;
}

// --- literal text and escapes ---

TEST(evaluate, gives_null_for_nothing) {
  EXPECT_TRUE(evaluate_copy({}).is_null());
  EXPECT_TRUE(evaluate_copy("^").is_null());
  EXPECT_TRUE((register_operators(module), evaluate_copy("^nothing[]")).is_null());
}

TEST(evaluate, keeps_a_text_without_caret) { EXPECT_EQ(expanded("a;b[c]`d"), "a;b[c]`d"); }

TEST(evaluate, passes_any_byte_through) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != '^') bytes += static_cast<char>(byte);
  }
  EXPECT_EQ(expanded(bytes + "^show[]"), bytes + "<>");
}

TEST(evaluate, makes_a_doubled_caret_one) {
  EXPECT_EQ(expanded("a^^b"), "a^b");
  EXPECT_EQ(expanded("^^^^"), "^^");
}

TEST(evaluate, makes_an_escaped_semicolon_one) { EXPECT_EQ(expanded("x^;y"), "x;y"); }

TEST(evaluate, deliberately_removes_a_caret_at_the_very_end) {
  EXPECT_EQ(expanded("50^"), "50");
  EXPECT_EQ(expanded("^^^"), "^");
}

TEST(evaluate, does_not_call_after_a_doubled_caret) { EXPECT_EQ(expanded("^^show[a]"), "^show[a]"); }

TEST(evaluate, keeps_a_caret_without_any_bracket_after_it) {
  EXPECT_EQ(expanded("^nosuch"), "^nosuch");
  EXPECT_EQ(expanded("^show[] ^nosuch"), "<> ^nosuch");
}

// --- calls ---

TEST(evaluate, puts_the_result_in_place_of_the_call) { EXPECT_EQ(expanded("a ^show[x;y] b"), "a <x|y> b"); }

TEST(evaluate, takes_everything_up_to_the_bracket_for_the_name) {
  EXPECT_EQ(expanded("cost ^ 5 [x]"), "cost [invalid operator  5 ]");
  EXPECT_EQ(expanded("^a\nb^c[x]"), "[invalid operator a\nb^c]");
}

TEST(evaluate, of_an_empty_name_gives_the_message_without_a_closing_bracket) {
  EXPECT_EQ(expanded("^[x]"), "[invalid operator ");
}

TEST(evaluate, continues_after_the_call_of_an_unknown_name) {
  EXPECT_EQ(expanded("^nosuch[a;b] ^show[c]"), "[invalid operator nosuch] <c>");
}

TEST(evaluate, leaves_the_parameters_of_an_unknown_name_unevaluated) {
  runs = 0;
  EXPECT_EQ(expanded("^nosuch[^count[]]"), "[invalid operator nosuch]");
  EXPECT_EQ(runs, 0);
}

TEST(evaluate, keeps_the_caret_of_an_unclosed_call_and_still_expands_inside) {
  EXPECT_EQ(expanded("^show[a;b"), "^show[a;b");
  EXPECT_EQ(expanded("^show[a;^show[b]"), "^show[a;<b>");
}

TEST(evaluate, never_scans_a_result_again) {
  EXPECT_EQ(expanded("^markup[]"), "^show[]");
  EXPECT_EQ(expanded("^markup[]^markup[]"), "^show[]^show[]");
  EXPECT_EQ(expanded("^show[^markup[]]"), "<^show[]>");
}

TEST(evaluate, does_not_join_a_result_with_the_text_after_it) { EXPECT_EQ(expanded("^lazy[`^`]x[y]"), "<^>x[y]"); }

TEST(evaluate, of_a_call_with_an_empty_list_passes_one_empty_parameter) {
  EXPECT_EQ(expanded("^one[]"), "<>");
  EXPECT_EQ(expanded("^two[]"), "[invalid parameters to operator two]");
}

TEST(evaluate, checks_a_fixed_number_of_parameters) {
  EXPECT_EQ(expanded("^two[a;b]"), "<a|b>");
  EXPECT_EQ(expanded("^two[a;b;c]"), "[invalid parameters to operator two]");
  EXPECT_EQ(expanded("^lazy two[a]"), "[invalid parameters to operator lazy two]");
}

TEST(evaluate, runs_the_parameters_before_it_refuses_their_number) {
  runs = 0;
  EXPECT_EQ(expanded("^two[^count[]]"), "[invalid parameters to operator two]");
  EXPECT_EQ(runs, 1);
}

TEST(evaluate, does_not_run_the_parameters_of_a_lazy_operator_whose_number_is_refused) {
  runs = 0;
  EXPECT_EQ(expanded("^lazy two[^count[]]"), "[invalid parameters to operator lazy two]");
  EXPECT_EQ(runs, 0);
}

TEST(evaluate, gives_a_lazy_operator_its_parameters_as_written) {
  EXPECT_EQ(expanded("^lazy[^show[a];b^^c]"), "<^show[a]|b^^c>");
}

TEST(evaluate, lets_an_operator_evaluate_as_often_as_it_wants) {
  runs = 0;
  EXPECT_EQ(expanded("^twice[x^count[]]"), "xx");
  EXPECT_EQ(runs, 2);
}

TEST(evaluate, appends_to_what_is_there) {
  register_operators(module);
  text out("before "sv);
  evaluate("^show[a]", out);
  EXPECT_EQ(out.view(), "before <a>");
}

TEST(evaluate, gives_a_view_of_the_source_when_there_is_nothing_to_expand) {
  const std::string source = "plain";
  const expansion value = evaluate(source);
  EXPECT_EQ(value.view().data(), source.data());
}

TEST(evaluate, gives_an_empty_view_when_the_expansion_is_empty) {
  register_operators(module);
  EXPECT_TRUE(evaluate("^nothing[]"sv).is_empty());
}

// --- parameters ---

std::vector<std::string> split(std::string_view call, std::size_t *end = nullptr) {
  parameters p;
  const std::size_t length = split_parameters(call, p);
  if (end != nullptr) *end = length;
  std::vector<std::string> list;
  for (int i = 0; length != 0 && i < p.count(); ++i) list.emplace_back(p[i]);
  return list;
}

using list = std::vector<std::string>;

TEST(split_parameters, gives_the_offset_of_the_closing_bracket) {
  std::size_t end = 0;
  EXPECT_EQ(split("[a;bc]d]", &end), (list{"a", "bc"}));
  EXPECT_EQ(end, 5U);
}

TEST(split_parameters, of_an_empty_list_gives_one_empty_parameter) { EXPECT_EQ(split("[]"), (list{""})); }

TEST(split_parameters, keeps_empty_parameters) { EXPECT_EQ(split("[;a;]"), (list{"", "a", ""})); }

TEST(split_parameters, lets_nested_brackets_hold_separators) {
  EXPECT_EQ(split("[a[b;[c;d]];e]"), (list{"a[b;[c;d]]", "e"}));
}

TEST(split_parameters, fails_without_a_closing_bracket) {
  std::size_t end = 1;
  EXPECT_EQ(split("[a;b", &end), (list{}));
  EXPECT_EQ(end, 0U);
  EXPECT_EQ(split("[", &end), (list{}));
  EXPECT_EQ(end, 0U);
}

TEST(split_parameters, removes_the_backticks_around_a_whole_parameter) { EXPECT_EQ(split("[`a;b`]"), (list{"a;b"})); }

TEST(split_parameters, keeps_backticks_elsewhere) {
  EXPECT_EQ(split("[x`;`y]"), (list{"x`;`y"}));
  EXPECT_EQ(split("[`a`b]"), (list{"`a`b"}));
}

TEST(split_parameters, removes_only_one_pair_of_backticks) {
  EXPECT_EQ(split("[``a``]"), (list{"`a`"}));
  EXPECT_EQ(split("[`a`;`b`]"), (list{"a", "b"}));
  EXPECT_EQ(split("[``]"), (list{""}));
}

TEST(split_parameters, lets_backticks_protect_brackets) { EXPECT_EQ(split("[`]`]"), (list{"]"})); }

TEST(split_parameters, fails_inside_backticks) { EXPECT_EQ(split("[`a]"), (list{})); }

TEST(split_parameters, keeps_escapes_as_written) {
  EXPECT_EQ(split("[a^;b]"), (list{"a^;b"}));
  EXPECT_EQ(split("[a^]b]"), (list{"a^]b"}));
  EXPECT_EQ(split("[a^[b]"), (list{"a^[b"}));
}

TEST(split_parameters, lets_a_doubled_caret_protect_nothing) { EXPECT_EQ(split("[a^^;b]"), (list{"a^^", "b"})); }

TEST(split_parameters, still_toggles_at_an_escaped_backtick) { EXPECT_EQ(split("[^`;`;b]"), (list{"^`;`", "b"})); }

TEST(split_parameters, takes_a_caret_inside_backticks_for_an_escape_too) {
  EXPECT_EQ(split("[`^`;]"), (list{"^", ""}));
  EXPECT_EQ(split("[`a^`]"), (list{"a^"}));
}

TEST(split_parameters, takes_19_parameters) { EXPECT_EQ(split("[" + repeated("p;", 18) + "p]").size(), 19U); }

TEST(split_parameters, fails_at_the_twentieth) {
  EXPECT_EQ(split("[" + repeated("p;", 19) + "p]"), (list{}));
  EXPECT_EQ(split("[" + repeated(";", 19) + "]"), (list{}));
}

TEST(split_parameters, finds_its_marks_at_every_distance) {
  for (std::size_t length = 0; length < 100; ++length) {
    const std::string filling(length, 'x');
    std::size_t end = 0;
    ASSERT_EQ(split("[" + filling + ";" + filling + "^;]]", &end), (list{filling, filling + "^;"}));
    ASSERT_EQ(end, 2 * length + 4);
  }
}

TEST(evaluate, of_a_backtick_parameter_passes_the_text_between) {
  EXPECT_EQ(expanded("^show[`a;b`]"), "<a;b>");
  EXPECT_EQ(expanded("^show[x`;`y]"), "<x`;`y>");
}

TEST(evaluate, turns_an_escape_in_a_parameter_into_its_byte_when_the_parameter_is_evaluated) {
  EXPECT_EQ(expanded("^show[a^;b]"), "<a;b>");
  EXPECT_EQ(expanded("^lazy[a^;b]"), "<a^;b>");
}

TEST(evaluate, of_a_call_with_20_parameters_deliberately_leaves_literal_text) {
  const std::string nineteen = repeated("p;", 18);
  EXPECT_EQ(expanded("^show[" + nineteen + "p]"), "<" + repeated("p|", 18) + "p>");
  EXPECT_EQ(expanded("^show[" + nineteen + "p;^show[x]]"), "^show[" + nineteen + "p;<x>]");
}

TEST(evaluate, after_a_call_that_is_none_still_makes_one_with_19_parameters) {
  const std::string nineteen = repeated("p;", 18);
  EXPECT_EQ(expanded("^show[" + repeated(";", 19) + "]^show[" + nineteen + "p]"),
            "^show[" + repeated(";", 19) + "]<" + repeated("p|", 18) + "p>");
}

// --- depth ---

TEST(call_depth, counts_the_calls_under_way) {
  register_operators(module);
  const int before = call_depth();
  EXPECT_EQ(expanded("^depth[]"), std::to_string(before + 1));
  EXPECT_EQ(expanded("^show[^show[^depth[]]]"), "<<" + std::to_string(before + 3) + ">>");
  EXPECT_EQ(call_depth(), before);
}

TEST(call_depth, deliberately_keeps_the_call_of_an_unknown_name) {
  const int before = call_depth();
  EXPECT_EQ(expanded("^nosuch[]"), "[invalid operator nosuch]");
  EXPECT_EQ(call_depth(), before + 1);
}

TEST(call_depth, is_back_after_a_refused_number_of_parameters) {
  const int before = call_depth();
  EXPECT_EQ(expanded("^two[]"), "[invalid parameters to operator two]");
  EXPECT_EQ(call_depth(), before);
}

TEST(call_depth, is_back_after_an_error_passed_through) {
  register_operators(module);
  const int before = call_depth();
  EXPECT_THROW(static_cast<void>(evaluate_copy("^show[^show[^throw[]]]")), std::runtime_error);
  EXPECT_EQ(call_depth(), before);
}

// The calls that may still be made; in a process without calls of unknown names, 999.
int calls_left() { return max_call_depth - call_depth(); }

constexpr std::string_view recursion = "[infinite operator recursion detected]";

TEST(call_depth, has_room_for_999) { EXPECT_EQ(max_call_depth, 999); }

TEST(call_depth, lets_999_nested_calls_through) {
  expect_in_child([] {
    const int outer = calls_left() - 1;
    EXPECT_EQ(expanded(nested(outer, "^depth[]")), repeated("<", outer) + "999" + repeated(">", outer));
  });
}

TEST(call_depth, refuses_the_thousandth_at_the_innermost_level) {
  expect_in_child([] {
    const int outer = calls_left();
    EXPECT_EQ(expanded(nested(outer, "^depth[]")),
              repeated("<", outer) + std::string(recursion) + repeated(">", outer));
  });
}

TEST(call_depth, deliberately_keeps_a_refused_call) {
  expect_in_child([] {
    const int before = call_depth();
    expanded(nested(calls_left(), "^depth[]"));
    EXPECT_EQ(call_depth(), before + 1);
  });
}

TEST(call_depth, after_1000_calls_of_unknown_names_refuses_every_later_call) {
  expect_in_child([] {
    const int left = calls_left();
    EXPECT_EQ(expanded(repeated("^x[]", left + 1) + "^show[]^x[]"),
              repeated("[invalid operator x]", left) + repeated(recursion, 3));
    EXPECT_EQ(expanded("^show[]"), recursion);
  });
}

// --- linear cost: each of these takes hours when a call that is none is read to the end each time ---

TEST(evaluate, takes_linear_time_on_a_megabyte_of_unclosed_calls) {
  const std::string source = repeated("^show[", 200000);
  EXPECT_TRUE(expanded(source) == source);
}

TEST(evaluate, takes_linear_time_on_a_megabyte_of_carets_before_an_unclosed_bracket) {
  const std::string source = repeated("^x", 500000) + "[" + std::string(500000, 'y');
  EXPECT_TRUE(expanded(source) == source);
}

TEST(evaluate, takes_linear_time_on_carets_before_a_list_of_too_many_parameters) {
  const std::string source = repeated("^x", 250000) + "[" + std::string(500000, 'y') + repeated(";", 19) + "]";
  EXPECT_TRUE(expanded(source) == source);
}

TEST(evaluate, takes_linear_time_on_nested_lists_of_too_many_parameters) {
  const std::string before = repeated("^show[", 50000);
  const std::string after = repeated(repeated(";", 19) + "]", 50000);
  EXPECT_TRUE(expanded(before + "^show[x]" + after) == before + "<x>" + after);
}

TEST(evaluate, takes_linear_time_on_unclosed_calls_with_backticks_and_escapes_between) {
  const std::string source = repeated("^x[`^y[^[", 100000);
  EXPECT_TRUE(expanded(source) == source);
}

}  // namespace
}  // namespace quillet
