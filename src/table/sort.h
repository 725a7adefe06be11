// The sort operator.
#pragma once

namespace quillet {

void register_sort_operators();

}  // namespace quillet
