#include "cgi/cookies.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

// ^cookie[name]
// ^cookie[name;value]
// ^cookie[name;value;days]
//
// The first form gives the value of the visitor's cookie, escaped by the quoting mode; no text without
// such a cookie. The others send a cookie at once, for so many days, 90 when nothing is said; a
// negative number removes it, and with 0 it lasts until the browser is closed. Result: empty.
void op_cookie(parameters &parameters, text &out) {
  if (parameters.count() < 2) return quote(cookie_value(parameters[0]), false, out);
  send_cookie(parameters[0], parameters[1], parameters[2].empty() ? usual_cookie_days : parse_int(parameters[2]));
}

constexpr operator_definition definitions[] = {
    {"cookie", op_cookie, 0, evaluated, "^cookie[name] ^cookie[name;value] ^cookie[name;value;days]",
     "Returns the value of a cookie, or sends a cookie."},
};

}  // namespace

extern const operator_module cookie_operators{"language/cookie.cpp", definitions};

}  // namespace quillet
