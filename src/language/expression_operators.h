// The expression operators: var, eval, if, while, for.
#pragma once

namespace quillet {

void register_expression_operators();

}  // namespace quillet
