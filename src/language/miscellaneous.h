// Miscellaneous operators: rem, color, date, sum, process, level, random.
#pragma once

namespace quillet {

void register_miscellaneous_operators();

}  // namespace quillet
