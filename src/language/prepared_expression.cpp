#include "language/prepared_expression.h"

#include <algorithm>

#include "language/expression_arithmetic.h"
#include "language/expression_reader.h"

namespace quillet {

// The machine that makes the steps. A value is a constant, a variable or a hole until it is needed, then the result
// so far; results that wait for their right side are on a stack. So an operator mostly has its right side with it.
class expression_preparer {
 public:
  struct value {
    step_source from = step_source::constant;
    double constant = 0;
    variable *named = nullptr;
    std::size_t hole = 0;
  };

  expression_preparer(prepared_expression &made, std::string_view expression, std::span<const expression_hole> holes)
      : made_(made), expression_(expression), holes_(holes) {}

  // A hole is read for itself or with a sign before it; then no number begins at its offset.
  value number(double number, std::string_view read) {
    const auto offset = static_cast<std::size_t>(read.data() - expression_.data());
    const auto found =
        std::find_if(holes_.begin(), holes_.end(), [&](const expression_hole &each) { return each.offset == offset; });
    if (found == holes_.end()) return {step_source::constant, number};
    ++holes_read_;
    return {step_source::hole, 0, nullptr, static_cast<std::size_t>(found - holes_.begin())};
  }

  // Which variables there are is known when the expression is computed.
  expression_status name(std::string_view name, value &result) {
    if (name.size() > longest_expression_name) return expression_status::bad_name;
    result = {step_source::variable, 0, &variable_named(name)};
    return expression_status::ok;
  }

  value infix(operation meaning, const value &x, const value &y) {
    if (x.from != step_source::stack && y.from == step_source::stack) {
      add(step_action::reversed_infix, meaning, x);
    } else {
      if (x.from != step_source::stack) add(step_action::load, {}, x);
      add(step_action::infix, meaning, y);
      if (y.from == step_source::stack) --depth_;
    }
    return {step_source::stack};
  }

  value prefix(operation meaning, const value &x) {
    if (x.from != step_source::stack) add(step_action::load, {}, x);
    add(step_action::prefix, meaning, {});
    return {step_source::stack};
  }

  // What is dropped must still be a number: rare enough to be read each time.
  void replaced() { made_.must_be_read_ = true; }

  void finish(const value &result, bool is_complete) {
    if (result.from != step_source::stack) add(step_action::load, {}, result);
    if (!is_complete || holes_read_ != holes_.size() || deepest_ > deepest_expression_stack) replaced();
  }

 private:
  void add(step_action what, operation meaning, const value &from) {
    expression_step added{what, from.from, meaning, {from.constant}};
    if (from.from == step_source::variable) added.named = from.named;
    if (from.from == step_source::hole) added.hole = from.hole;
    made_.steps_.push_back(added);
    if (what == step_action::load) deepest_ = std::max(deepest_, ++depth_);
  }

  prepared_expression &made_;
  std::string_view expression_;
  std::span<const expression_hole> holes_;
  std::size_t holes_read_ = 0;
  std::size_t depth_ = 0;
  std::size_t deepest_ = 0;
};

prepared_expression::prepared_expression(std::string_view expression, std::span<const expression_hole> holes) {
  expression_preparer preparer(*this, expression, holes);
  const auto read = expression_reader(expression, preparer).run();
  preparer.finish(read.result, read.status == expression_status::ok);
  if (must_be_read_ || expression.empty()) return;
  std::vector<const variable *> shown;
  for (const expression_hole &each : holes) shown.push_back(each.shown);
  integers_ = integer_program(steps_, shown);
}

namespace {

// What the name is as a number, kept beside the text of a variable; false when it is none.
[[gnu::noinline]] bool read_operand(variable &named, double &number) {
  if (read_expression_name(named.name(), number) != expression_status::ok) return false;
  if (named.exists()) named.keep_number(number);
  return true;
}

}  // namespace

bool prepared_expression::compute(const double *hole_values, double &value) const {
  if (must_be_read_) return false;
  double stack[deepest_expression_stack];
  double *top = stack;
  double result = 0;
  for (const expression_step &next : steps_) {
    double operand = 0;
    switch (next.from) {
      case step_source::constant:
        operand = next.constant;
        break;
      case step_source::variable:
        operand = next.named->number();
        if (!next.named->knows_number() && !read_operand(*next.named, operand)) return false;
        break;
      case step_source::hole:
        operand = hole_values[next.hole];
        break;
      case step_source::stack:
        operand = result;
        result = *--top;
        break;
    }
    switch (next.what) {
      case step_action::load:
        *top++ = result;
        result = operand;
        break;
      case step_action::infix:
        result = apply_infix(next.meaning, result, operand);
        break;
      case step_action::reversed_infix:
        result = apply_infix(next.meaning, operand, result);
        break;
      case step_action::prefix:
        result = apply_prefix(next.meaning, result);
        break;
    }
  }
  value = result;
  return true;
}

}  // namespace quillet
