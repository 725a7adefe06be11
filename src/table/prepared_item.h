// The prepared call of a cell: `item`.
#pragma once

#include <memory>

#include "core/prepared_text.h"

namespace quillet {

[[nodiscard]] std::unique_ptr<prepared_call> prepare_item(const parameters &call, repeated_text &keeper);

}  // namespace quillet
