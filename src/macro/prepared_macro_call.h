// The prepared call of a macro: `macro`.
#pragma once

#include <memory>

#include "core/prepared_text.h"

namespace quillet {

[[nodiscard]] std::unique_ptr<prepared_call> prepare_macro(const parameters &call, repeated_text &keeper);

}  // namespace quillet
