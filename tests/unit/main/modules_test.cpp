#include "main/modules.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>
#include <vector>

#include "core/operators.h"

namespace quillet {
namespace {

struct expected_operator {
  std::string_view name;
  int parameter_count;
  unsigned flags;
};

// Every operator in force, in the order of the modules. The chat's own `cookie`, which would be
// before `userlist`, gives way to the one registered earlier.
constexpr expected_operator expected[] = {
    {"cache", 0, lazy},
    {"optimize", 1, evaluated},
    {"form", 1, evaluated},
    {"number", 1, evaluated},
    {"combine", 0, evaluated},
    {"query", 0, evaluated},
    {"mangle", 1, evaluated},
    {"uri", 0, evaluated},
    {"env", 1, evaluated},
    {"browser", 2, evaluated},
    {"header", 2, evaluated},
    {"rem", 0, lazy},
    {"process", 1, lazy},
    {"level", 2, lazy},
    {"color", 2, evaluated},
    {"date", 0, evaluated},
    {"sum", 2, evaluated},
    {"random", 0, evaluated},
    {"exec", 0, evaluated},
    {"name", 0, evaluated},
    {"-f", 1, evaluated},
    {"stat", 0, evaluated},
    {"find", 0, lazy},
    {"include", 0, evaluated},
    {"index", 0, evaluated},
    {"unlink", 1, evaluated},
    {"imgsize", 1, evaluated},
    {"jpegsize", 1, evaluated},
    {"gifsize", 1, evaluated},
    {"eq", 0, lazy},
    {"ifdef", 0, lazy},
    {"start", 3, lazy},
    {"default", 2, lazy},
    {"cmp", 5, lazy},
    {"optionset", 2, evaluated},
    {"optionclear", 2, evaluated},
    {"optionor", 0, evaluated},
    {"optionand", 0, evaluated},
    {"optioncount", 0, evaluated},
    {"macro", 0, lazy},
    {"macro_new", 2, lazy},
    {"macro_use", 1, evaluated},
    {"macro_exists", 1, evaluated},
    {"match", 0, lazy},
    {"sendmail", 1, lazy},
    {"sort", 2, lazy},
    {"rsplit", 2, lazy},
    {"lsplit", 2, lazy},
    {"toupper", 1, evaluated},
    {"tolower", 1, evaluated},
    {"truncate", 2, evaluated},
    {"unescape_br", 1, evaluated},
    {"config", 0, lazy},
    {"flip", 1, lazy},
    {"context", 0, lazy},
    {"empty", 2, lazy},
    {"locate", 2, evaluated},
    {"shift", 1, evaluated},
    {"item", 0, evaluated},
    {"load", 0, evaluated},
    {"save", 0, lazy},
    {"table", 0, lazy},
    {"menu", 0, lazy},
    {"cookie", 0, evaluated},
    {"upload", 0, evaluated},
    {"uuencode", 2, lazy},
    {"server", 2, lazy},
    {"sql", 0, lazy},
    {"counter", 1, evaluated},
    {"calendar", 0, evaluated},
    {"loadtimestamp", 0, evaluated},
    {"dateoffset", 3, evaluated},
    {"gif_template", 0, evaluated},
    {"switch", 2, lazy},
    {"case", 0, lazy},
    {"var", 0, lazy},
    {"eval", 0, evaluated},
    {"if", 0, lazy},
    {"while", 2, lazy},
    {"for", 0, lazy},
    {"auth", 2, evaluated},
    {"user", 0, evaluated},
    {"hotline_cutmark_thread", 2, evaluated},
    {"hotline_quote", 4, evaluated},
    {"download", 0, evaluated},
    {"log", 1, evaluated},
    {"login", 0, evaluated},
    {"userlist", 0, lazy},
    {"chat", 1, evaluated},
    {"message", 0, evaluated},
    {"startup", 1, evaluated},
    {"validate", 0, lazy},
};

// The rows in force, in the order of the modules. The registry may have other tests' operators, too.
std::vector<const operator_definition *> rows_in_force() {
  std::set<std::string_view> names;
  std::vector<const operator_definition *> rows;
  for (const operator_module *module : operator_modules()) {
    for (const operator_definition &row : module->definitions) {
      if (names.insert(row.name).second) rows.push_back(&row);
    }
  }
  return rows;
}

TEST(register_all_operators, registers_every_operator_in_its_order_with_its_count_and_flag) {
  register_all_operators();
  const auto rows = rows_in_force();
  ASSERT_EQ(rows.size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(rows[i]->name, expected[i].name) << "at place " << i;
    const operator_entry *entry = find_operator(expected[i].name);
    ASSERT_NE(entry, nullptr) << expected[i].name;
    EXPECT_EQ(entry->handler, rows[i]->handler) << expected[i].name;
    EXPECT_EQ(entry->parameter_count, expected[i].parameter_count) << expected[i].name;
    EXPECT_EQ(entry->flags, expected[i].flags) << expected[i].name;
  }
}

TEST(register_all_operators, keeps_the_first_of_two_operators_of_a_name) {
  register_all_operators();
  const operator_entry *cookie = find_operator("cookie");
  ASSERT_NE(cookie, nullptr);
  EXPECT_EQ(cookie->parameter_count, 0);  // the chat's takes exactly one
}

}  // namespace
}  // namespace quillet
