// What can be known of a template text without evaluating it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "dev/page/document.h"

namespace quillet::dev {

// The value of a part of a document that contains no call and, in the body of a macro, no reference to an argument;
// nothing when its value is known only when the page runs.
[[nodiscard]] std::optional<std::string> literal_value(const document &file, const template_text &part);

// The same for a parameter of a call; nothing when there is no such parameter.
[[nodiscard]] std::optional<std::string> literal_parameter(const document &file, const call &each, std::size_t index);

// Whether a call is one of that operator.
[[nodiscard]] bool is_call_of(const document &file, const call &each, std::string_view name);

}  // namespace quillet::dev
