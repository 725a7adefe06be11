#include "ops/expression.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <vector>

#include "core/quoting.h"
#include "core/variables.h"
#include "ops/number_reading.h"
#include "table/registry.h"

namespace quillet {

namespace {

// --- operators ---

enum class operation : std::uint8_t {
  multiply, divide, remainder, add, subtract, shift_left, shift_right, less, greater, less_or_equal,
  greater_or_equal, equal, not_equal, bit_and, bit_xor, bit_or, logical_and, logical_or,
  logical_not, complement, round, floor, ceiling, absolute, square_root, sign,
};

struct token {
  std::string_view spelling;
  operation meaning;
  int precedence;  // of an infix operator; the higher, the tighter it binds
};

constexpr int prefix = 0;  // in place of the precedence

// Tokens with the same first byte stand together, the longer ones first.
// Deliberate: a function is recognised at the front of a longer word, so that `roundup` is the
// function and the name `up`.
constexpr token tokens[] = {
    {"*", operation::multiply, 9},
    {"/", operation::divide, 9},
    {"%", operation::remainder, 9},
    {"+", operation::add, 8},
    {"-", operation::subtract, 8},
    {"<<", operation::shift_left, 7},
    {"<=", operation::less_or_equal, 6},
    {"<", operation::less, 6},
    {">>", operation::shift_right, 7},
    {">=", operation::greater_or_equal, 6},
    {">", operation::greater, 6},
    {"==", operation::equal, 6},
    {"!=", operation::not_equal, 6},
    {"!", operation::logical_not, prefix},
    {"&&", operation::logical_and, 3},
    {"&", operation::bit_and, 5},
    {"^", operation::bit_xor, 4},
    {"||", operation::logical_or, 2},
    {"|", operation::bit_or, 4},
    {"~", operation::complement, prefix},
    {"round", operation::round, prefix},
    {"floor", operation::floor, prefix},
    {"ceiling", operation::ceiling, prefix},
    {"abs", operation::absolute, prefix},
    {"sqrt", operation::square_root, prefix},
    {"sign", operation::sign, prefix},
};

// For each byte, the number of the first token that begins with it; the number of tokens for none.
constexpr std::array<std::uint8_t, 256> first_tokens = [] {
  std::array<std::uint8_t, 256> first{};
  first.fill(std::size(tokens));
  for (std::size_t i = std::size(tokens); i-- > 0;) {
    first[static_cast<unsigned char>(tokens[i].spelling.front())] = static_cast<std::uint8_t>(i);
  }
  return first;
}();

// The token at the front of a text that is not empty; null when there is none.
const token *find_token(std::string_view source) {
  for (std::size_t i = first_tokens[static_cast<unsigned char>(source.front())]; i < std::size(tokens); ++i) {
    if (tokens[i].spelling.front() != source.front()) break;
    if (source.substr(1).starts_with(tokens[i].spelling.substr(1))) return &tokens[i];
  }
  return nullptr;
}

constexpr double whole_numbers_from = 4503599627370496.0;  // 2^52; no double from here on has a fraction

double round_down(double x) {
  if (!(__builtin_fabs(x) < whole_numbers_from)) return x;
  auto whole = static_cast<double>(static_cast<long long>(x));
  if (whole > x) whole -= 1;
  return __builtin_copysign(whole, x);
}

constexpr double division_by_zero = 1e300;

double from_bits(unsigned bits) { return static_cast<int>(bits); }

double apply_integer_infix(operation meaning, int a, int b) {
  const auto bits_a = static_cast<unsigned>(a);
  const auto bits_b = static_cast<unsigned>(b);
  switch (meaning) {
    // In 64 bits, where the smallest number has a remainder by -1.
    case operation::remainder: return b == 0 ? 0 : static_cast<double>(static_cast<long long>(a) % b);
    case operation::shift_left: return from_bits(bits_a << (bits_b & 31));
    case operation::shift_right: return a >> (bits_b & 31);
    case operation::bit_and: return from_bits(bits_a & bits_b);
    case operation::bit_xor: return from_bits(bits_a ^ bits_b);
    case operation::bit_or: return from_bits(bits_a | bits_b);
    case operation::logical_and: return a != 0 && b != 0;
    default: return a != 0 || b != 0;
  }
}

double apply_infix(operation meaning, double x, double y) {
  switch (meaning) {
    case operation::multiply: return x * y;
    // Deliberate: a huge number and no error.
    case operation::divide: return y == 0 ? division_by_zero : x / y;
    case operation::add: return x + y;
    case operation::subtract: return x - y;
    case operation::less: return x < y;
    case operation::greater: return x > y;
    case operation::less_or_equal: return x <= y;
    case operation::greater_or_equal: return x >= y;
    case operation::equal: return x == y;
    case operation::not_equal: return x != y;
    default: return apply_integer_infix(meaning, truncate_to_int(x), truncate_to_int(y));
  }
}

double apply_prefix(operation meaning, double x) {
  switch (meaning) {
    case operation::logical_not: return truncate_to_int(x) == 0;
    // Deliberate: unsigned, unlike every other integer result.
    case operation::complement: return ~static_cast<unsigned>(truncate_to_int(x));
    case operation::round: return round_down(x + 0.5);
    case operation::floor: return round_down(x);
    case operation::ceiling: return -round_down(-x);
    case operation::absolute: return __builtin_fabs(x);
    case operation::sign: return (x > 0) - (x < 0);
    // Deliberate: `sqrt` is known, and always 0.
    default: return 0;
  }
}

// --- names ---

bool is_name_start(char c) { return is_letter(c) || c == '_' || c == ':'; }
bool is_name_byte(char c) { return is_name_start(c) || is_digit(c); }

// A result as long as only its status and its value are known.
struct outcome {
  expression_status status = expression_status::ok;
  double value = 0;
};

// A value that a name stands for is read as a number, once, whatever follows the number.
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
  bool value_read;          // some value was read here; then "+" and "-" are no signs
  const token *pending;     // the infix operator that waits for its right side
  const token *operand_of;  // for a single operand, the operator that it belongs to
  double left;              // the left side of `pending`
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

