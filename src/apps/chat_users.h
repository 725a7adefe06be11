// The chat's user list: a line "login address time" for everybody who has joined and was active in the
// last three minutes. A request reads it and writes it back without keeping others out in between; of two
// at the same time one may be lost.
#pragma once

#include <ctime>
#include <string_view>

#include "core/text.h"

namespace quillet {

// A line of the list. What a damaged line lacks is empty, or 0.
struct chat_user {
  std::string_view login;
  std::string_view address;
  long long last_active;  // seconds since 1970
};

[[nodiscard]] chat_user read_chat_user(std::string_view line);

// Whether the list has the name with another address than the visitor's.
[[nodiscard]] bool is_chat_name_in_use(std::string_view login);

// Adds the visitor to the list; false when the list has that name with that address already.
bool join_chat(std::time_t now);

// Notes that the visitor is there, and drops everybody who was not for three minutes.
void refresh_chat_users(std::time_t now);

}  // namespace quillet
