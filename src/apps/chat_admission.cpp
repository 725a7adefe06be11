#include "apps/chat_admission.h"

#include <algorithm>

#include "apps/chat_settings.h"
#include "apps/chat_users.h"
#include "cgi/file_names.h"
#include "cgi/request.h"
#include "core/deciding_file.h"
#include "core/evaluator.h"
#include "core/operators.h"

namespace quillet {

namespace {

constexpr std::size_t longest_login = 19;

bool is_login_byte(char c) { return is_letter(c) || is_digit(c) || c == '_' || static_cast<unsigned char>(c) >= 192; }

// The password of a protected name; a view whose data() is null when it is not one. A line without ":"
// has an empty password, which nothing equals.
std::string_view find_password(std::string_view passwords, std::string_view login) {
  while (!passwords.empty()) {
    std::string_view name = next_token(passwords, '\n');
    const std::string_view password = cut_at_char(name, ':');
    if (name == login) return password.data() == nullptr ? std::string_view("") : password;
  }
  return {};
}

bool is_banned(std::string_view login) {
  const text banned = read_deciding_file(chat_banned_path(), true, true);
  for (std::string_view rest = banned; !rest.empty();) {
    const std::string_view line = next_token(rest, '\n');
    if (line == login || request.remote_addr.starts_with(line)) return true;
  }
  return false;
}

}  // namespace

bool is_valid_login(std::string_view login) {
  return !login.empty() && login.size() <= longest_login && std::all_of(login.begin(), login.end(), is_login_byte);
}

login_status find_login_status() {
  const text login = chat_login();
  if (!is_valid_login(login)) return login_status::invalid_name;
  const text passwords = read_deciding_file(chat_password_path(), true, true);
  if (const std::string_view password = find_password(passwords, login); password.data() != nullptr) {
    const text given = chat_setting("password");
    return !given.is_null() && given.view() == password ? login_status::accepted : login_status::wrong_password;
  }
  if (is_chat_name_in_use(login)) return login_status::name_in_use;
  return is_banned(login) ? login_status::banned : login_status::accepted;
}

namespace {

// ^validate[accepted;invalid name;wrong password;name in use;banned]
//
// The text, evaluated, that says whether the visitor may chat under the name in the form field `login`; the
// last one when there are fewer.
void op_validate(parameters &parameters, text &out) {
  const int status = static_cast<int>(find_login_status());
  evaluate(parameters[std::min(status, parameters.count() - 1)], out);
}

constexpr operator_definition definitions[] = {
    {"validate", op_validate, 0, lazy, "^validate[accepted;invalid name;wrong password;name in use;banned]",
     "Chooses a text by whether the visitor may chat."},
};

}  // namespace

extern const operator_module chat_admission_operators{"apps/chat_admission.cpp", definitions};

}  // namespace quillet
