// Choosing one text by a value: switch, case.
#pragma once

namespace quillet {

void register_switch_operators();

}  // namespace quillet
