// Following a page: regular expressions.
#include <algorithm>
#include <utility>

#include "core/quoting.h"
#include "dev/check/page_walk.h"
#include "dev/check/walk_scopes.h"
#include "language/match.h"

namespace quillet::dev {

namespace {

// Whether a text that matches is one that the page's author has thought of: an end of it is fixed, or what it may
// not hold is named.
bool is_check(const walk_value &expression) {
  if (!expression.is_known()) return expression.visitors.empty();
  return expression.text.starts_with('^') || expression.text.ends_with('$') ||
         expression.text.find("[^") != std::string::npos;
}

known_table match_table(std::size_t groups) {
  std::vector<std::string> names{"match"};
  for (std::size_t i = 1; i <= groups; ++i) names.push_back("\\" + std::to_string(i));
  names.insert(names.end(), {"prematch", "postmatch"});
  return named_table(share_columns(std::move(names)));
}

}  // namespace

std::shared_ptr<const regular_expression> page_walk::compiled(const walk_value &expression, const walk_value &options) {
  if (!expression.is_known() || !options.is_known() || expression.text.empty()) return nullptr;
  auto &known = memory_.expressions[{expression.text, options.text}];
  if (known == nullptr) known = compile_match(expression.text, options.text);
  return known;
}

void page_walk::on_match(const call &each, const frame &in, walk_output &out) {
  const std::size_t count = each.parameters.size();
  if (count < 2) return;
  walk_value expression;
  walk_value options;
  {
    const number_scope plain(quoting_, quoting_none);
    expression = value_of(each, 0, in);
    if (count > 2) options = value_of(each, 1, in);
  }
  check_pattern(expression, each, in);
  const auto compiled_expression = compiled(expression, options);
  if (count == 4) return replace_matches(each, expression, compiled_expression.get(), in, out);
  walk_value subject;
  {
    const number_scope plain(quoting_, quoting_none);
    subject = value_of(each, count - 1, in);
  }
  if (is_check(expression)) note_checked(subject);
  out.unknown();
  if (compiled_expression != nullptr &&
      (compiled_expression->error() != 0 || compiled_expression->group_count() == 0)) {
    return;
  }
  known_table made = compiled_expression == nullptr ? known_table() : match_table(compiled_expression->group_count());
  made.presence = table_presence::possible;
  if (compiled_expression == nullptr) {
    // Perhaps there are no groups, and what was there stays.
    if (state_->current_table) {
      made.name = *state_->current_table;
      state_.change().tables.put(std::move(made));
    }
    return;
  }
  if (!is_check(expression)) made.visitors = subject.visitors;
  make_table(std::move(made), each, in);
}

void page_walk::replace_matches(const call &each, const walk_value &expression, const regular_expression *compiled,
                                const frame &in, walk_output &out) {
  const walk_value subject = value_of(each, 3, in);
  const std::optional<std::string> before = state_->current_table;
  walk_state &state = state_.change();
  state.current_table = "match";
  known_table made =
      compiled != nullptr && compiled->error() == 0 ? match_table(compiled->group_count()) : known_table();
  made.name = "match";
  if (compiled == nullptr) made.presence = table_presence::possible;
  if (!is_check(expression)) made.visitors = subject.visitors;
  state.tables.put(std::move(made));
  walk_output replaced(walk_output::kind::value);
  loop(nullptr, each.parameters[2], in, replaced);
  if (state_->current_table != before) state_.change().current_table = before;
  walk_value result;
  result.add_unknown();
  if (!is_check(expression)) result.add_visitors(subject.visitors);
  result.add_visitors(replaced.value.visitors);
  put(result, out);
}

}  // namespace quillet::dev
