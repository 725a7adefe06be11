#include "apps/chat_users.h"

#include "apps/chat_settings.h"
#include "cgi/file_names.h"
#include "cgi/request.h"
#include "core/deciding_file.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "core/operators.h"

namespace quillet {

namespace {

// A user who was active this many seconds ago is still present.
constexpr long long active_seconds = 179;

text read_user_list(bool lock) { return read_text_file(chat_user_list_path(), true, lock); }

void append_user(const chat_user &user, text &list) {
  list.append(user.login);
  list.append(' ');
  list.append(user.address);
  list.append(' ');
  list.append(format_signed(user.last_active));
  list.append('\n');
}

// Whether the condition holds for any user of the list.
template <class condition>
bool any_user(std::string_view list, condition holds) {
  while (!list.empty()) {
    if (holds(read_chat_user(next_token(list, '\n')))) return true;
  }
  return false;
}

}  // namespace

chat_user read_chat_user(std::string_view line) {
  chat_user user;
  user.login = next_token(line, ' ');
  user.address = next_token(line, ' ');
  user.last_active = parse_long(line);
  return user;
}

bool is_chat_name_in_use(std::string_view login) {
  return any_user(read_deciding_file(chat_user_list_path(), true, true), [login](const chat_user &user) {
    return user.login == login && user.address != request.remote_addr;
  });
}

bool join_chat(std::time_t now) {
  const text login = chat_login();
  const bool is_present = any_user(read_user_list(true), [&login](const chat_user &user) {
    return user.login == login.view() && user.address == request.remote_addr;
  });
  if (is_present) return false;
  text list = read_user_list(true);
  if (list.is_null() && is_system_failure()) return true;  // it stays as it is
  append_user({login, request.remote_addr, now}, list);
  static_cast<void>(write_text_file(chat_user_list_path(), list, true));
  return true;
}

void refresh_chat_users(std::time_t now) {
  // Deliberate: read without a lock.
  const text list = read_user_list(false);
  if (list.is_null() && is_system_failure()) return;  // it stays as it is
  const text login = chat_login();
  text kept;
  for (std::string_view rest = list; !rest.empty();) {
    chat_user user = read_chat_user(next_token(rest, '\n'));
    if (user.login == login.view() && user.address == request.remote_addr) user.last_active = now;
    if (user.last_active >= now - active_seconds) append_user(user, kept);
  }
  static_cast<void>(write_text_file(chat_user_list_path(), kept, true));
}

namespace {

// The user that a `userlist` with a body has come to.
constinit text current_list_user;

// Deliberate: a list within the body of another leaves that one, too, without a user.
struct list_walk {
  list_walk() = default;
  list_walk(const list_walk &) = delete;
  list_walk &operator=(const list_walk &) = delete;
  ~list_walk() { current_list_user.clear(); }
};

// ^userlist[body]
// ^userlist[]
//
// The body, evaluated for everybody in the list. Within it the second form gives the name, its "_" as
// spaces; anywhere else nothing. The second form also notes that the visitor is there, and drops everybody
// from the list who was not for three minutes.
void op_userlist(parameters &parameters, text &out) {
  const std::string_view body = parameters[0];
  if (body.empty()) {
    refresh_chat_users(std::time(nullptr));
    return out.append(current_list_user);
  }
  const text list = read_user_list(true);
  const list_walk walk;
  const loop_scope loop(body);
  for (std::string_view rest = list; !rest.empty();) {
    current_list_user = shown_name(read_chat_user(next_token(rest, '\n')).login);
    evaluate(body, out);
  }
}

constexpr operator_definition definitions[] = {
    {"userlist", op_userlist, 0, lazy, "^userlist[body] ^userlist[]", "The users in the chat, one after the other."},
};

}  // namespace

extern const operator_module chat_user_operators{"apps/chat_users.cpp", definitions};

}  // namespace quillet
