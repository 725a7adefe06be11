// Following a page: operators that make tables of their own kind.
#include <algorithm>
#include <utility>

#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/page_walk.h"
#include "dev/check/walk_scopes.h"

namespace quillet::dev {

void page_walk::on_split(const call &each, const frame &in, walk_output &) {
  const number_scope cells(quoting_, quoting_config);
  known_table made = plain_table();
  for (const walk_value &value : values_of(each, in)) {
    made.visitors.insert(made.visitors.end(), value.visitors.begin(), value.visitors.end());
  }
  make_table(std::move(made), each, in);
}

void page_walk::on_date_table(const call &each, const frame &in, walk_output &out) {
  static const auto columns = share_columns({"year", "month", "day", "hour", "min"});
  values_of(each, in);
  if (in.file->text(each.name) == "dateoffset") {
    const known_table *const from = read_table(state_->current_table, each, in);
    if (from == nullptr) return;
  }
  make_table(named_table(columns), each, in);
  if (out.to == walk_output::kind::value) out.unknown();
}

void page_walk::on_calendar(const call &each, const frame &in, walk_output &out) {
  static const auto columns = share_columns({"year", "month", "day", "weekday"});
  const walk_value mode = value_of(each, 0, in);
  values_of(each, in);
  if (!mode.is_known()) {
    make_table(possible_table(), each, in);
  } else if (mode.text.starts_with("week")) {
    make_table(named_table(columns), each, in);
  } else if (mode.text.starts_with("month")) {
    make_table(plain_table(), each, in);
  }
  if (out.to == walk_output::kind::value) out.unknown();
}

void page_walk::on_sql(const call &each, const frame &in, walk_output &out) {
  const number_scope statements(quoting_, quoting_sql);
  walk_output statement(walk_output::kind::statement);
  if (!each.parameters.empty()) evaluate(each.parameters[0], in, statement);
  for (const std::size_t i : {1UL, 2UL}) value_of(each, i, in);
  out.unknown();
  std::string_view words = statement.value.text;
  words.remove_prefix(std::min(words.find_first_not_of(" \t\r\n"), words.size()));
  text verb(words.substr(0, words.find_first_of(" \t\r\n(")));
  for (std::size_t i = 0; i < verb.size(); ++i) verb.data()[i] = lower_char(verb.data()[i]);
  for (const std::string_view silent : {"insert", "update", "delete", "replace", "set", "create", "drop"}) {
    if (verb.view() == silent) return;
  }
  make_table(possible_table(), each, in);
}

void page_walk::on_threads(const call &each, const frame &in, walk_output &) {
  const std::vector<walk_value> values = values_of(each, in);
  if (values.size() != 2) return;
  check_name(values[1], "table", each, in);
  if (values[1].is_known()) static_cast<void>(read_table(values[1].text, each, in));
  make_table(possible_table(), each, in);
}

}  // namespace quillet::dev
