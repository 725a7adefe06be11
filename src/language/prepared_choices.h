// The prepared calls of the operators that choose by comparing texts: eq, switch.
#pragma once

#include <memory>

#include "core/prepared_text.h"

namespace quillet {

[[nodiscard]] std::unique_ptr<prepared_call> prepare_eq(const parameters &call, repeated_text &keeper);
[[nodiscard]] std::unique_ptr<prepared_call> prepare_switch(const parameters &call, repeated_text &keeper);

}  // namespace quillet
