#include "core/parameters.h"

#include <gtest/gtest.h>

#include <string>

#include "core/evaluator.h"
#include "support.h"

namespace quillet {
namespace {

TEST(parameters, past_the_last_one_are_empty) {
  parameters p;
  p.add("a");
  EXPECT_EQ(p.count(), 1);
  EXPECT_EQ(p[0], "a");
  EXPECT_EQ(p[1], "");
  EXPECT_EQ(p[18], "");
}

TEST(parameters, know_their_last_one) {
  parameters p;
  p.add("a");
  p.add("b");
  EXPECT_EQ(p.last(), "b");
}

TEST(parameters, evaluated_in_place_hold_their_value) {
  parameters p;
  p.add("x^;y");
  p.add("^^");
  p.evaluate_in_place(0);
  EXPECT_EQ(p[0], "x;y");
  EXPECT_EQ(p[1], "^^");
  p.evaluate_in_place(5);
  p.evaluate_all_in_place();
  EXPECT_EQ(p[0], "x;y");
  EXPECT_EQ(p[1], "^");
}

TEST(parameters, can_be_evaluated_in_place_twice) {
  parameters p;
  p.add("^^^^^^^^");
  p.evaluate_in_place(0);
  EXPECT_EQ(p[0], "^^^^");
  p.evaluate_in_place(0);
  EXPECT_EQ(p[0], "^^");
}

TEST(parameters, without_markup_are_not_copied) {
  const std::string source = "plain";
  parameters p;
  p.add(source);
  p.evaluate_in_place(0);
  EXPECT_EQ(p[0].data(), source.data());
}

// --- their room ---

std::string repeat(int times, const std::string &piece) {
  std::string repeated;
  for (int i = 0; i < times; ++i) repeated += piece;
  return repeated;
}

// As many calls within each other as there may be, and the one that is refused.
void expect_room_for_calls(const std::string &opening) {
  const auto child = quillet_tests::run_in_child([&opening] {
    const std::string page = repeat(max_call_depth + 1, opening) + repeat(max_call_depth + 1, "]");
    parameters of_the_page_itself;
    of_the_page_itself.add("main");
    EXPECT_EQ(evaluate_copy(page).view(), "[infinite operator recursion detected]");
  });
  EXPECT_EQ(child.status, 0) << child.output << child.error;
}

void op_last(parameters &p, text &out) { out.append(p.last()); }

TEST(parameters, have_room_when_every_call_under_way_has_as_many_as_it_can) {
  register_operator("parameters test: last", op_last, 0, evaluated);
  expect_room_for_calls("^parameters test: last[" + repeat(max_parameters - 1, ";"));
}

void op_with_call_of_its_own(parameters &p, text &out) {
  parameters own;
  while (own.count() < max_parameters) own.add("own");
  evaluate(p[0], out);
}

TEST(parameters, have_room_when_every_call_under_way_makes_some_itself) {
  register_operator("parameters test: own", op_with_call_of_its_own, 1, lazy);
  expect_room_for_calls("^parameters test: own[");
}

#ifndef NDEBUG

TEST(parameters_deathtest, of_an_outer_call_cannot_be_added_to) {
  EXPECT_DEATH(
      {
        parameters outer;
        parameters inner;
        inner.add("a");
        outer.add("b");
      },
      "parameters of an outer call cannot be added to");
}

TEST(parameters_deathtest, beyond_the_room_for_all_calls_are_noticed) {
  EXPECT_DEATH(
      {
        parameters endless;
        for (;;) endless.add("a");
      },
      "more parameters than calls under way can have");
}

#endif

}  // namespace
}  // namespace quillet
