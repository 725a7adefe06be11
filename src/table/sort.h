// What `sort` takes as an order.
#pragma once

#include <string_view>

namespace quillet {

// Whether `sort` reads all of the order, and each of its letters means something: "-N|A". An empty one is one that
// leaves the rows as they are.
[[nodiscard]] bool is_sort_order(std::string_view order);

}  // namespace quillet
