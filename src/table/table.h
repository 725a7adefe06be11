// Tables: rows of tab-separated cells.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/keyed_hash.h"
#include "core/text.h"
#include "table/containers.h"
#include "table/row_cells.h"

namespace quillet {

class table;

// Ends the walk that holds the lock of `violated`: the operator that walks it catches it.
struct lock_violation {
  const table *violated;
};

// Bytes that stay in their place until the store ends, padded like a text (`text::pad`).
class byte_store {
 public:
  // A copy of the bytes in the store; never a null view.
  std::string_view keep(std::string_view bytes);
  // Room for so many bytes, to be written by the caller.
  char *take(std::size_t size);

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  char *free_ = nullptr;  // in the last block
  std::size_t left_ = 0;
  std::size_t block_size_ = 0;
};

// A table of text rows. Rows are counted from 0, cells of a row are separated by a tab, and a row
// holds no line feed. A row's bytes stay in their place as long as the table lives, whatever happens
// to its rows; a whole block of bytes (`block_size`) after a row that has bytes can be read.
class table : protected object_array<std::string_view> {
 public:
  // Each line of the text is a row; a line feed at the end makes no further row.
  explicit table(std::string_view bytes);
  explicit table(text &&bytes);
  ~table() override;

  using object_array::count;
  // Fatal on a bad index; null for an empty slot. A derived class may make the bytes when they are read;
  // then it gives the cells, too.
  [[nodiscard]] virtual std::string_view row(int index) const;
  [[nodiscard]] int current() const { return current_; }
  void set_current(int row) { current_ = row; }

  // A cell of the current row; empty when there is no such cell. The view lives until the table
  // changes or `item` is called again. Columns are counted from 0; a negative number reads the first one.
  [[nodiscard]] virtual std::string_view item(int column);
  // The same of the column that a text means; without one "[invalid item name " text "]", with "(null)" for no text.
  [[nodiscard]] std::string_view item(std::string_view column);
  // What number a column text means: the one that it says.
  [[nodiscard]] virtual std::optional<int> column_number(std::string_view column);
  // The same for all tables that give column texts the same numbers; never 0.
  [[nodiscard]] unsigned long numbering() const { return numbering_; }
  // The names of the columns; none for a table whose columns have none.
  [[nodiscard]] virtual std::span<const std::string_view> columns() const { return {}; }

  // Moves the current row by `step`, around the end. Deliberate: a step below minus the number of rows
  // can leave it negative.
  void shift(int step);
  // Makes the first row current whose cell is `value`. When there is none, or no value, the first row
  // becomes current and the result is false.
  bool locate(std::string_view column, std::string_view value);
  // Makes the row current whose first cell is the longest beginning of `wanted`, the first of several; the
  // first row when there is none.
  void select_by_prefix(std::string_view wanted);
  // Every row followed by a line feed; null without rows.
  [[nodiscard]] text serialise() const;

  // Add copies of a row, or of each line of a text. Inserting works as in `object_array`.
  void append_row(std::string_view bytes);
  void append_lines(std::string_view lines);
  void insert_lines(int index, std::string_view lines);
  // Adds a row of so many bytes, to be written by the caller at once.
  [[nodiscard]] char *append_row(std::size_t size);
  // Removes a row as often as `number` says, each time the one that is at `index` then.
  void remove_rows(int index, int number);
  // Puts the rows into another order: row i becomes the one that was row `order[i]`.
  void reorder(std::span<const int> order);

  // The name under which the table is registered.
  [[nodiscard]] std::string_view name() const { return name_; }
  void set_name(std::string_view name);

  // Throws `lock_violation` while the table is being walked.
  void require_unlocked() const;

 protected:
  // The rows begin at an offset of the text, which becomes the table's.
  table(text &&bytes, std::size_t rows_start);
  [[nodiscard]] std::string_view source() const { return source_; }
  void set_numbering(unsigned long numbering) { numbering_ = numbering; }

 private:
  friend class table_lock;

  bool locked_ = false;
  int current_ = 0;
  row_cells cells_;  // of the row that was read last
  unsigned long numbering_ = 1;
  text name_;
  text message_;
  text source_;       // the text that the table was made from
  byte_store added_;  // the rows that came later
};

// A number that no table has yet as its numbering.
[[nodiscard]] unsigned long new_numbering();

// A table whose first line names its columns.
class table_named : public table {
 public:
  explicit table_named(std::string_view bytes);
  explicit table_named(text &&bytes);

  // A column text of digits only is a number, any other the name of a column.
  [[nodiscard]] std::optional<int> column_number(std::string_view column) override;
  [[nodiscard]] std::span<const std::string_view> columns() const override { return columns_; }

 private:
  [[nodiscard]] int column_named(std::string_view name);

  std::vector<std::string_view> columns_;
  std::unordered_map<std::string_view, int, keyed_hasher> column_numbers_;  // of many columns, once one is asked for
};

// The lock of a walk. Taking it throws `lock_violation`, which ends the walk under way, when the table
// is being walked already.
class table_lock {
 public:
  explicit table_lock(table &walked) : walked_(walked) {
    walked.require_unlocked();
    walked.locked_ = true;
  }
  table_lock(const table_lock &) = delete;
  table_lock &operator=(const table_lock &) = delete;
  ~table_lock() { walked_.locked_ = false; }

 private:
  table &walked_;
};

}  // namespace quillet
