// Following a page: tables, how they are made, read, and walked.
#include <algorithm>
#include <utility>

#include "cgi/file_names.h"
#include "core/file.h"
#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/near_name.h"
#include "dev/check/page_walk.h"
#include "dev/check/walk_cells.h"
#include "dev/check/walk_scopes.h"

namespace quillet::dev {

namespace {

// As far as it matters to a table whose columns have no names; nothing is 0.
bool is_number(std::string_view column) {
  if (column.starts_with('-')) column.remove_prefix(1);
  return column.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string_view near_column(const known_table &from, std::string_view column) {
  if (from.columns == nullptr) return {};
  const std::vector<std::string_view> names(from.columns->begin(), from.columns->end());
  return find_near_name(column, names);
}

std::string shown_table(const std::string &name) {
  return name.empty() ? "current table" : "table " + shown_name(name);
}

}  // namespace

// The table of that name. Where nothing can have made it, and nobody asks for that, reading it is a mistake.
const known_table *page_walk::read_table(const std::optional<std::string> &name, const call &each, const frame &in) {
  if (!name) return nullptr;
  const known_table *const found = state_->tables.find(*name);
  if (found != nullptr && found->presence != table_presence::absent) return found;
  if (state_->tables_unknown || guards_ > 0) return nullptr;
  std::vector<std::string_view> names;
  for (const auto &known : state_->tables) names.push_back(known->name);
  walk_finding missing{.rule = "name-table",
                       .file = in.file,
                       .part = {each.caret(), each.name.end},
                       .message = describe_missing_table(*name) + ask_for_near_name(*name, names),
                       .table = *name};
  replace(missing, each, *name, find_near_name(*name, names));
  report(std::move(missing));
  // One mistake is enough.
  known_table missed = possible_table();
  missed.name = *name;
  state_.change().tables.put(std::move(missed));
  return nullptr;
}

std::string page_walk::describe_missing_table(const std::string &name) {
  if (name.empty()) return "no table is made before this reads it";
  return "nothing makes the table " + shown_name(name) + " before it is read here";
}

// The current table is replaced, or gone.
void page_walk::make_table(known_table made, const call &each, const frame &in) {
  change_table(each, in, "replaces");
  if (!state_->current_table) {
    state_.change().tables_unknown = true;
    return;
  }
  made.name = *state_->current_table;
  state_.change().tables.put(std::move(made));
}

void page_walk::change_table(const call &each, const frame &in, std::string_view how) {
  const std::optional<std::string> &name = state_->current_table;
  if (!name || std::find(walked_.begin(), walked_.end(), *name) == walked_.end()) return;
  report("walk-change", each, in,
         std::string(in.file->text(each.name)) + " " + std::string(how) + " the " + shown_table(*name) +
             " while its rows are walked; use a context of its own");
}

std::string page_walk::describe_missing_column(const known_table &from, std::string_view column) {
  if (!from.is_named)
    return "the columns of the " + shown_table(from.name) + " have no names; its cells have numbers from 0";
  const std::string near(near_column(from, column));
  return "the " + shown_table(from.name) + " has no column " + shown_name(column) +
         (near.empty() ? "" : "; did you mean " + near + "?");
}

void page_walk::check_column(const known_table *from, const walk_value &column, const call &each, std::size_t index,
                             const frame &in) {
  if (from == nullptr || !from->is_shape_known) return;
  if (!column.is_known() || !column.visitors.empty() || column_of(*from, column.text)) return;
  if (!from->is_named && is_number(column.text)) return;
  walk_finding missing{.rule = "name-column",
                       .file = in.file,
                       .part = each.parameters[index].range,
                       .message = describe_missing_column(*from, column.text),
                       .data = from->data};
  replace(missing, each, column.text, near_column(*from, column.text));
  report(std::move(missing));
}

void page_walk::on_context(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  check_name(name, "table", each, in);
  const std::optional<std::string> before = state_->current_table;
  state_.change().current_table = name.is_known() ? std::optional(name.text) : std::nullopt;
  if (each.parameters.size() < 2) return;
  evaluate(each.parameters[1], in, out);
  if (state_->current_table != before) state_.change().current_table = before;
}

void page_walk::missing_data_file(const std::string &name, const call &each, const frame &in) {
  if (guards_ > 0) return;
  const std::string file(underscore_path(name).view());
  report({.rule = "name-file",
          .file = in.file,
          .part = {each.caret(), each.name.end},
          .message = "there is no data file " + file + " in the page's folder or above it",
          .table = state_->current_table.value_or(""),
          .paths = paths_upward(file)});
}

void page_walk::on_load(const call &each, const frame &in, walk_output &) {
  const std::vector<walk_value> values = values_of(each, in);
  const walk_value &name = values.back();
  check_name(name, "file", each, in);
  if (!name.is_known()) return make_table(possible_table(), each, in);
  const document *const data = in_.files.find_data(*page_.page, name.text);
  if (data == nullptr) {
    missing_data_file(name.text, each, in);
    return make_table(possible_table(), each, in);
  }
  known_table made = plain_table();
  if (values.size() > 1) {
    auto &columns = memory_.columns[data];
    if (columns == nullptr) columns = share_columns(column_names(data->text()));
    made = named_table(columns);
  }
  made.data = data;
  make_table(std::move(made), each, in);
}

void page_walk::on_config(const call &each, const frame &in, walk_output &) {
  std::vector<walk_value> values;
  {
    const number_scope cells(quoting_, quoting_config);
    values = values_of(each, in);
  }
  const std::string &word = values[0].text;
  const bool alone = values.size() == 1;
  known_table made = plain_table();
  for (const walk_value &value : values) {
    made.visitors.insert(made.visitors.end(), value.visitors.begin(), value.visitors.end());
  }
  if (alone && word != "remove") return make_table(std::move(made), each, in);
  if (word == "named") {
    text lines(values.back().text);
    filter_lines(lines, true);
    const std::string_view header = lines.view().substr(0, lines.view().find('\n'));
    made = named_table(share_columns(column_names(header)));
    made.is_shape_known = header.find(any_bytes) == std::string_view::npos;
    return make_table(std::move(made), each, in);
  }
  if (!values[0].is_known()) return make_table(possible_table(), each, in);
  if (word == "join" && values.size() > 1) {
    check_name(values[1], "table", each, in);
    if (values[1].is_known()) static_cast<void>(read_table(values[1].text, each, in));
  }
  change_table(each, in, "changes");
  if (!state_->current_table) return;
  const known_table *const before = state_->tables.find(*state_->current_table);
  if (before != nullptr) {
    // The rows are others than those of the file now.
    known_table changed = *before;
    changed.data = nullptr;
    if (changed.presence == table_presence::absent) changed = made;
    if (changed.presence == table_presence::possible) changed.is_shape_known = false;
    made = std::move(changed);
  }
  // Another word is a mistake of its own.
  const bool is_change = word == "append" || word == "insert" || word == "join" || word == "remove";
  if (!is_change) made.is_shape_known = false;
  made.presence = table_presence::present;
  made.name = *state_->current_table;
  state_.change().tables.put(std::move(made));
}

void page_walk::on_item(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  const std::size_t last = values.size() - 1;
  const bool has_step = last > 0 && (values[0].is("prev") || values[0].is("next"));
  std::optional<std::string> name = state_->current_table;
  if (last > 0 && !has_step) {
    check_name(values[0], "table", each, in);
    name = values[0].is_known() ? std::optional(values[0].text) : std::nullopt;
  }
  check_name(values[last], "column", each, in);
  const known_table *const from = read_table(name, each, in);
  const bool is_count = values[last].is("current") || values[last].is("number") || values[last].is("count");
  if (!is_count || has_step) check_column(from, values[last], each, last, in);
  walk_value cell;
  cell.add_unknown();
  if (from != nullptr && !is_count) {
    for (const visitor_part &part : from->visitors) {
      cell.visitors.push_back({part.source, in.file, {each.caret(), each.name.end}, quoting_});
    }
  }
  put(cell, out);
}

void page_walk::on_locate(const call &each, const frame &in, walk_output &) {
  const std::vector<walk_value> values = values_of(each, in);
  if (values.size() != 2) return;
  check_name(values[0], "column", each, in);
  check_column(read_table(state_->current_table, each, in), values[0], each, 0, in);
}

void page_walk::on_shift(const call &each, const frame &in, walk_output &) {
  values_of(each, in);
  static_cast<void>(read_table(state_->current_table, each, in));
}

void page_walk::on_empty(const call &each, const frame &in, walk_output &out) {
  if (state_->current_table) {
    asked_tables_.insert(*state_->current_table);
  } else {
    asks_any_table_ = true;
  }
  choose(each, 0, 2, in, out);
}

void page_walk::on_flip(const call &each, const frame &in, walk_output &) {
  walk_value name;
  if (each.parameters.size() != 1) return;
  const std::string_view written = in.file->text(each.parameters[0].range);
  // The name is not evaluated; a reference is put in all the same.
  name = written.find('$') == std::string_view::npos || in.called == nullptr ? walk_value{std::string(written), {}}
                                                                             : value_of(each, 0, in);
  known_table made = plain_table();
  if (name.is_known()) {
    const known_table *const from = read_table(name.text, each, in);
    if (from != nullptr) made.visitors = from->visitors;
  }
  make_table(std::move(made), each, in);
}

void page_walk::on_sort(const call &each, const frame &in, walk_output &) {
  if (each.parameters.size() != 2) return;
  value_of(each, 1, in);
  static_cast<void>(read_table(state_->current_table, each, in));
  change_table(each, in, "sorts");
  walk_output key(walk_output::kind::value);
  loop(nullptr, each.parameters[0], in, key);
}

void page_walk::on_menu(const call &each, const frame &in, walk_output &out) {
  value_of(each, 1, in);
  walk_rows(each, each.parameters[0], in, out);
}

void page_walk::on_table(const call &each, const frame &in, walk_output &out) {
  value_of(each, 0, in);
  value_of(each, 2, in);
  if (each.parameters.size() > 1) walk_rows(each, each.parameters[1], in, out);
}

void page_walk::walk_rows(const call &each, const template_text &body, const frame &in, walk_output &out) {
  static_cast<void>(read_table(state_->current_table, each, in));
  change_table(each, in, "walks");
  // Without a name nothing is known of what the body does to the table.
  walked_.push_back(state_->current_table ? *state_->current_table : std::string(1, any_bytes));
  loop(nullptr, body, in, out);
  walked_.pop_back();
}

}  // namespace quillet::dev
