#include "files/cookie.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "cgi/request.h"
#include "cgi/response.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

constexpr int usual_days = 90;

// The value of the visitor's cookie of that name, still escaped.
std::string_view cookie_value(std::string_view wanted) {
  std::string_view rest = request.http_cookie;
  while (rest.data() != nullptr) {
    std::string_view name = next_token(rest, ';');
    std::string_view value = cut_at_char(name, '=');
    name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
    if (name != wanted) continue;
    // Deliberate: a blank ends the value, the last one of several.
    cut_at_last_char(value, ' ');
    return value;
  }
  return {};
}

// Appends the time that lies so many days ahead, as cookies have it: "Sun, 06-Nov-1994 08:49:37 GMT".
void append_expiry(int days, text &line) {
  constexpr const char *week_days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::time_t end = std::time(nullptr) + std::time_t{days} * 86400;
  std::tm utc{};
  if (gmtime_r(&end, &utc) == nullptr) return;
  char expiry[80];
  const int size = std::snprintf(expiry, sizeof expiry, "; expires=%s, %.2d-%s-%.4d %.2d:%.2d:%.2d GMT",
                                 week_days[utc.tm_wday], utc.tm_mday, months[utc.tm_mon], utc.tm_year + 1900,
                                 utc.tm_hour, utc.tm_min, utc.tm_sec);
  line.append({expiry, static_cast<std::size_t>(size)});
}

// Sends the header line. A name with control bytes, which could end the line, sends nothing.
void write_cookie(std::string_view name, std::string_view value, int days) {
  if (name.empty() || std::any_of(name.begin(), name.end(), is_control)) return;
  text line("Set-Cookie: ");
  line.append(name);
  line.append('=');
  line.append(url_escape(value));
  line.append("; path=/");
  if (days != 0) append_expiry(days, line);
  line.append('\n');
  write_output(line);
}

// ^cookie[name]
// ^cookie[name;value]
// ^cookie[name;value;days]
//
// The first form gives the value of the visitor's cookie, escaped by the quoting mode; no text without
// such a cookie. The others send a cookie at once, for so many days, 90 when they are not said; a
// negative number removes it, and with 0 it lasts until the browser is closed. No text.
void op_cookie(parameters &parameters, text &out) {
  if (parameters.count() < 2) return quote(url_unescape(cookie_value(parameters[0])), false, out);
  write_cookie(parameters[0], parameters[1], parameters.count() > 2 ? parse_int(parameters[2]) : usual_days);
}

constexpr operator_definition module[] = {
    {"cookie", op_cookie, 0, evaluated, "^cookie[name] ^cookie[name;value] ^cookie[name;value;days]",
     "The value of a cookie, or sends one."},
};

}  // namespace

void register_cookie_operator() { register_operators(module); }

}  // namespace quillet
