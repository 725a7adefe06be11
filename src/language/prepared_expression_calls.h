// The prepared calls of the expression operators: var, eval, if.
#pragma once

#include <memory>

#include "core/prepared_text.h"

namespace quillet {

[[nodiscard]] std::unique_ptr<prepared_call> prepare_var(const parameters &call, repeated_text &keeper);
[[nodiscard]] std::unique_ptr<prepared_call> prepare_eval(const parameters &call, repeated_text &keeper);
[[nodiscard]] std::unique_ptr<prepared_call> prepare_if(const parameters &call, repeated_text &keeper);

// The result in 32 bits of "+", "-", "*" or "/" on two integers; a division by zero gives 0.
[[nodiscard]] int calculate_variable(char operation, int x, int y);

}  // namespace quillet
