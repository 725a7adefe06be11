// The chat's messages: an index of the newest lines, and a log of all of them.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// The newest lines of an index. Deliberate: one line fewer than `lines`, after the end of the line before
// them; an index of fewer lines is given whole.
[[nodiscard]] std::string_view newest_lines(std::string_view index QUILLET_VIEWED, long long lines);

// The text escaped for HTML, with a space in every word after 34 bytes, an escaped byte counted as one.
// Deliberate: "&" stays as it is.
void append_chat_message(std::string_view message, text &out);

}  // namespace quillet
