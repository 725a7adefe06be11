#include "dev/check/walk_state.h"

#include <algorithm>
#include <utility>

namespace quillet::dev {

namespace {

template <class thing>
const thing *find_named(const std::vector<thing> &things, std::string_view name) {
  const auto found = std::find_if(things.begin(), things.end(), [&](const thing &each) { return each.name == name; });
  return found == things.end() ? nullptr : &*found;
}

template <class thing>
void put_named(std::vector<thing> &things, thing &&put) {
  const auto found =
      std::find_if(things.begin(), things.end(), [&](const thing &each) { return each.name == put.name; });
  if (found == things.end()) {
    things.push_back(std::move(put));
  } else {
    *found = std::move(put);
  }
}

template <class thing>
void remove_named(std::vector<thing> &things, std::string_view name) {
  std::erase_if(things, [&](const thing &each) { return each.name == name; });
}

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

}  // namespace

const known_variable *walk_state::variable(std::string_view name) const { return find_named(variables_, name); }
const known_table *walk_state::table(std::string_view name) const { return find_named(tables_, name); }
const known_macro *walk_state::macro(std::string_view name) const { return find_named(macros_, name); }

void walk_state::set_variable(known_variable value) { put_named(variables_, std::move(value)); }
void walk_state::remove_variable(std::string_view name) { remove_named(variables_, name); }
void walk_state::put_table(known_table made) { put_named(tables_, std::move(made)); }
void walk_state::define_macro(known_macro defined) { put_named(macros_, std::move(defined)); }
void walk_state::remove_macro(std::string_view name) { remove_named(macros_, name); }

void walk_state::forget_all() {
  variables_.clear();
  tables_.clear();
  current_table.reset();
  variables_unknown = tables_unknown = macros_unknown = true;
}

void walk_state::join(const walk_state &other) {
  for (known_variable &each : variables_) {
    const known_variable *const theirs = other.variable(each.name);
    if (theirs == nullptr) {
      join_values(each.value, {std::string(1, any_bytes), {}});
    } else {
      join_values(each.value, theirs->value);
      each.has_decimals = each.has_decimals || theirs->has_decimals;
    }
  }
  for (const known_variable &each : other.variables_) {
    if (variable(each.name) != nullptr) continue;
    known_variable joined = each;
    joined.value.text = std::string(1, any_bytes);
    variables_.push_back(std::move(joined));
  }
  for (known_table &each : tables_) {
    const known_table *const theirs = other.table(each.name);
    join_tables(each, theirs == nullptr ? known_table{} : *theirs);
  }
  for (const known_table &each : other.tables_) {
    if (table(each.name) != nullptr) continue;
    known_table joined = each;
    if (joined.presence == table_presence::present) joined.presence = table_presence::possible;
    tables_.push_back(std::move(joined));
  }
  for (const known_macro &each : other.macros_) {
    if (macro(each.name) == nullptr) macros_.push_back(each);
  }
  if (current_table != other.current_table) current_table.reset();
  variables_unknown = variables_unknown || other.variables_unknown;
  tables_unknown = tables_unknown || other.tables_unknown;
  macros_unknown = macros_unknown || other.macros_unknown;
}

}  // namespace quillet::dev
