// The operator modules and their order.
#pragma once

namespace quillet {

// Registers the operators of every module, in the fixed order. Called once, before the configuration
// and the page are read.
void register_all_operators();

}  // namespace quillet
