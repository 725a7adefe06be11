#include "language/prepared_expression.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "language/expression_arithmetic.h"
#include "language/expression_reader.h"

namespace quillet {

// The machine that makes the steps. A value is a constant, a variable or a hole until it is needed, then the result
// so far; results that wait for their right side are on a stack. So an operator mostly has its right side with it.
class expression_preparer {
 public:
  using source = prepared_expression::source;
  using step = prepared_expression::step;
  using action = prepared_expression::action;

  struct value {
    source from = source::constant;
    double constant = 0;
    variable *named = nullptr;
    std::size_t hole = 0;
  };

  expression_preparer(prepared_expression &made, std::string_view expression, std::span<const std::size_t> holes)
      : made_(made), expression_(expression), holes_(holes) {}

  value number(double number, std::string_view read) {
    const auto offset = static_cast<std::size_t>(read.data() - expression_.data());
    const auto found = std::find(holes_.begin(), holes_.end(), offset);
    if (found == holes_.end() || read != hole_number) return {source::constant, number};
    ++holes_read_;
    return {source::hole, 0, nullptr, static_cast<std::size_t>(found - holes_.begin())};
  }

  // Which variables there are is known when the expression is computed.
  expression_status name(std::string_view name, value &result) {
    if (name.size() > longest_expression_name) return expression_status::bad_name;
    result = {source::variable, 0, &variable_named(name)};
    return expression_status::ok;
  }

  value infix(operation meaning, const value &x, const value &y) {
    if (x.from != source::stack && y.from == source::stack) {
      add(action::reversed_infix, meaning, x);
    } else {
      if (x.from != source::stack) add(action::load, {}, x);
      add(action::infix, meaning, y);
      if (y.from == source::stack) --depth_;
    }
    return {source::stack};
  }

  value prefix(operation meaning, const value &x) {
    if (x.from != source::stack) add(action::load, {}, x);
    add(action::prefix, meaning, {});
    return {source::stack};
  }

  // What is dropped must still be a number: rare enough to be read each time.
  void replaced() { made_.must_be_read_ = true; }

  void finish(const value &result, bool is_complete) {
    if (result.from != source::stack) add(action::load, {}, result);
    if (!is_complete || holes_read_ != holes_.size() || deepest_ > prepared_expression::deepest) replaced();
  }

 private:
  void add(action what, operation meaning, const value &from) {
    step added{what, from.from, meaning, {from.constant}};
    if (from.from == source::variable) added.named = from.named;
    if (from.from == source::hole) added.hole = from.hole;
    made_.steps_.push_back(added);
    if (what == action::load) deepest_ = std::max(deepest_, ++depth_);
  }

