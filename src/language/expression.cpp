#include "language/expression.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "core/quoting.h"
#include "core/variables.h"
#include "language/expression_operations.h"
#include "language/number_reading.h"
#include "table/registry.h"

namespace quillet {

namespace {

// --- names ---

constexpr bool is_name_start(char c) { return is_letter(c) || c == '_' || c == ':'; }

constexpr std::array<bool, 256> name_bytes = [] {
  std::array<bool, 256> belongs{};
  for (std::size_t i = 0; i < belongs.size(); ++i) {
    const char c = static_cast<char>(i);
    belongs[i] = is_name_start(c) || is_digit(c);
  }
  return belongs;
}();

bool is_name_byte(char c) { return name_bytes[static_cast<unsigned char>(c)]; }

// A result as long as only its status and its value are known.
struct outcome {
  expression_status status = expression_status::ok;
  double value = 0;
};

// A value that a name refers to is read as a number, once, whatever follows the number.
outcome parse_value(std::string_view value) {
  const number_reading number = read_number(value);
  if (number.length == 0) return {expression_status::string_value};
  return {expression_status::ok, number.value};
}

// `table::column`, or a column of the current table.
outcome read_table_item(std::string_view name) {
  std::string_view table_name = name;
  std::string_view column = cut_at_text(table_name, "::");
  if (column.data() == nullptr) {
    column = name;
    table_name = {};
  }
  table *const source = table_name.empty() ? current_table() : find_table(table_name);
  if (source == nullptr) return {expression_status::bad_name};
  const std::string_view item = source->item(column);
  if (item.empty()) return {expression_status::syntax_error};
  text quoted;
  quote(item, false, quoted);
  return parse_value(quoted);
}

outcome read_name(std::string_view name) {
  if (name.size() > longest_expression_name) return {expression_status::bad_name};
  const std::string_view value = variable_get(name);
  return value.data() != nullptr ? parse_value(value) : read_table_item(name);
}

// --- the evaluator ---

// What ends a level.
enum class ending : std::uint8_t {
  text_end,     // the expression itself
  parenthesis,  // a group
  operand,      // a single operand: the first value
};

// One level of nesting: the expression, a group, or the single operand of an operator.
struct level {
  ending end;
  bool has_value;
  bool value_read;                     // some value was read here; then "+" and "-" are no signs
  const expression_token *pending;     // the infix operator that waits for its right side
  const expression_token *operand_of;  // for a single operand, the operator that it belongs to
  double left;                         // the left side of `pending`
  double value;
};

// The levels around the current one. A few of them, as expressions have, need no heap.
class outer_levels {
 public:
  void push(const level &outer) {
    if (count_ < near_.size()) {
      near_[count_] = outer;
    } else {
      far_.push_back(outer);
    }
    ++count_;
  }
  level pop() {
    if (--count_ < near_.size()) return near_[count_];
    const level outer = far_.back();
    far_.pop_back();
    return outer;
  }

 private:
  std::size_t count_ = 0;
  std::array<level, 8> near_;  // the first `count_` mean something
  std::vector<level> far_;
};

// One pass over an expression. Nested levels are kept on a stack of their own, so that no depth of
// parentheses or prefix operators is too deep.
class expression_evaluator {
 public:
  explicit expression_evaluator(std::string_view expression) : rest_(expression) {}

  expression_result run() {
    while (status_ == expression_status::ok) {
      if (level_.end == ending::operand && level_.has_value) {
        leave_level();
      } else if (rest_.empty()) {
        if (end_of_text()) return {total(), status_, {}};
      } else {
        step();
      }
    }
    return {0, status_, rest_};
  }

 private:
  // Whether the expression is complete.
  bool end_of_text() {
    if (level_.end == ending::parenthesis) {
      status_ = expression_status::missing_parenthesis;
    } else if (level_.end == ending::operand || lacks_operand()) {
      status_ = expression_status::syntax_error;
    }
    return status_ == expression_status::ok;
  }

