#include <cstdlib>

#include "cgi/request.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

// ^env[name]
//
// The environment variable, escaped by the quoting mode; no text when it is not set.
void op_env(parameters &parameters, text &out) {
  if (parameters[0].empty()) return;
  const char *value = std::getenv(text(parameters[0]).c_str());
  if (value != nullptr) quote(value, false, out);
}

// The user agent, in capitals, from where it gives the version of a browser of this kind; a view whose
// data() is null for any other browser.
std::string_view browser_version(std::string_view user_agent, std::string_view kind) {
  if (user_agent.find("COMPATIBLE") != std::string_view::npos) {
    return kind == "ie" ? cut_at_text(user_agent, "MSIE ") : std::string_view();
  }
  constexpr std::string_view mark = "MOZILLA/";
  return kind == "nn" && user_agent.starts_with(mark) ? user_agent.substr(mark.size()) : std::string_view();
}

// ^browser[kind;highest version]
//
// The major version of the visitor's browser, one digit, when it is of that kind ("ie": compatible
// and MSIE; "nn": Mozilla and not compatible) and the version is not above the highest one. Otherwise
// no text.
void op_browser(parameters &parameters, text &out) {
  text user_agent = text_or_null(request.http_user_agent);
  upper_in_place(user_agent);
  const std::string_view version = browser_version(user_agent, parameters[0]);
  if (version.data() == nullptr) return;
  // Deliberate: only the first digit counts, and a version that cannot be read is version 1.
  const char digit = !version.empty() && version[0] >= '1' && version[0] <= '9' ? version[0] : '1';
  if (digit - '0' <= parse_int(parameters[1])) out.append(digit);
}

constexpr operator_definition definitions[] = {
    {"env", op_env, 1, evaluated, "^env[name]", "The value of an environment variable."},
    {"browser", op_browser, 2, evaluated, "^browser[kind;highest version]", "The major version of the browser."},
};

}  // namespace

extern const operator_module environment_operators{"language/environment.cpp", definitions};

}  // namespace quillet
