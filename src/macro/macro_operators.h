// The macro operators: macro, macro_new, macro_use, macro_exists.
#pragma once

namespace quillet {

void register_macro_operators();

}  // namespace quillet
