// A prepared expression: its form is read once, and computing it is a loop over a few steps. Reading it anew took a
// quarter of the time of a loop with arithmetic.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "core/variables.h"
#include "language/expression_operations.h"

namespace quillet {

// Any whole number in the place of a hole: 1 to 15 digits that begin with 0 only when that is all, without a sign.
// An expression with such a number there has one form, whatever the number.
inline constexpr std::string_view hole_number = "7";

class prepared_expression {
 public:
  // An expression without white space. Its holes, in their order, are offsets of `hole_number` in it.
  explicit prepared_expression(std::string_view expression, std::span<const std::size_t> holes = {});

  // The value; false when reading the expression has to say what it is, or what is wrong with it.
  [[nodiscard]] bool compute(const double *hole_values, double &value) const;

 private:
  friend class expression_preparer;

  // Where the right side of a step comes from. A step works with what it takes and with the result so far.
  enum class source : std::uint8_t { constant, variable, hole, stack };
  enum class action : std::uint8_t { load, infix, reversed_infix, prefix };
  struct step {
    action what;
    source from;
    operation meaning;
    union {
      double constant;
      variable *named;
      std::size_t hole;
    };
  };

  // The same for integers, which most numbers are, without looking at what the right side is: a fifth of the
  // instructions. The actions from `multiply` on take operands of 32 bits.
  enum class integer_action : std::uint8_t {
    none,
    end,  // the last step
    load,
    add,
    subtract,
    subtract_from,
    less,
    greater,
    less_or_equal,
    greater_or_equal,
    equal,
    not_equal,
    multiply,
    remainder,
    logical_and,
    logical_or,
    logical_not,
  };
  struct integer_step {
    integer_action what;
    bool from_stack;
    const int *operand;
  };
  static constexpr long long not_exact = (1LL << 53) + 1;  // no double from here on

  static integer_action integer_action_of(const step &of);
  static long long apply_integer(integer_action what, long long a, long long b);
  void make_integer_steps();
  [[nodiscard]] bool compute_integer(double &value) const;

  static constexpr std::size_t deepest = 16;

  std::vector<step> steps_;
  std::vector<integer_step> integer_steps_;          // none when there is something in it that may be no integer
  std::vector<std::unique_ptr<int>> integers_;       // the constants of these steps
  std::vector<const variable *> integer_variables_;  // those that must be integers
  bool must_be_read_ = false;
};

}  // namespace quillet