  // Reads what stands next.
  void step() {
    const char c = rest_.front();
    if (c == ')' && level_.end == ending::parenthesis) {
      close_group();
    } else if (c == '(') {
      rest_.remove_prefix(1);
      if (level_.has_value) return fail(expression_status::syntax_error);
      enter_level(ending::parenthesis, nullptr);
    } else if (!step_over_number()) {
      if (const token *found = find_token(rest_); found != nullptr) {
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
    const auto *end = std::find_if_not(rest_.begin(), rest_.end(), is_name_byte);
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    const outcome read = read_name(rest_.substr(0, length));
    rest_.remove_prefix(length);
    if (read.status != expression_status::ok) return fail(read.status);
    take_value(read.value);
  }

  // Deliberate: there is one place for an operator that waits. An operator that binds tighter than the
  // waiting one takes the value before it and the single operand behind it at once, so that
  // `1<2+3*4` is `1<((2+3)*4)`.
  void take_operator(const token &found) {
    if (found.precedence == prefix) return enter_level(ending::operand, &found);
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

  void enter_level(ending end, const token *operand_of) {
    outer_.push(level_);
    level_ = {};
    level_.end = end;
    level_.operand_of = operand_of;
  }

  // Hands the level's result to the one around it.
  void leave_level() {
    const token *operand_of = level_.operand_of;
    const double result = total();
    level_ = outer_.pop();
    if (operand_of == nullptr) {
      take_value(result);
    } else if (operand_of->precedence == prefix) {
      take_value(apply_prefix(operand_of->meaning, result));
    } else {
      take_value(apply_infix(operand_of->meaning, level_.value, result));
    }
  }

  [[nodiscard]] bool lacks_operand() const { return level_.pending != nullptr && !level_.has_value; }

  // What the level has come to; 0 when it is empty.
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
    "OK",
    "Syntax error",
    "Missing ')'",
    "Variable has string value",
    "Bad variable or table item name",
};

}  // namespace

int truncate_to_int(double value) {
  return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int>(value) : INT_MIN;
}

expression_result evaluate_expression(std::string_view expression) { return expression_evaluator(expression).run(); }

std::string_view without_white_space(std::string_view source, text &storage) {
  if (std::none_of(source.begin(), source.end(), is_white_space)) return source;
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
