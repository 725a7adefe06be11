// Where the database server is and who asks it, as a page writes it.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// A part that is missing, or empty, is null; port 0 is none.
struct connection_target {
  text user;
  text password;
  text host;
  int port = 0;
  text database;
};

// Splits "user:password@host:port/database", each time at the first such character: at "@", the part
// after it at "/", the part between these at ":", and the part before "@" at ":". Without "@"
// there are only the user and the password. Deliberate: neither the user nor the password can hold "@";
// the password can contain ":", the database ":" and "/".
[[nodiscard]] connection_target split_connection_string(std::string_view source);

}  // namespace quillet
