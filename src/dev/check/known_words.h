// The words that an operator knows.
#pragma once

#include <span>
#include <string_view>

namespace quillet::dev {

// Those that its first parameter may be; empty for an operator that knows none.
[[nodiscard]] std::span<const std::string_view> known_words(std::string_view operator_name);

}  // namespace quillet::dev