  prepared_expression &made_;
  std::string_view expression_;
  std::span<const std::size_t> holes_;
  std::size_t holes_read_ = 0;
  std::size_t depth_ = 0;
  std::size_t deepest_ = 0;
};

prepared_expression::prepared_expression(std::string_view expression, std::span<const std::size_t> holes) {
  expression_preparer preparer(*this, expression, holes);
  const auto read = expression_reader(expression, preparer).run();
  preparer.finish(read.result, read.status == expression_status::ok);
  if (!must_be_read_) make_integer_steps();
}

// What the step does with integers; `none` when it may give something else.
prepared_expression::integer_action prepared_expression::integer_action_of(const step &of) {
  if (of.what == action::load) return integer_action::load;
  struct row {
    operation meaning;
    integer_action infix;
    integer_action reversed;
  };
  using what = integer_action;
  constexpr row rows[] = {
      {operation::add, what::add, what::add},
      {operation::subtract, what::subtract, what::subtract_from},
      {operation::multiply, what::multiply, what::multiply},
      {operation::remainder, what::remainder, what::none},
      {operation::less, what::less, what::greater},
      {operation::greater, what::greater, what::less},
      {operation::less_or_equal, what::less_or_equal, what::greater_or_equal},
      {operation::greater_or_equal, what::greater_or_equal, what::less_or_equal},
      {operation::equal, what::equal, what::equal},
      {operation::not_equal, what::not_equal, what::not_equal},
      {operation::logical_and, what::logical_and, what::logical_and},
      {operation::logical_or, what::logical_or, what::logical_or},
      {operation::logical_not, what::logical_not, what::none},
  };
  const auto *const found =
      std::find_if(std::begin(rows), std::end(rows), [&](const row &each) { return each.meaning == of.meaning; });
  if (found == std::end(rows)) return what::none;
  return of.what == action::reversed_infix ? found->reversed : found->infix;
}

void prepared_expression::make_integer_steps() {
  static const int nothing = 0;
  for (const step &each : steps_) {
    integer_step made{integer_action_of(each), each.from == source::stack, &nothing};
    if (made.what == integer_action::none || each.from == source::hole) return integer_steps_.clear();
    if (each.from == source::constant) {
      const int integer = truncate_to_int(each.constant);
      // A zero may have a sign.
      if (each.constant != integer || (integer == 0 && std::signbit(each.constant))) return integer_steps_.clear();
      integers_.push_back(std::make_unique<int>(integer));
      made.operand = integers_.back().get();
    }
    if (each.from == source::variable) {
      integer_variables_.push_back(each.named);
      made.operand = &each.named->integer();
    }
    integer_steps_.push_back(made);
  }
  integer_steps_.push_back({integer_action::end, false, &nothing});
}

namespace {

// What the name is as a number, kept beside the text of a variable; false when it is none.
[[gnu::noinline]] bool read_operand(variable &named, double &number) {
  if (read_expression_name(named.name(), number) != expression_status::ok) return false;
  if (named.exists()) named.keep_number(number);
  return true;
}

}  // namespace

// The result of operands of 32 bits, or of results that are exact in a double.
inline long long prepared_expression::apply_integer(integer_action what, long long a, long long b) {
  switch (what) {
    case integer_action::add:
      return a + b;
    case integer_action::subtract:
      return a - b;
    case integer_action::subtract_from:
      return b - a;
    case integer_action::multiply:
      return a == 0 || b == 0 ? not_exact : a * b;  // such a zero may have a sign
    case integer_action::remainder:
      return b == 0 || b == -1 ? 0 : static_cast<int>(a) % static_cast<int>(b);
    case integer_action::less:
      return a < b;
    case integer_action::greater:
      return a > b;
    case integer_action::less_or_equal:
      return a <= b;
    case integer_action::greater_or_equal:
      return a >= b;
    case integer_action::equal:
      return a == b;
    case integer_action::not_equal:
      return a != b;
    case integer_action::logical_and:
      return a != 0 && b != 0;
    case integer_action::logical_or:
      return a != 0 || b != 0;
    default:
      return a == 0;
  }
}

// Gives up where a result is no longer exact in a double, or an operand that has to has not 32 bits.
bool prepared_expression::compute_integer(double &value) const {
  for (const variable *each : integer_variables_) {
    if (!each->is_integer()) return false;
  }
  const auto fits = [](long long number) { return number == static_cast<int>(number); };
  long long stack[deepest];
  long long *top = stack;
  long long result = 0;
  for (const integer_step *at = integer_steps_.data(); at->what != integer_action::end; ++at) {
    long long operand = *at->operand;
    if (at->what == integer_action::load) {
      *top++ = result;
      result = operand;
      continue;
    }
    if (at->from_stack) {
      operand = result;
      result = *--top;
    }
    if (at->what >= integer_action::multiply && !(fits(result) && fits(operand))) return false;
    result = apply_integer(at->what, result, operand);
    if (result >= not_exact || result <= -not_exact) return false;
  }
  value = static_cast<double>(result);
  return true;
}

bool prepared_expression::compute(const double *hole_values, double &value) const {
  if (!integer_steps_.empty() && compute_integer(value)) return true;
  if (must_be_read_) return false;
  double stack[deepest];
  double *top = stack;
  double result = 0;
  for (const step &next : steps_) {
    double operand = 0;
    switch (next.from) {
      case source::constant:
        operand = next.constant;
        break;
      case source::variable:
        operand = next.named->number();
        if (!next.named->knows_number() && !read_operand(*next.named, operand)) return false;
        break;
      case source::hole:
        operand = hole_values[next.hole];
        break;
      case source::stack:
        operand = result;
        result = *--top;
        break;
    }
    switch (next.what) {
      case action::load:
        *top++ = result;
        result = operand;
        break;
      case action::infix:
        result = apply_infix(next.meaning, result, operand);
        break;
      case action::reversed_infix:
        result = apply_infix(next.meaning, operand, result);
        break;
      case action::prefix:
        result = apply_prefix(next.meaning, result);
        break;
    }
  }
  value = result;
  return true;
}

}  // namespace quillet
