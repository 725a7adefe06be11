// The steps that compute an expression of a known form.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/variables.h"
#include "language/expression_operations.h"

namespace quillet {

// Where the right side of a step comes from. A step works with what it takes and with the result so far.
enum class step_source : std::uint8_t { constant, variable, hole, stack };

// Loading puts the result so far onto a stack; a step that takes its right side from the stack takes the result so far
// for that, and what is on the stack for its left side.
enum class step_action : std::uint8_t { load, infix, reversed_infix, prefix };

struct expression_step {
  step_action what;
  step_source from;
  operation meaning;
  union {
    double constant;
    variable *named;
    std::size_t hole;
  };
};

// The most that the stack holds.
inline constexpr std::size_t deepest_expression_stack = 16;

}  // namespace quillet
