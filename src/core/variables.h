// The variable store: the page's variables, from the start of the run to its end.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// The variable's text, empty when there is none. It lives until the variable is set again.
[[nodiscard]] std::string_view variable_get(std::string_view name);
// Whether there is a variable of that name.
[[nodiscard]] bool variable_exists(std::string_view name);
// Sets the variable; a null value removes it. Names are case-sensitive.
void variable_set(std::string_view name, text value);
// Sets the variable to a copy of the bytes; none removes it.
void variable_assign(std::string_view name, std::string_view bytes);
// Appends to the variable, in place; one that does not exist is made, unless there is nothing to append.
void variable_append(std::string_view name, std::string_view bytes);
// Removes all of them.
void forget_variables();

}  // namespace quillet
