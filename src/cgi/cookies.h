// Cookies: those that the visitor's browser sent, and those that it is to keep (RFC 6265).
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

constexpr int usual_cookie_days = 90;

// The value of the visitor's cookie of that name, no longer escaped; null when it is empty or there is
// none. A space ends the value, the last one of several.
[[nodiscard]] text cookie_value(std::string_view name);

// Forgets what was found out about the request's cookies.
void forget_cookies();

// Sends the header line of a cookie at once, the value escaped, for so many days: 0 keeps it until the
// browser is closed, a negative number removes it. A name that is empty, or has control bytes, which
// could end the line, sends nothing.
void send_cookie(std::string_view name, std::string_view value, int days);

}  // namespace quillet