  // Reads the next token.
  void step() {
    const char c = rest_.front();
    if (c == ')' && level_.end == ending::parenthesis) {
      close_group();
    } else if (c == '(') {
      rest_.remove_prefix(1);
      if (level_.has_value) return fail(expression_status::syntax_error);
      enter_level(ending::parenthesis, nullptr);
    } else if (!step_over_number()) {
      if (const expression_token *found = find_expression_token(rest_); found != nullptr) {
        rest_.remove_prefix(found->spelling.size());
        take_operator(*found);
      } else {
        step_over_name();
      }
    }
  }

  void close_group() {
    if (lacks_operand()) return fail(expression_status::syntax_error);
    rest_.remove_prefix(1);
    leave_level();
  }

  bool step_over_number() {
    const char c = rest_.front();
    // Deliberate: a sign belongs to a number only while no value was read at this level.
    const bool sign = c == '+' || c == '-';
    if (!is_digit(c) && c != '.' && !(sign && !level_.value_read)) return false;
    const number_reading number = read_number(rest_);
    if (number.length == 0) return false;
    rest_.remove_prefix(number.length);
    // Deliberate: it replaces a value that is there already, so that `0.5`, read as `0` and `.5`, is 0.5.
    take_value(number.value);
    return true;
  }

  void step_over_name() {
    if (!is_name_start(rest_.front())) {
      rest_.remove_prefix(1);
      return fail(expression_status::syntax_error);
    }
    std::size_t length = 1;
    while (length < rest_.size() && is_name_byte(rest_[length])) ++length;
    const outcome read = read_name(rest_.substr(0, length));
    rest_.remove_prefix(length);
    if (read.status != expression_status::ok) return fail(read.status);
    take_value(read.value);
  }

  // Deliberate: there is one place for an operator that waits. An operator of higher precedence than the
  // waiting one takes the value before it and the single operand after it at once, so that
  // `1<2+3*4` is `1<((2+3)*4)`.
  void take_operator(const expression_token &found) {
    if (found.precedence == prefix_operator) return enter_level(ending::operand, &found);
    if (!level_.has_value) return fail(expression_status::syntax_error);
    if (level_.pending != nullptr && level_.pending->precedence < found.precedence) {
      return enter_level(ending::operand, &found);
    }
    level_.left = total();
    level_.pending = &found;
    level_.has_value = false;
  }

  void take_value(double value) {
    level_.value = value;
    level_.has_value = level_.value_read = true;
  }

  void enter_level(ending end, const expression_token *operand_of) {
    outer_.push(level_);
    level_ = {};
    level_.end = end;
    level_.operand_of = operand_of;
  }

  // Hands the level's result to the one around it.
  void leave_level() {
    const expression_token *operand_of = level_.operand_of;
    const double result = total();
    level_ = outer_.pop();
    if (operand_of == nullptr) {
      take_value(result);
    } else if (operand_of->precedence == prefix_operator) {
      take_value(apply_prefix(operand_of->meaning, result));
    } else {
      take_value(apply_infix(operand_of->meaning, level_.value, result));
    }
  }

  [[nodiscard]] bool lacks_operand() const { return level_.pending != nullptr && !level_.has_value; }

  // The value of the level; 0 when it is empty.
  [[nodiscard]] double total() const {
    return level_.pending == nullptr ? level_.value : apply_infix(level_.pending->meaning, level_.left, level_.value);
  }

  void fail(expression_status status) { status_ = status; }

  std::string_view rest_;
  expression_status status_ = expression_status::ok;
  level level_{};
  outer_levels outer_;
};

constexpr std::string_view messages[] = {
    "OK", "Syntax error", "Missing ')'", "Variable has string value", "Bad variable or table item name",
};

}  // namespace

expression_result evaluate_expression(std::string_view expression) { return expression_evaluator(expression).run(); }

std::string_view without_white_space(std::string_view source, text &storage) {
  // Other control bytes are rare enough to take the long way too.
  const auto may_be_white = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
  if (std::none_of(source.begin(), source.end(), may_be_white)) return source;
  storage = text(source);
  remove_white_space(storage);
  return storage;
}

void append_expression_error(text &out, std::string_view operator_name, const expression_result &failure) {
  out.append('[');
  out.append(operator_name);
  out.append(": ");
  out.append(messages[static_cast<std::size_t>(failure.status)]);
  out.append(" near '");
  out.append(failure.rest);
  out.append("']");
}

}  // namespace quillet
