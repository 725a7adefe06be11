// A byte without which a text cannot match, read from the regular expression alone.
#pragma once

#include <optional>
#include <string_view>

namespace quillet {

// The first byte that the expression has for itself, outside groups, unless it is optional; none when there are
// alternatives outside groups. `flags`: with REG_ICASE a letter is no such byte. The expression is one that the C
// library compiles.
[[nodiscard]] std::optional<char> needed_byte(std::string_view expression, int flags);

}  // namespace quillet
