// A prepared expression computed with integers, which most numbers are.
#pragma once

#include <climits>
#include <cstdint>
#include <span>
#include <vector>

#include "language/expression_steps.h"

namespace quillet {

// The steps of an expression without conversions, with each number where it is: a quarter of the instructions.
class integer_program {
 public:
  static constexpr long long none = LLONG_MIN;

  integer_program() = default;
  integer_program(integer_program &&) = default;
  integer_program &operator=(integer_program &&) = default;
  // `shown`: for each hole, the variable whose text it takes, null when it takes something else.
  integer_program(std::span<const expression_step> steps, std::span<const variable *const> shown);

  // The value; `none` when a variable is no integer now, a hole would get a sign, or a double would not be exact.
  [[nodiscard]] long long compute() const;

 private:
  enum class action : std::uint8_t {
    none,
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
    remainder_by_constant,
    logical_and,
    logical_or,
    logical_not,
  };
  struct step {
    action what;
    bool uses_stack;
    std::uint8_t shift;  // of `remainder_by_constant`
    int constant;        // unless it comes from somewhere else
    const int *operand;
    long long multiplier;  // of `remainder_by_constant`
  };
  // A variable that must be an integer, and not smaller than that.
  struct needed {
    const variable *named;
    int least;
  };

  static bool apply(const step &next, long long &result, long long right);
  static long long apply_narrow(action what, long long a, long long b);
  static action action_of(const expression_step &of);
  [[nodiscard]] bool add(const expression_step &added, std::span<const variable *const> shown);

  std::vector<step> steps_;  // none when there is something in it that may be no integer
  std::vector<needed> needed_;
};

}  // namespace quillet
