// String operators: rsplit, lsplit, toupper, tolower, truncate, unescape_br.
#pragma once

namespace quillet {

void register_string_operators();

}  // namespace quillet
