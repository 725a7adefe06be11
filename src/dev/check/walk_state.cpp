#include "dev/check/walk_state.h"

#include <algorithm>
#include <utility>

namespace quillet::dev {

namespace {

void join_values(walk_value &into, const walk_value &other) {
  if (into.text != other.text) into.text = std::string(1, any_bytes);
  for (const visitor_part &each : other.visitors) {
    const bool known = std::any_of(into.visitors.begin(), into.visitors.end(),
                                   [&](const visitor_part &mine) { return mine.source == each.source; });
    if (!known) into.visitors.push_back(each);
  }
}

void join_tables(known_table &into, const known_table &other) {
  if (into.presence != other.presence) {
    // The shape of the one that is there holds where there is one.
    if (into.presence == table_presence::absent) {
      const std::string name = std::move(into.name);
      into = other;
      into.name = name;
    } else if (other.presence != table_presence::absent) {
      into.is_shape_known = false;
    }
    into.presence = table_presence::possible;
    return;
  }
  if (into.is_named != other.is_named || into.columns != other.columns) into.is_shape_known = false;
  if (into.data != other.data) into.data = nullptr;
  if (into.visitors.empty()) into.visitors = other.visitors;
}

known_variable join_variables(const known_variable *a, const known_variable *b) {
  known_variable joined = a == nullptr ? *b : *a;
  if (a == nullptr || b == nullptr) {
    joined.value.text = std::string(1, any_bytes);  // or nothing
  } else {
    join_values(joined.value, b->value);
    joined.has_decimals = joined.has_decimals || b->has_decimals;
  }
  return joined;
}

}  // namespace

column_list share_columns(std::vector<std::string> names) {
  return std::make_shared<const std::vector<std::string>>(std::move(names));
}

known_table plain_table() {
  known_table made;
  made.presence = table_presence::present;
  made.is_shape_known = true;
  return made;
}

known_table named_table(column_list columns) {
  known_table made = plain_table();
  made.is_named = true;
  made.columns = std::move(columns);
  return made;
}

known_table possible_table() {
  known_table made;
  made.presence = table_presence::possible;
  return made;
}

void walk_state::forget_all() {
  variables.clear();
  tables.clear();
  current_table.reset();
  variables_unknown = tables_unknown = macros_unknown = true;
}

void walk_state::join(const walk_state &other) {
  variables.join(other.variables, join_variables);
  tables.join(other.tables, [](const known_table *a, const known_table *b) {
    known_table joined = a == nullptr ? *b : *a;
    join_tables(joined, a == nullptr || b == nullptr ? known_table{} : *b);
    return joined;
  });
  // One that only one branch defines is taken to be there.
  macros.join(other.macros, [](const known_macro *a, const known_macro *b) { return a == nullptr ? *b : *a; });
  if (current_table != other.current_table) current_table.reset();
  variables_unknown = variables_unknown || other.variables_unknown;
  tables_unknown = tables_unknown || other.tables_unknown;
  macros_unknown = macros_unknown || other.macros_unknown;
}

}  // namespace quillet::dev
