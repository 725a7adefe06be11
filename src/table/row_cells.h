// The cells of one row.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace quillet {

// Remembers where the cells of the row that was read last begin, as far as they were asked for: the cells of a row
// are read in linear time in whatever order. The row's bytes must not change.
class row_cells {
 public:
  // A cell, counted from 0; a negative number reads the first one. Empty when the row has fewer.
  [[nodiscard]] std::string_view cell(std::string_view row, int column);

 private:
  void find_tabs(std::size_t wanted);

  std::string_view row_;
  std::vector<std::size_t> tabs_;  // in the first `searched_` bytes of the row, and mostly in a few more
  std::size_t searched_ = 0;
};

// The same without a memory.
[[nodiscard]] std::string_view cell_of(std::string_view row, int column);

}  // namespace quillet
