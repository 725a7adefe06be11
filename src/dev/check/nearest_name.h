// "Did you mean".
#pragma once

#include <span>
#include <string_view>

namespace quillet::dev {

// How many letters must be changed, added, left out or swapped with their neighbour to make one word of the other
// (the restricted Damerau-Levenshtein distance).
[[nodiscard]] std::size_t distance_of(std::string_view a, std::string_view b);

// The name that differs least from a mistyped one; empty when none is near, or two are equally near.
[[nodiscard]] std::string_view nearest_name(std::string_view mistyped, std::span<const std::string_view> names);

}  // namespace quillet::dev
