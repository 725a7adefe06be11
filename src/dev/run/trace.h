// What was seen of a request, for people and for tools.
#pragma once

#include <string>

#include "dev/run/answer.h"

namespace quillet::dev {

// Messages, missing files and dropped bytes, each on a line with its place, the chain that led to it after it.
[[nodiscard]] std::string shown_notes(const observation &seen);

// The tree of calls, one on each line.
[[nodiscard]] std::string shown_trace(const observation &seen, bool in_colour);

// All of it as JSON (RFC 8259). Bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string json_trace(const page_answer &answered);

// Where a response's headers end: the length of them and of the empty line.
[[nodiscard]] std::size_t length_of_headers(std::string_view output);

}  // namespace quillet::dev
