// The columns and cells of data files.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dev/check/walk_state.h"

namespace quillet::dev {

// The names in the first line of the text of a named table.
[[nodiscard]] std::vector<std::string> column_names(std::string_view source);

// The number of a column, which is a name or a number, of a table whose shape is known; nothing when there is none.
[[nodiscard]] std::optional<std::size_t> column_of(const known_table &from, std::string_view column);

// The first cell of the column, in the file that the table was loaded from, of which that is true.
[[nodiscard]] std::optional<std::string> find_cell(const known_table &from, std::string_view column,
                                                   const std::function<bool(std::string_view)> &wanted);

// What an expression takes `source` for when it reads it by a name, where that is another number than it is.
[[nodiscard]] std::optional<std::string> misread_number(std::string_view source);
// Whether it is a number with a fraction.
[[nodiscard]] bool has_fraction(std::string_view source);

}  // namespace quillet::dev
