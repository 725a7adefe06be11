// The table registry: every table of the request by name, and which of them is current.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "core/keyed_hash.h"
#include "table/table.h"

namespace quillet {

// Tables by name. It shares its tables with operators that work on one while template text is evaluated, which may
// replace it.
class table_array {
 public:
  // The table of that name; null when there is none.
  [[nodiscard]] table *find(std::string_view name) const;
  [[nodiscard]] table *current() const { return current_; }
  [[nodiscard]] std::shared_ptr<table> share_current() const;
  [[nodiscard]] std::size_t count() const { return tables_.size(); }
  // Stores the table under the current name.
  void put_current(std::unique_ptr<table> made);
  void remove_current();

  [[nodiscard]] std::string_view current_name() const { return current_name_; }
  void set_current_name(std::string_view name);

 private:
  // A key is a view of the table's name.
  std::unordered_map<std::string_view, std::shared_ptr<table>, keyed_hasher> tables_;
  text current_name_;
  table *current_ = nullptr;  // the table of that name
};

// The table of that name; null when there is none.
[[nodiscard]] table *find_table(std::string_view name);

// The table under the current name; null when there is none.
[[nodiscard]] table *current_table();

// The same, kept alive by the result even when the table is replaced.
[[nodiscard]] std::shared_ptr<table> share_current_table();

// Stores the table under the current name, in place of the one that had it. Throws `lock_violation`
// when that one is being walked; the walk's operator catches it.
void put_table(std::unique_ptr<table> made);

// Removes the table under the current name; a table that is being walked throws the same.
void remove_current_table();

[[nodiscard]] std::string_view current_table_name();
void set_current_table_name(std::string_view name);

// Removes them all and gives the current name its beginning back, none. No table may be walked.
void forget_tables();

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
