// The pages that serve makes itself.
#pragma once

#include <string>
#include <string_view>

#include "dev/serve/page_server.h"

namespace quillet::dev {

// Bytes as they can be in HTML, in text and in quoted attributes. Bytes that are not UTF-8 become "\xNN".
[[nodiscard]] std::string html(std::string_view bytes);

// A whole page with the look of all of them; `content` is HTML.
[[nodiscard]] std::string own_page(std::string_view title, std::string_view content);

// What a client gets instead of a file; `why` says it to the author.
[[nodiscard]] server_reply own_error_page(int status, std::string_view why);

// What "/" shows as long as there is no index.html.
[[nodiscard]] server_reply welcome_page(const std::string &root);

}  // namespace quillet::dev
