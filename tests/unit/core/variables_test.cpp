#include "core/variables.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

using namespace std::string_view_literals;

bool variable_exists(std::string_view name) {
  const variable *const found = find_variable(name);
  return found != nullptr && found->exists();
}

TEST(variables, without_an_entry_read_as_empty) {
  EXPECT_EQ(variable_get("variables test: never set"), "");
  EXPECT_FALSE(variable_exists("variables test: never set"));
}

TEST(variables, keep_what_is_set) {
  variable_set("variables test: kept", text("value"sv));
  EXPECT_EQ(variable_get("variables test: kept"), "value");
  EXPECT_TRUE(variable_exists("variables test: kept"));
}

TEST(variables, set_to_null_are_removed) {
  variable_set("variables test: removed", text("value"sv));
  variable_set("variables test: removed", text());
  EXPECT_FALSE(variable_exists("variables test: removed"));
}

TEST(variables, set_to_an_empty_text_exist) {
  variable_set("variables test: empty", text(""sv));
  EXPECT_TRUE(variable_exists("variables test: empty"));
  EXPECT_EQ(variable_get("variables test: empty"), "");
}

TEST(variables, have_case_sensitive_names) {
  variable_set("variables test: Case", text("1"sv));
  EXPECT_FALSE(variable_exists("variables test: case"));
}

TEST(variables, have_names_and_values_of_any_length) {
  const text name(std::string(100000, 'n'));
  variable_set(name, text(std::string(200000, 'v')));
  EXPECT_EQ(variable_get(name).size(), 200000U);
}

}  // namespace
}  // namespace quillet
