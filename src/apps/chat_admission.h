// Who may chat.
#pragma once

#include <string_view>

namespace quillet {

enum class login_status : int { accepted = 0, invalid_name = 1, wrong_password = 2, name_in_use = 3, banned = 4 };

// 1 to 19 bytes: ASCII letters and digits, "_", and bytes from 192 on, the letters of the Cyrillic charsets.
[[nodiscard]] bool is_valid_login(std::string_view login);

// The status of the visitor. A protected name with the right password is accepted whatever else there is
// against it.
[[nodiscard]] login_status find_login_status();

}  // namespace quillet
