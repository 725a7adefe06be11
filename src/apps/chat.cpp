// The chat: operators for a page that shows messages and those who write them, and takes new ones. All of
// it is in a few text files; there is no process but the one of each request.
#include <cstdlib>

#include "apps/chat_settings.h"
#include "cgi/log.h"
#include "cgi/request.h"
#include "core/operators.h"

namespace quillet {

namespace {

// The visitor's address, and the one that a proxy on the way has seen.
text client_address() {
  text client;
  if (std::getenv("HTTP_VIA") != nullptr) {
    const char *forwarded_for = std::getenv("HTTP_X_FORWARDED_FOR");
    if (forwarded_for != nullptr) client.append(forwarded_for);
    client.append(" via proxy ");
  }
  client.append(request.remote_addr);
  return client;
}

// ^log[text]
//
// Writes a line to the access log: the visitor's address, "as", the login name or "anonymous", the text.
// Result: empty.
void op_log(parameters &parameters, text &) {
  const text login = chat_login();
  log_message(access_log, "%s as %s: %s", client_address().c_str(), login.is_null() ? "anonymous" : login.c_str(),
              text(parameters[0]).c_str());
}

// ^login[]
// ^login[shown]
//
// The name in the form field `login`, its spaces as "_"; with a parameter that has any text, with spaces.
void op_login(parameters &parameters, text &out) {
  const text login = chat_login();
  if (parameters[0].empty()) return out.append(login);
  out.append(shown_name(login));
}

// ^cookie[setting]
//
// A chat setting, its "_" as spaces; no text for the password. Deliberate: gives way to the operator of
// the same name that is registered before.
void op_cookie(parameters &parameters, text &out) {
  if (parameters[0] != "password") out.append(shown_name(chat_setting(parameters[0])));
}

constexpr operator_definition definitions[] = {
    {"log", op_log, 1, evaluated, "^log[text]", "Writes a line to the access log."},
    {"login", op_login, 0, evaluated, "^login[] ^login[shown]", "The visitor's name in the chat."},
    {"cookie", op_cookie, 1, evaluated, "^cookie[setting]", "A chat setting."},
};

}  // namespace

extern const operator_module chat_operators{"apps/chat.cpp", definitions};

}  // namespace quillet
