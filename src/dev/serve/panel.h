// What authors see of a request in the browser.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "dev/serve/page_server.h"

namespace quillet::dev {

// All addresses of the panel begin so.
constexpr std::string_view own_address = "/.quillet-dev/";

// Has the page reloaded when a file of the site changes.
constexpr std::string_view reload_script = "<script src=\"/.quillet-dev/reload.js\"></script>";

// Puts the panel's button into a response, if that is HTML.
void add_panel(int number, server_reply &reply);

// What an address of the panel shows; nothing for one that does not exist.
[[nodiscard]] std::optional<server_reply> panel_reply(page_server &site, const server_request &asked);

}  // namespace quillet::dev
