// The cells of one row.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace quillet {

// Remembers where the cells of the row that was read last begin, as far as they were asked for: the cells of a row
// are read in linear time in whatever order. The row's bytes must not change, and must be padded (`text::pad`) when
// there are any.
class row_cells {
 public:
  // A cell, counted from 0; a negative number reads the first one. Empty when the row has fewer.
  [[nodiscard]] std::string_view cell(std::string_view row, int column) {
    if (row.data() != row_.data() || row.size() != row_.size()) begin(row);
    const std::size_t wanted = column < 0 ? 0 : static_cast<std::size_t>(column);
    if (wanted + 1 >= count_ && searched_ <= row.size()) find_starts(wanted);
    if (wanted + 1 >= count_) return {};
    const std::size_t start = starts_[wanted];
    return {row.data() + start, starts_[wanted + 1] - 1 - start};
  }

 private:
  void begin(std::string_view row) {
    row_ = row;
    count_ = 0;
    searched_ = 0;
  }
  void find_starts(std::size_t wanted);

  std::string_view row_;
  std::vector<std::size_t> starts_;  // of the cells so far; at last, one more than the row has bytes
  std::size_t count_ = 0;            // of the starts that are known
  std::size_t searched_ = 0;         // bytes; one more than the row has when all cells are known
};

// The same without a memory.
[[nodiscard]] std::string_view cell_of(std::string_view row, int column);

}  // namespace quillet
