// Where an expression is computed in another order than it reads.
#pragma once

#include <optional>
#include <string_view>

#include "dev/check/expression_text.h"

namespace quillet::dev {

// An operator that takes the result of an earlier one where one expects it to bind more tightly. Offsets are those of
// the expression's bytes.
struct order_surprise {
  text_range sign;      // the operator
  text_range taken;     // what it is applied to
  text_range expected;  // what should be in parentheses
};

// The first one of an expression whose value can differ from that of the usual reading: operators bind as in C.
// Nothing where the form of the expression is not certain.
[[nodiscard]] std::optional<order_surprise> find_order_surprise(std::string_view expression);

}  // namespace quillet::dev
