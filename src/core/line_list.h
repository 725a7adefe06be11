// A list of names and values kept as one text, a line for each:
//
//     name value
//     name
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// Adds a line without a value.
void line_list_append(text &list, std::string_view name);
// Adds a line with a space and the value, which may be empty.
void line_list_append(text &list, std::string_view name, std::string_view value);
// Adds a line when the value has bytes.
void line_list_append_if_value(text &list, std::string_view name, std::string_view value);

// The value of the first line of that name; a view whose data() is null when there is none. The name
// of a line is the text before its first space that is not its first byte; a line without such a
// space has no name.
[[nodiscard]] std::string_view line_list_find(std::string_view list, std::string_view name);

}  // namespace quillet
