// What one request may use, and which requests are refused before they reach a page.
#pragma once

#include <string_view>

#include "fcgi/options.h"

namespace quillet {

// For this process and the programs it runs: memory and the size of each file. Limits that are lower already stay.
void set_lasting_limits(const server_options &options);

// From now on so much more processor time. A new process has used none yet.
void set_processor_time(int seconds, bool is_new);

// Bytes of a body.
[[nodiscard]] long long body_limit(const server_options &options);
constexpr std::string_view body_too_large = "413 Request Entity Too Large";

// The status line of a request that is refused, from the environment; empty for one that is not:
// 403 for a redirect inside the web server to the program's own address, which would get a page past the rules that
// protect it; 413 for a body above the limit.
[[nodiscard]] std::string_view refusal(const server_options &options);

}  // namespace quillet
