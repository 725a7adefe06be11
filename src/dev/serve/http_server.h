// Serves a site over HTTP, on the loopback interface only.
#pragma once

#include <functional>

#include "dev/serve/page_server.h"

namespace quillet::dev {

// Binds the port, 0 for any free one, calls `is_ready` with the one it got, and serves until the process is told to
// end. False when the port cannot be had.
[[nodiscard]] bool serve_site(server_options options, const std::function<void(int port)> &is_ready);

}  // namespace quillet::dev
