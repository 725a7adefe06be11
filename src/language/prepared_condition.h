// A template text that gives an expression, prepared: a condition, an operand of `var`.
#pragma once

#include <string_view>
#include <vector>

#include "core/calls.h"
#include "core/evaluator.h"
#include "core/prepared_text.h"
#include "core/variables.h"
#include "language/prepared_expression.h"

namespace quillet {

// An expression without calls is prepared as it is. One with calls, in the common style `^var[n]>5`, is prepared
// with a hole for each call when operators, parentheses or the ends of the text are around it; it is used when each
// call gives a number that fits. Otherwise the calls have given the text that is to be read.
class prepared_condition {
 public:
  // With `unquoted`, the calls in it are made under the quoting mode `none`.
  prepared_condition(repeated_text &keeper, std::string_view source, bool unquoted = false);

  // As `compute_expression` of the expanded text. `is_empty` says whether that is empty.
  [[nodiscard]] bool compute(std::string_view operator_name, double &value, text &out, bool &is_empty);
  // The same where all that it needs are integers; `integer_program::none` when they are not, or it is empty.
  [[nodiscard]] long long compute_integer() const {
    if (calls.depth >= max_call_depth) return integer_program::none;  // a call in it would be refused
    return expression_.compute_integer();
  }

 private:
  static constexpr std::size_t most_holes = 4;

  struct hole {
    prepared_part call;
    variable *shown;  // for `^var[name]`; otherwise null
  };

  // With the numbers of variables that are shown; false when that is not what all the holes are.
  [[nodiscard]] bool compute_shown(double &value) const;
  // Appends what the text expands to; false when a call gives something else than a number that fits.
  [[nodiscard]] bool expand(text &expanded, double *numbers);
  // With what the calls give.
  [[nodiscard]] bool compute_called(std::string_view operator_name, double &value, text &out, bool &is_empty);

  std::vector<text> literals_;  // before each hole, and after the last one
  std::vector<hole> holes_;
  bool unquoted_;
  bool has_form_ = false;  // its form is known: `expression_`
  prepared_expression expression_{std::string_view()};
};

}  // namespace quillet
