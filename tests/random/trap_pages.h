// Pages that are made to break one prepared form: a loop looks at it again and again, and at pass 2, 5 or 40 what it
// depends on is changed.
#pragma once

#include <cstdint>
#include <string>

namespace quillet_tests {

[[nodiscard]] std::string make_trap_page(std::uint64_t seed);

}  // namespace quillet_tests
