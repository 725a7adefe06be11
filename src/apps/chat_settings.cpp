#include "apps/chat_settings.h"

#include <algorithm>
#include <utility>

#include "cgi/cookies.h"
#include "cgi/form.h"

namespace quillet {

namespace {

constexpr std::string_view setting_names[] = {"login",       "refresh_chat", "refresh_userlist", "password",
                                              "revert_mode", "color",        "lines_count"};

// The form field with its spaces as "_"; null without one.
text setting_field(std::string_view name) {
  text value = form_text(name);
  replace_chars(value, ' ', '_');
  return value;
}

}  // namespace

text chat_login() { return setting_field("login"); }

text shown_name(std::string_view login) {
  text name(login);
  replace_chars(name, '_', ' ');
  return name;
}

text chat_setting(std::string_view name) {
  if (std::find(std::begin(setting_names), std::end(setting_names), name) == std::end(setting_names)) return {};
  text value = setting_field(name);
  return value.is_null() ? cookie_value(name) : std::move(value);
}

void send_changed_chat_settings() {
  if (form_entries().empty()) return;
  for (const std::string_view name : setting_names) {
    const text value = setting_field(name);
    if (!value.is_null() && value.view() != cookie_value(name).view()) send_cookie(name, value, usual_cookie_days);
  }
}

}  // namespace quillet
