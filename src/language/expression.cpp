#include "language/expression.h"

#include <algorithm>

#include "core/onlooker.h"
#include "core/quoting.h"
#include "core/variables.h"
#include "language/expression_arithmetic.h"
#include "language/expression_reader.h"
#include "language/number_reading.h"
#include "table/registry.h"

namespace quillet {

namespace {

// A value that a name refers to is read as a number, once, whatever follows the number.
expression_status parse_value(std::string_view source, double &value) {
  const number_reading number = read_number(source);
  if (number.length == 0) return expression_status::string_value;
  value = number.value;
  return expression_status::ok;
}

// `table::column`, or a column of the current table.
expression_status read_table_item(std::string_view name, double &value) {
  std::string_view table_name = name;
  std::string_view column = cut_at_text(table_name, "::");
  if (column.data() == nullptr) {
    column = name;
    table_name = {};
  }
  table *const source = table_name.empty() ? current_table() : find_table(table_name);
  if (source == nullptr) return expression_status::bad_name;
  const std::string_view item = source->item(column);
  if (item.empty()) return expression_status::syntax_error;
  text quoted;
  quote(item, false, quoted);
  return parse_value(quoted, value);
}

// Computes at once.
struct calculator {
  using value = double;
  static double number(double number, std::string_view) { return number; }
  static expression_status name(std::string_view name, double &value) { return read_expression_name(name, value); }
  static double infix(operation meaning, double x, double y) { return apply_infix(meaning, x, y); }
  static double prefix(operation meaning, double x) { return apply_prefix(meaning, x); }
  static void replaced() {}
};

constexpr std::string_view messages[] = {
    "OK", "Syntax error", "Missing ')'", "Variable has string value", "Bad variable or table item name",
};

}  // namespace

expression_status read_expression_name(std::string_view name, double &value) {
  if (name.size() > longest_expression_name) return expression_status::bad_name;
  const std::string_view source = variable_get(name);
  return source.data() != nullptr ? parse_value(source, value) : read_table_item(name, value);
}

expression_result evaluate_expression(std::string_view expression) {
  calculator calculator;
  const auto read = expression_reader(expression, calculator).run();
  return {read.result, read.status, read.rest};
}

std::string_view without_white_space(std::string_view source, text &storage) {
  // Other control bytes are rare enough to take the long way too.
  const auto may_be_white = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
  if (std::none_of(source.begin(), source.end(), may_be_white)) return source;
  storage = text(source);
  remove_white_space(storage);
  return storage;
}

void append_expression_error(text &out, std::string_view operator_name, const expression_result &failure) {
  const std::size_t start = out.size();
  out.append('[');
  out.append(operator_name);
  out.append(": ");
  out.append(messages[static_cast<std::size_t>(failure.status)]);
  out.append(" near '");
  out.append(failure.rest);
  out.append("']");
  tell_message(out.view().substr(start));
}

bool compute_expression(std::string_view operator_name, std::string_view expression, double &value, text &out) {
  text storage;
  const expression_result result = evaluate_expression(without_white_space(expression, storage));
  if (result.status != expression_status::ok) {
    append_expression_error(out, operator_name, result);
    return false;
  }
  value = result.value;
  return true;
}

}  // namespace quillet
