// Tables: rows of tab-separated cells.
#pragma once

#include <memory>
#include <string_view>

#include "core/text.h"

namespace quillet {

// A table of text rows. Rows are counted from 0, cells of a row are separated by a tab, and a row
// holds no line feed.
class table {
 public:
  // Each line of the text is a row; a line feed at the end makes no further row.
  explicit table(std::string_view bytes);
  table(const table &) = delete;
  table &operator=(const table &) = delete;
  virtual ~table();

  [[nodiscard]] int count() const;
  [[nodiscard]] std::string_view row(int index) const;  // fatal on a bad index
  [[nodiscard]] int current() const;
  void set_current(int row);

  // A cell of the current row; empty when there is no such cell. The view lives until the table
  // changes or `item` is called again.
  [[nodiscard]] virtual std::string_view item(std::string_view column);
  [[nodiscard]] std::string_view item(int column) const;
};

// A table whose first line names its columns.
class table_named : public table {
 public:
  explicit table_named(std::string_view bytes);
  [[nodiscard]] std::string_view item(std::string_view column) override;
};

}  // namespace quillet
