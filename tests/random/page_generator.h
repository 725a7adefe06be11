// Random pages: of everything, and such as are made to break one prepared form.
#pragma once

#include <cstdint>
#include <string>

namespace quillet_tests {

// The page of that number.
[[nodiscard]] std::string make_page(std::uint64_t seed);

}  // namespace quillet_tests
