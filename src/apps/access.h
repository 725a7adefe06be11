// Access control by the web server's access files: auth, user.
#pragma once

namespace quillet {

void register_access_operators();

}  // namespace quillet
