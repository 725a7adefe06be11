#include "table/row_cells.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <string>

#include "core/preparation.h"
#include "support.h"
#include "table/table.h"

namespace quillet {
namespace {

text padded(std::string_view row) {
  text made(row);
  made.pad();
  return made;
}

TEST(row_cells, gives_the_same_with_and_without_a_memory) {
  quillet_tests::random_texts random(51);
  constexpr std::string_view pieces[] = {
      "\t",
      "\t",
      "a",
      "a cell",
      "a cell longer than a block of sixteen bytes",
      "a cell of more than half of the bytes that are looked through at a time, so that two of them, which is rather "
      "often, are more than those, all of them without a single tab",
      "x\n"};
  row_cells cells;
  for (int i = 0; i < 5000; ++i) {
    const text rows[] = {padded(random.text(pieces, 8)), padded(random.text(pieces, 40)),
                         padded(random.text(pieces, 2))};
    for (int n = 0; n < 30; ++n) {
      const std::string_view row = rows[random.number(std::size(rows))];
      const int column = static_cast<int>(random.number(45)) - 2;
      const std::string_view expected = cell_of(row, column);
      const std::string_view cell = cells.cell(row, column);
      ASSERT_EQ(cell, expected) << testing::PrintToString(row) << column;
      if (!cell.empty()) {
        ASSERT_EQ(cell.data(), expected.data());
      }
    }
    cells = {};  // the next rows may lie in the same place
  }
}

TEST(cell_of, counts_from_0_and_takes_a_negative_column_for_the_first) {
  EXPECT_EQ(cell_of("a\tb\t", 0), "a");
  EXPECT_EQ(cell_of("a\tb\t", -5), "a");
  EXPECT_EQ(cell_of("a\tb\t", std::numeric_limits<int>::min()), "a");
  EXPECT_EQ(cell_of("a\tb\t", 1), "b");
  EXPECT_EQ(cell_of("a\tb\t", 2), "");
  EXPECT_EQ(cell_of("a\tb\t", 3), "");
  EXPECT_EQ(cell_of({}, 1), "");
}

// From cell to cell each time, these would take hours.
TEST(row_cells, take_linear_time_in_any_order) {
  constexpr int count = 1'000'000;
  std::string row;
  for (int i = 0; i < count; ++i) row += "x\t";
  const text bytes = padded(row);
  row_cells cells;
  for (int i = count - 1; i >= 0; --i) ASSERT_EQ(cells.cell(bytes, i), "x");
  for (int i = 0; i < count; ++i) ASSERT_EQ(cells.cell(bytes, i), "x");
}

TEST(table_named, finds_one_of_many_names_as_one_of_few) {
  quillet_tests::random_texts random(52);
  for (const std::size_t columns : {3U, 16U, 17U, 300U}) {
    std::string header;
    std::string row;
    for (std::size_t i = 0; i < columns; ++i) {
      header += (i > 0 ? "\tname" : "name") + std::to_string(random.number(columns));
      row += (i > 0 ? "\t" : "") + std::to_string(i);
    }
    table_named made(header + "\n" + row);
    for (std::size_t i = 0; i < columns; ++i) {
      const std::string name = "name" + std::to_string(i);
      const std::string found(made.item(name));
      enable_preparation(false);
      EXPECT_EQ(found, made.item(name)) << name;
      enable_preparation(true);
    }
    EXPECT_EQ(made.item(""), "[invalid item name (null)]");
  }
}

}  // namespace
}  // namespace quillet
