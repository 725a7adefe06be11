#include "table/table.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support.h"

namespace quillet {
namespace {

using namespace quillet_tests;
using namespace std::string_view_literals;

std::string rows_of(const table &shown) { return std::string(shown.serialise().view()); }

TEST(table, makes_a_row_of_each_line) {
  const table made("a\tb\n\nc"sv);
  ASSERT_EQ(made.count(), 3);
  EXPECT_EQ(made.row(0), "a\tb");
  EXPECT_EQ(made.row(1), "");
  EXPECT_EQ(made.row(2), "c");
}

TEST(table, a_line_feed_at_the_end_makes_no_row) {
  EXPECT_EQ(table("a\nb\n"sv).count(), 2);
  EXPECT_EQ(table("\n"sv).count(), 1);
}

TEST(table, has_no_rows_without_text) {
  EXPECT_EQ(table(std::string_view()).count(), 0);
  EXPECT_EQ(table(text()).count(), 0);
}

TEST(table, takes_a_padded_text_over_without_a_copy) {
  text bytes(std::string(1000, 'x'));
  bytes.pad();
  const char *before = bytes.data();
  const table made(std::move(bytes));
  EXPECT_EQ(made.row(0).data(), before);
}

TEST(table, keeps_the_rows_of_a_short_text_that_it_takes_over) {
  const table made(text("a\nb"sv));
  EXPECT_EQ(rows_of(made), "a\nb\n");
}

TEST(table, row_outside_the_table_is_fatal) {
  const child_result result = run_in_child([] { static_cast<void>(table("a\nb"sv).row(2)); });
  EXPECT_EQ(result.status, 254);
  EXPECT_EQ(result.error, "table row index 2 out of range [0..1]\n");
}

TEST(table, row_of_an_empty_slot_is_null) {
  table made("a"sv);
  made.insert_lines(2, "b");
  EXPECT_EQ(made.row(1).data(), nullptr);
  EXPECT_EQ(made.item(0), "a");
}

TEST(table, serialises_to_null_without_rows) { EXPECT_TRUE(table(std::string_view()).serialise().is_null()); }

TEST(table, serialises_an_empty_slot_as_an_empty_line) {
  table made("a"sv);
  made.insert_lines(2, "b");
  EXPECT_EQ(rows_of(made), "a\n\nb\n");
}

TEST(table, reads_cells_in_any_order) {
  table made("a\tbb\t\tccc\nx\ty"sv);
  EXPECT_EQ(made.item(3), "ccc");
  EXPECT_EQ(made.item(0), "a");
  EXPECT_EQ(made.item(1), "bb");
  EXPECT_EQ(made.item(1), "bb");
  EXPECT_EQ(made.item(2), "");
  EXPECT_EQ(made.item(4), "");
  EXPECT_EQ(made.item(1), "bb");
  made.set_current(1);
  EXPECT_EQ(made.item(1), "y");
  made.set_current(0);
  EXPECT_EQ(made.item(3), "ccc");
}

TEST(table, reads_the_right_cells_after_rows_have_moved) {
  table made("a\tb\nc\td\ne\tf"sv);
  EXPECT_EQ(made.item(1), "b");
  made.remove_rows(0, 1);
  EXPECT_EQ(made.item(1), "d");
  made.insert_lines(0, "g\th");
  EXPECT_EQ(made.item(1), "h");
  made.reorder(std::vector<int>{2, 1, 0});
  EXPECT_EQ(made.item(1), "f");
}

TEST(table, reads_the_same_cells_as_the_plain_algorithm) {
  random_texts random(1);
  static constexpr std::string_view pieces[] = {"\t", "\t\t", "a", "bc", "long cell text 0123456789"};
  for (int pass = 0; pass < 2000; ++pass) {
    const std::string row = random.text(pieces, 12);
    table made(std::string_view("\n" + row));
    made.set_current(row.empty() ? 0 : 1);
    std::vector<std::string> cells(1);
    for (const char c : row) {
      if (c == '\t') {
        cells.emplace_back();
      } else {
        cells.back() += c;
      }
    }
    for (int read = 0; read < 10; ++read) {
      const std::size_t column = random.number(15);
      EXPECT_EQ(made.item(static_cast<int>(column)), column < cells.size() ? cells[column] : "") << row;
    }
  }
}

TEST(table, a_row_stays_in_its_place_while_others_are_added) {
  table made(std::string_view{});
  made.append_row("first");
  const char *before = made.row(0).data();
  for (int i = 0; i < 10000; ++i) made.append_row("another row");
  EXPECT_EQ(made.row(0).data(), before);
  EXPECT_EQ(made.row(0), "first");
  EXPECT_EQ(made.row(10000), "another row");
}

TEST(table, keeps_rows_larger_than_a_block) {
  table made(std::string_view{});
  const std::string large(200000, 'x');
  made.append_row("a");
  made.append_row(large);
  made.append_row("b");
  EXPECT_EQ(rows_of(made), "a\n" + large + "\nb\n");
}

TEST(table, an_empty_row_is_no_empty_slot) {
  table made("a"sv);
  made.append_row("");
  made.remove_rows(0, 1);
  EXPECT_EQ(made.count(), 1);
}

TEST(table, removing_all_but_one_of_many_rows_takes_linear_time) {
  table made(std::string_view{});
  for (int i = 0; i < 1'000'000; ++i) made.append_row("x");
  made.append_row("last");
  made.remove_rows(0, 1'000'000);
  EXPECT_EQ(rows_of(made), "last\n");
}

TEST(table, remove_rows_counts_after_the_gaps_are_closed) {
  table made("a"sv);
  made.insert_lines(3, "b\nc\nd");
  made.remove_rows(0, 2);
  EXPECT_EQ(rows_of(made), "c\nd\n");
}

TEST(table, locate_without_a_value_makes_row_0_current) {
  table made("a\nb"sv);
  made.set_current(1);
  EXPECT_FALSE(made.locate("0", ""));
  EXPECT_EQ(made.current(), 0);
}

TEST(table, locate_says_whether_there_is_such_a_row) {
  table made("a\nb"sv);
  EXPECT_TRUE(made.locate("0", "b"));
  EXPECT_EQ(made.current(), 1);
  EXPECT_FALSE(made.locate("0", "c"));
  EXPECT_EQ(made.current(), 0);
}

TEST(table, select_by_prefix_takes_the_longest_and_of_equals_the_first) {
  table made("x\n/\n/a\n/a\n/b"sv);
  made.select_by_prefix("/ab");
  EXPECT_EQ(made.current(), 2);
  made.select_by_prefix("y");
  EXPECT_EQ(made.current(), 0);
  made.select_by_prefix({});
  EXPECT_EQ(made.current(), 0);
}

TEST(table, shift_goes_round_and_can_become_negative) {
  table made("a\nb\nc\nd\ne"sv);
  made.shift(2);
  EXPECT_EQ(made.current(), 2);
  made.shift(-3);
  EXPECT_EQ(made.current(), 4);
  made.set_current(0);
  made.shift(-7);
  EXPECT_EQ(made.current(), -2);
}

TEST(table_named, takes_the_first_line_as_column_names) {
  table_named made("id\tname\n1\tred\n2\tblue\n"sv);
  EXPECT_EQ(made.count(), 2);
  EXPECT_EQ(made.item("name"), "red");
  EXPECT_EQ(rows_of(made), "1\tred\n2\tblue\n");
}

TEST(table_named, is_reached_through_the_base_class) {
  table_named made("id\n7"sv);
  table &base = made;
  EXPECT_EQ(base.item("id"), "7");
}

TEST(table_named, an_empty_name_matches_no_column) {
  table_named made("a\t\tb\n1\t2\t3"sv);
  EXPECT_EQ(made.item(""), "[invalid item name (null)]");
  EXPECT_EQ(made.item("b"), "3");
}

TEST(table_named, has_no_columns_without_text) {
  table_named made(text{});
  EXPECT_EQ(made.count(), 0);
  EXPECT_EQ(made.item("a"), "[invalid item name a]");
}

TEST(table_lock, a_second_lock_is_a_violation_of_the_table) {
  table made("a"sv);
  const table_lock lock(made);
  try {
    const table_lock second(made);
    FAIL();
  } catch (const lock_violation &violation) {
    EXPECT_EQ(violation.violated, &made);
  }
  EXPECT_THROW(made.require_unlocked(), lock_violation);
}

TEST(table_lock, ends_with_its_scope) {
  table made("a"sv);
  { const table_lock lock(made); }
  EXPECT_NO_THROW(made.require_unlocked());
}

}  // namespace
}  // namespace quillet
