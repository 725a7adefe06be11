// Following a page: variables, and the names in expressions.
#include <algorithm>
#include <utility>

#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/expression_text.h"
#include "dev/check/expressions_of_call.h"
#include "dev/check/near_name.h"
#include "dev/check/page_walk.h"
#include "dev/check/walk_cells.h"
#include "dev/check/walk_scopes.h"
#include "language/expression_reader.h"
#include "language/number_format.h"

namespace quillet::dev {

namespace {

// Collects the names of an expression, and which of them are asked for equality.
struct name_reading {
  using value = std::string_view;  // of a name alone
  std::vector<std::string_view> names;
  std::vector<std::string_view> compared;

  static value number(double, std::string_view) { return {}; }
  expression_status name(std::string_view name, value &read) {
    names.push_back(name);
    read = name;
    return expression_status::ok;
  }
  value infix(operation meaning, const value &x, const value &y) {
    if (meaning == operation::equal || meaning == operation::not_equal) {
      for (const value &side : {x, y}) {
        if (!side.empty()) compared.push_back(side);
      }
    }
    return {};
  }
  static value prefix(operation, const value &) { return {}; }
  static void replaced() {}
};

// A quoted text at one side of a comparison; npos for none.
std::size_t find_quoted_text(std::string_view expression) {
  for (std::size_t i = 0; i < expression.size(); ++i) {
    if (expression[i] != '"' && expression[i] != '\'') continue;
    const std::string_view before = expression.substr(0, i);
    const std::string_view after = expression.substr(i + 1);
    for (const std::string_view sign : {"==", "!="}) {
      if (before.ends_with(sign) || after.starts_with(sign)) return i;
    }
  }
  return std::string_view::npos;
}

std::string describe_misread(const std::string &name, const std::string &value, const std::string &taken) {
  return "by its name " + name + ", \"" + value + "\", is read as " + taken + "; write ^var[" + name + "]";
}

bool is_computed_operation(std::string_view operation) {
  return operation.size() == 1 && std::string_view("+-*/").find(operation.front()) != std::string_view::npos;
}

}  // namespace

void page_walk::set_variable(const walk_value &name, known_variable value) {
  if (!name.is_known()) {
    state_.change().variables_unknown = true;
    return;
  }
  set_variables_.insert(name.text);
  value.name = name.text;
  state_.change().variables.put(std::move(value));
}

void page_walk::read_variable(const call &each, const frame &in, walk_output &out) {
  walk_value name;
  {
    const number_scope plain(quoting_, quoting_none);
    name = value_of(each, 0, in);
  }
  check_name(name, "variable", each, in);
  walk_value value;
  const known_variable *const read = name.is_known() ? state_->variables.find(name.text) : nullptr;
  if (read == nullptr) {
    value.add_unknown();
    return put(value, out);
  }
  // What the mode would change is not followed.
  value.text = read->value.text;
  if (value.text.find_first_of("\t\n\r\"'<>\\") != std::string::npos) value.text = any_bytes;
  for (const visitor_part &part : read->value.visitors) {
    value.visitors.push_back({part.source, in.file, {each.caret(), each.name.end}, quoting_});
  }
  put(value, out);
}

void page_walk::on_var(const call &each, const frame &in, walk_output &out) {
  if (each.parameters.size() == 1) return read_variable(each, in, out);
  const number_scope plain(quoting_, quoting_none);
  const std::vector<walk_value> values = values_of(each, in);
  known_variable set;
  if (values.size() == 2) {
    set.value = values[1];
  } else if (values[1].is(".")) {
    const known_variable *const before = values[0].is_known() ? state_->variables.find(values[0].text) : nullptr;
    if (before != nullptr) set.value = before->value;
    if (before == nullptr && state_->variables_unknown) set.value.add_unknown();
    set.value.text += values[2].text;
    set.value.add_visitors(values[2].visitors);
  } else {
    set.value.add_unknown();
    if (values[1].is("+")) check_whole_addition(each, values[2], in);
    if (values[1].is_known() && !is_computed_operation(values[1].text)) {
      check_expression(each.parameters[2], in);
      const char letter = conversion_letter(values[1].text);
      set.has_decimals = letter != '\0' && find_integer_letter(values[1].text) == std::string::npos &&
                         std::string_view("fF").find(letter) != std::string_view::npos &&
                         values[1].text.find(".0") == std::string::npos;
    }
  }
  set_variable(values[0], std::move(set));
}

void page_walk::on_eval(const call &each, const frame &in, walk_output &out) {
  values_of(each, in);
  check_expression(each.parameters[0], in);
  out.unknown();
}

// "+" drops fractions, those of both numbers.
void page_walk::check_whole_addition(const call &each, const walk_value &operand, const frame &in) {
  std::string fraction;
  const template_text &written = each.parameters[2];
  if (operand.is_known() && has_fraction(operand.text)) fraction = "\"" + operand.text + "\"";
  const call *const only = written.calls.size() == 1 && written.literals.empty() ? &written.calls[0] : nullptr;
  if (fraction.empty() && only != nullptr && in.file->text(only->name) == "item" && only->parameters.size() <= 2) {
    const bool is_named = only->parameters.size() == 2;
    const walk_value table = is_named ? value_of(*only, 0, in) : walk_value();
    const std::optional<std::string> name = is_named ? std::optional(table.text) : state_->current_table;
    const walk_value column = value_of(*only, only->parameters.size() - 1, in);
    const known_table *const from = name ? state_->tables.find(*name) : nullptr;
    const auto cell = from == nullptr ? std::nullopt : find_cell(*from, column.text, has_fraction);
    if (cell) fraction = "\"" + *cell + "\"";
  }
  if (fraction.empty() && only != nullptr && in.file->text(only->name) == "var" && only->parameters.size() == 1) {
    const known_variable *const read = state_->variables.find(value_of(*only, 0, in).text);
    if (read != nullptr && read->has_decimals) fraction = read->name;
  }
  if (fraction.empty()) return;
  const std::string sum(in.file->text(each.parameters[0].range));
  report({.rule = "logic-number",
          .file = in.file,
          .part = each.parameters[1].range,
          .message = "\"+\" adds whole numbers, and " + fraction + " loses its fraction; write ^var[" + sum +
                     ";%.2f;^var[" + sum + "] + " + std::string(in.file->text(written.range)) + "]"});
}

void page_walk::check_expression(const template_text &parameter, const frame &in) {
  const expression_text expression = read_expression_text(in.file->text(), parameter);
  const auto report_at = [&](std::string_view part, std::string_view rule, std::string message, std::string variable) {
    const auto begin = static_cast<std::size_t>(part.data() - expression.bytes.data());
    report({.rule = rule,
            .file = in.file,
            .part = expression.origin_of(begin, begin + part.size()),
            .message = std::move(message),
            .variable = std::move(variable)});
  };
  if (const std::size_t quoted = find_quoted_text(expression.bytes); quoted != std::string_view::npos) {
    const std::string_view bytes = expression.bytes;
    return report_at(bytes.substr(quoted, 1), "logic-word", "an expression compares numbers only, eq compares texts",
                     "");
  }
  name_reading machine;
  if (expression_reader<name_reading>(expression.bytes, machine).run().status != expression_status::ok) return;
  for (const std::string_view name : machine.names) {
    if (holds_stand_in(name)) continue;
    const std::string shown(name);
    if (const known_variable *const read = state_->variables.find(name); read != nullptr) {
      const std::optional<std::string> taken = misread_number(read->value.text);
      if (!taken || !read->value.is_known()) continue;
      report_at(name, "logic-number", describe_misread(shown, read->value.text, *taken), "");
      continue;
    }
    if (state_->variables_unknown) continue;
    const bool is_compared = std::any_of(machine.compared.begin(), machine.compared.end(),
                                         [&](std::string_view compared) { return compared.data() == name.data(); });
    check_item(name, is_compared, in, report_at);
  }
}

// A name that is no variable: a column, `table::column` or, where there can be none, a word.
void page_walk::check_item(std::string_view name, bool is_compared, const frame &, const name_reporter &report_at) {
  const std::size_t colons = name.find("::");
  const std::string_view column = colons == std::string_view::npos ? name : name.substr(colons + 2);
  const std::string shown(name);
  if (state_->tables_unknown) return;
  std::optional<std::string> table = state_->current_table;
  if (colons != std::string_view::npos && colons > 0) table = std::string(name.substr(0, colons));
  if (!table) return;
  const known_table *const from = state_->tables.find(*table);
  const bool is_absent = from == nullptr || from->presence == table_presence::absent;
  if (from != nullptr && from->presence == table_presence::possible) return;
  const bool is_column = !is_absent && (!from->is_shape_known || !from->is_named || column_of(*from, column));
  if (is_column) {
    const auto cell = find_cell(*from, column, [](std::string_view each) { return misread_number(each).has_value(); });
    if (!cell) return;
    const std::string call =
        "^item[" + (colons > 0 && colons != std::string_view::npos ? *table + ";" : "") + std::string(column) + "]";
    return report_at(name, "logic-number",
                     "by its name " + shown + ", the cell \"" + *cell + "\" is read as " + *misread_number(*cell) +
                         "; write " + call,
                     shown);
  }
  if (!is_absent && !is_compared) return report_at(name, "name-column", describe_missing_column(*from, column), shown);
  if (colons != std::string_view::npos) {
    return report_at(name, is_absent ? "name-table" : "name-column",
                     is_absent ? describe_missing_table(*table) : describe_missing_column(*from, column), shown);
  }
  std::vector<std::string_view> names;
  for (const auto &known : state_->variables) names.push_back(known->name);
  std::string advice = ask_for_near_name(name, names);
  if (advice.empty() && is_compared) advice = "; an expression compares numbers only, eq compares texts";
  report_at(name, "logic-word", shown + " is no variable and no column here" + advice, shown);
}

}  // namespace quillet::dev
