// Regular expressions as pages write them.
#pragma once

#include <memory>
#include <string_view>

#include "core/regular_expression.h"

namespace quillet {

// The expression and the options of a call of `match`, compiled; see `compile_expression`.
[[nodiscard]] std::shared_ptr<const regular_expression> compile_match(std::string_view expression,
                                                                      std::string_view options);

}  // namespace quillet
