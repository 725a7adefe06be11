// The sets of bytes in a regular expression: "[...]", as the C library reads them in the "C" locale.
#pragma once

#include <bitset>
#include <optional>
#include <string_view>

namespace quillet {

using byte_set = std::bitset<256>;

// Reads a set whose "[" has been taken, and takes it with its "]". Nothing for a wrong one, and for what is rarely
// written: collating elements, equivalence classes and dashes in unusual places.
[[nodiscard]] std::optional<byte_set> take_byte_set(std::string_view &rest);

}  // namespace quillet
