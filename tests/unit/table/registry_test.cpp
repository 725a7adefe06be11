#include "table/registry.h"

#include <gtest/gtest.h>

#include <memory>
#include <string_view>

namespace quillet {
namespace {

using namespace std::string_view_literals;

std::unique_ptr<table> made_of(std::string_view rows) { return std::make_unique<table>(rows); }

TEST(table_array, has_no_current_table_at_first) {
  table_array tables;
  EXPECT_EQ(tables.current(), nullptr);
  EXPECT_EQ(tables.share_current(), nullptr);
}

TEST(table_array, stores_a_table_under_the_current_name) {
  table_array tables;
  tables.set_current_name("a");
  tables.put_current(made_of("x"));
  EXPECT_EQ(tables.current()->name(), "a");
  EXPECT_EQ(tables.find("a"), tables.current());
  EXPECT_EQ(tables.find("b"), nullptr);
}

TEST(table_array, replaces_the_table_of_that_name) {
  table_array tables;
  tables.put_current(made_of("x"));
  tables.put_current(made_of("y"));
  EXPECT_EQ(tables.count(), 1);
  EXPECT_EQ(tables.current()->row(0), "y");
}

TEST(table_array, follows_the_current_name) {
  table_array tables;
  tables.set_current_name("b");
  tables.put_current(made_of("in b"));
  tables.set_current_name("a");
  EXPECT_EQ(tables.current(), nullptr);
  tables.put_current(made_of("in a"));
  tables.set_current_name("b");
  EXPECT_EQ(tables.current()->row(0), "in b");
  tables.set_current_name(tables.current_name());
  EXPECT_EQ(tables.current()->row(0), "in b");
}

TEST(table_array, removes_the_current_table_only) {
  table_array tables;
  tables.set_current_name("a");
  tables.put_current(made_of("x"));
  tables.set_current_name("b");
  tables.remove_current();
  tables.put_current(made_of("y"));
  tables.remove_current();
  EXPECT_EQ(tables.current(), nullptr);
  EXPECT_EQ(tables.find("b"), nullptr);
  EXPECT_NE(tables.find("a"), nullptr);
}

TEST(table_array, refuses_to_replace_or_remove_a_locked_table) {
  table_array tables;
  tables.put_current(made_of("x"));
  table *locked = tables.current();
  const table_lock lock(*locked);
  EXPECT_THROW(tables.put_current(made_of("y")), lock_violation);
  EXPECT_THROW(tables.remove_current(), lock_violation);
  EXPECT_EQ(tables.current(), locked);
  EXPECT_EQ(tables.find(""), locked);
}

TEST(table_array, shares_a_table_that_outlives_its_replacement) {
  table_array tables;
  tables.put_current(made_of("x"));
  const std::shared_ptr<table> kept = tables.share_current();
  tables.put_current(made_of("y"));
  EXPECT_EQ(kept->row(0), "x");
}

TEST(table_name_scope, restores_the_name) {
  set_current_table_name("outer");
  {
    const table_name_scope scope("inner");
    EXPECT_EQ(current_table_name(), "inner");
  }
  EXPECT_EQ(current_table_name(), "outer");
  set_current_table_name({});
}

}  // namespace
}  // namespace quillet
