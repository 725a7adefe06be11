// The operator cookie.
#pragma once

namespace quillet {

void register_cookie_operator();

}  // namespace quillet
