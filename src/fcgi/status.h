// What the server tells about itself.
#pragma once

#include "fcgi/options.h"
#include "fcgi/scoreboard.h"

namespace quillet {

// Answers one HTTP request: "/metrics" in the text format of Prometheus (version 0.0.4), anything else in plain
// text. Closes the connection. Waits for a slow reader for five seconds at most; to be called in a process of its own.
void answer_status(int connection, const server_options &options, const scoreboard &board, std::int64_t started);

}  // namespace quillet
