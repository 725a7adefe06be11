// The operator counter.
#pragma once

namespace quillet {

void register_counter_operator();

}  // namespace quillet
