// What the chat knows of the visitor: form fields, and cookies that keep them.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// The name to chat under, the form field `login`: its spaces as "_"; null without one.
[[nodiscard]] text chat_login();

// A login name as it is shown: its "_" as spaces.
[[nodiscard]] text shown_name(std::string_view login);

// One of the settings `login`, `refresh_chat`, `refresh_userlist`, `password`, `revert_mode`, `color` and
// `lines_count`: the form field of that name, its spaces as "_", or else the cookie. Null without both, and
// for any other name.
[[nodiscard]] text chat_setting(std::string_view name);

// Sends the cookie of each setting that has a form field and another value in its cookie, or none.
void send_changed_chat_settings();

}  // namespace quillet
