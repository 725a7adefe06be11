#include "core/operators.h"

#include <gtest/gtest.h>

#include <string>

#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;

void op_first(parameters &, text &out) { out.append("first"); }
void op_second(parameters &, text &out) { out.append("second"); }

TEST(register_operator, the_first_registration_of_a_name_wins) {
  register_operator("registry test: twice", op_first, 0, evaluated);
  register_operator("registry test: twice", op_second, 1, lazy);
  const operator_entry *entry = find_operator("registry test: twice");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->handler, op_first);
  EXPECT_EQ(entry->parameter_count, 0);
  EXPECT_EQ(entry->flags, evaluated);
}

TEST(register_operator, ignores_an_empty_name) {
  const std::size_t before = registered_operators().size();
  register_operator("", op_first, 0, evaluated);
  register_operator({}, op_first, 0, evaluated);
  EXPECT_EQ(registered_operators().size(), before);
  EXPECT_EQ(find_operator(""), nullptr);
  EXPECT_EQ(find_operator({}), nullptr);
}

TEST(register_operator, keeps_the_order_of_registration) {
  register_operator("registry test: z", op_first, 0, evaluated);
  register_operator("registry test: a", op_first, 0, evaluated);
  const auto all = registered_operators();
  ASSERT_GE(all.size(), 2U);
  EXPECT_EQ(all[all.size() - 2].name, "registry test: z");
  EXPECT_EQ(all[all.size() - 1].name, "registry test: a");
}

TEST(register_operators, registers_a_table_in_its_order) {
  constexpr operator_definition module[] = {
      {"registry test: one", op_first, 0, evaluated, "", ""},
      {"registry test: two", op_second, 2, lazy, "", ""},
  };
  register_operators(module);
  const auto all = registered_operators();
  EXPECT_EQ(all[all.size() - 2].name, "registry test: one");
  EXPECT_EQ(all[all.size() - 1].name, "registry test: two");
  EXPECT_EQ(all[all.size() - 1].parameter_count, 2);
  EXPECT_EQ(all[all.size() - 1].flags, lazy);
}

TEST(find_operator, compares_byte_for_byte) {
  register_operator("registry test: Case", op_first, 0, evaluated);
  EXPECT_NE(find_operator("registry test: Case"), nullptr);
  EXPECT_EQ(find_operator("registry test: case"), nullptr);
  EXPECT_EQ(find_operator("registry test: Cas"), nullptr);
  EXPECT_EQ(find_operator("registry test: Case "), nullptr);
}

TEST(find_operator, finds_nothing_for_a_name_as_long_as_a_page) {
  EXPECT_EQ(find_operator(std::string(1 << 20, 'n')), nullptr);
}

// In a child: the registry has no room for these and those of every other test.
TEST(find_operator, still_finds_every_one_when_there_are_many) {
  const auto child = quillet_tests::run_in_child([] {
    static std::string names[30];
    for (int i = 0; i < 30; ++i) {
      names[i] = "registry test: many " + std::to_string(i);
      register_operator(names[i], op_first, i, evaluated);
    }
    for (int i = 0; i < 30; ++i) {
      ASSERT_NE(find_operator(names[i]), nullptr) << i;
      EXPECT_EQ(find_operator(names[i])->parameter_count, i);
    }
  });
  EXPECT_EQ(child.status, 0) << child.output << child.error;
}

TEST(append_error, gives_name_and_message_in_brackets) {
  text out("before "sv);
  append_error(out, "if", "wrong param count");
  EXPECT_EQ(out.view(), "before [if: wrong param count]");
}

}  // namespace
}  // namespace quillet
