// Comparison and option sets: eq, ifdef, start, default, optionset, optionclear, optionor, optionand,
// optioncount, cmp.
#pragma once

namespace quillet {

void register_comparison_operators();

}  // namespace quillet
