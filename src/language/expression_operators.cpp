#include <utility>

#include "core/evaluator.h"
#include "core/operators.h"
#include "core/quoting.h"
#include "core/variables.h"
#include "language/expression.h"
#include "language/expression_arithmetic.h"
#include "language/number_format.h"
#include "language/prepared_expression_calls.h"

namespace quillet {

namespace {

// The value of a template text as an expression. One that is absent, or has no text, counts as 0.
// Apart from its callers, whose frames are on the stack once for each level of nesting.
[[gnu::noinline]] bool compute_template(std::string_view operator_name, std::string_view source, double &value,
                                        text &out) {
  return compute_expression(operator_name, evaluate(source), value, out);
}

// --- var ---

void update_variable(std::string_view name, std::string_view operation, std::string_view operand) {
  if (operation == ".") return variable_append(name, operand);
  if (operation == "+" || operation == "-" || operation == "*" || operation == "/") {
    const int result = calculate_variable(operation.front(), parse_int(variable_get(name)), parse_int(operand));
    return variable_assign(name, decimal_digits(result));
  }
  if (operand.empty()) return;
  text result;
  double value = 0;
  // Deliberate: an error text becomes the variable's value and is not shown.
  if (compute_expression("var", operand, value, result)) append_number(value, operation, result);
  variable_set(name, std::move(result));
}

// ^var[name]
//
// The variable's text, quoted. The name is evaluated once more than other parameters are. No text when
// there is no such variable.
//
// ^var[name;text]
//
// Sets the variable; no text removes it. Result: empty.
//
// ^var[name;operation;operand]
//
// Changes the variable. Result: empty. `operation`:
//   + - * /   both the variable and `operand` are read as integers, the rest of them ignored; the result
//             is an integer of 32 bits, and 0 for a division by zero;
//   .         `operand` is appended to the variable;
//   other     a number format: the variable becomes the value of the expression `operand`, formatted. An
//             error in the expression becomes the value. Without `operand` nothing changes.
//
// [var: Syntax error near 'rest']
// [var: Missing ')' near 'rest']
// [var: Variable has string value near 'rest']
// [var: Bad variable or table item name near 'rest']
void op_var(parameters &parameters, text &out) {
  evaluate_parameters_quoted(quoting_none, parameters);
  if (parameters.count() == 1) {
    quote(variable_get(evaluate(parameters[0])), false, out);
  } else if (parameters.count() == 2) {
    variable_assign(parameters[0], parameters[1]);
  } else {
    update_variable(parameters[0], parameters[1], parameters[2]);
  }
}

// ^eval[expression;format]
//
// The value of the expression, formatted; without `format` truncated to an integer. No expression gives
// no text.
//
// [eval: Syntax error near 'rest']
// [eval: Missing ')' near 'rest']
// [eval: Variable has string value near 'rest']
// [eval: Bad variable or table item name near 'rest']
void op_eval(parameters &parameters, text &out) {
  if (parameters[0].empty()) return;
  double value = 0;
  if (compute_expression("eval", parameters[0], value, out)) append_number(value, parameters[1], out);
}

// ^if[condition;not zero;zero]
// ^if[condition;negative;zero;positive]
//
// One of the branches, evaluated. A value that is not a number counts as not zero, and as positive. No condition
// counts as 0; a missing branch gives no text.
//
// [if: wrong param count]
// [if: Syntax error near 'rest']
// [if: Missing ')' near 'rest']
// [if: Variable has string value near 'rest']
// [if: Bad variable or table item name near 'rest']
void op_if(parameters &parameters, text &out) {
  double value = 0;
  if (!compute_template("if", parameters[0], value, out)) return;
  if (parameters.count() > 4) return append_error(out, "if", "wrong param count");
  int branch = value == 0 ? 2 : 1;
  if (parameters.count() == 4 && branch == 1 && !(value < 0)) branch = 3;
  evaluate(parameters[branch], out);
}

// --- loops ---

constexpr int most_passes = 999;

// ^while[condition;body]
//
// The body, evaluated again and again while the condition is not 0, at most 999 times. No condition
// counts as 0. An error message replaces all output.
//
// [while: endless loop detected]
// [while: Syntax error near 'rest']
// [while: Missing ')' near 'rest']
// [while: Variable has string value near 'rest']
// [while: Bad variable or table item name near 'rest']
void op_while(parameters &parameters, text &out) {
  const std::size_t start = out.size();
  const loop_scope condition(parameters[0]);
  const loop_scope body(parameters[1]);
  text error;
  for (int pass = 0; pass < most_passes; ++pass) {
    double value = 0;
    if (!compute_template("while", parameters[0], value, error)) {
      out.truncate(start);
      return out.append(error);
    }
    if (value == 0) return;
    evaluate(parameters[1], out);
  }
  out.truncate(start);
  append_error(out, "while", "endless loop detected");
}

// Sets a variable back to what it was, also when there was none, at the end of the scope.
class variable_scope {
 public:
  explicit variable_scope(std::string_view name) : name_(name), saved_(text_or_null(variable_get(name))) {}
  variable_scope(const variable_scope &) = delete;
  variable_scope &operator=(const variable_scope &) = delete;
  ~variable_scope() { variable_set(name_, std::move(saved_)); }

 private:
  std::string_view name_;
  text saved_;
};

// ^for[name;from;to;body;separator]
//
// The body, evaluated with the variable set to each integer from `from` up to `to`, both of them
// expressions. The separator comes between passes once there is output. Afterwards the variable
// is what it was before. A missing bound counts as 0.
//
// [for from: Syntax error near 'rest']
// [for from: Missing ')' near 'rest']
// [for from: Variable has string value near 'rest']
// [for from: Bad variable or table item name near 'rest']
// [for to: Syntax error near 'rest']
// [for to: Missing ')' near 'rest']
// [for to: Variable has string value near 'rest']
// [for to: Bad variable or table item name near 'rest']
void op_for(parameters &parameters, text &out) {
  for (const int evaluated_once : {0, 1, 2, 4}) parameters.evaluate_in_place(evaluated_once);
  double from = 0;
  double to = 0;
  if (!compute_expression("for from", parameters[1], from, out) ||
      !compute_expression("for to", parameters[2], to, out))
    return;

  const std::size_t start = out.size();
  const long long last = truncate_to_int(to);
  const variable_scope scope(parameters[0]);
  loop_scope body(parameters[3]);
  variable &counted = variable_named(parameters[0]);
  for (long long i = truncate_to_int(from); i <= last; ++i) {
    counted.assign_integer(static_cast<int>(i));
    if (out.size() > start) out.append(parameters[4]);
    body.evaluate(out);
  }
}

constexpr operator_definition definitions[] = {
    {"var", op_var, 0, lazy, "^var[name] ^var[name;text] ^var[name;operation;operand]",
     "Sets, changes or shows a variable.", !pure, prepare_var},
    {"eval", op_eval, 0, evaluated, "^eval[expression;format]", "The value of an expression.", pure, prepare_eval},
    {"if", op_if, 0, lazy, "^if[condition;not zero;zero] ^if[condition;negative;zero;positive]",
     "Chooses a branch by a number.", !pure, prepare_if},
    {"while", op_while, 2, lazy, "^while[condition;body]",
     "Evaluates the body while a condition is not 0, at most 999 times."},
    {"for", op_for, 0, lazy, "^for[name;from;to;body;separator]", "Evaluates the body for each number in a range."},
};

}  // namespace

extern const operator_module expression_operators{"language/expression_operators.cpp", definitions};

}  // namespace quillet
