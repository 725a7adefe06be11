// The table registry: every table of the request by name, and which of them is current.
#pragma once

#include <memory>
#include <string_view>

#include "table/table.h"

namespace quillet {

// The table of that name; null when there is none.
[[nodiscard]] table *find_table(std::string_view name);

// The table under the current name; null when there is none.
[[nodiscard]] table *current_table();

// Stores the table under the current name, in place of the one that had it. Throws `lock_violation`
// when that one is being walked; the walk's operator catches it.
void put_table(std::unique_ptr<table> made);

// Removes the table under the current name; a table that is being walked throws likewise.
void remove_current_table();

[[nodiscard]] std::string_view current_table_name();
void set_current_table_name(std::string_view name);

// Another current name for a while: `context` with a body, `match` with a replacement.
class table_name_scope {
 public:
  explicit table_name_scope(std::string_view name);
  table_name_scope(const table_name_scope &) = delete;
  table_name_scope &operator=(const table_name_scope &) = delete;
  ~table_name_scope();

 private:
  text saved_;
};

}  // namespace quillet
