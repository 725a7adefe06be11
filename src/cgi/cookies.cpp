#include "cgi/cookies.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "cgi/request.h"
#include "cgi/response.h"

namespace quillet {

namespace {

// The value of the cookie, still escaped.
std::string_view escaped_cookie(std::string_view wanted) {
  std::string_view rest = request.http_cookie;
  while (rest.data() != nullptr) {
    std::string_view name = next_token(rest, ';');
    std::string_view value = cut_at_char(name, '=');
    name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
    if (name != wanted) continue;
    // Deliberate: a space ends the value, the last one of several.
    cut_at_last_char(value, ' ');
    return value;
  }
  return {};
}

// Appends the time that lies so many days ahead, as cookies have it: "Sun, 06-Nov-1994 08:49:37 GMT".
void append_expiry(int days, text &line) {
  constexpr const char *week_days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::time_t end = std::time(nullptr) + std::time_t{days} * 86400;
  std::tm utc{};
  if (gmtime_r(&end, &utc) == nullptr) return;
  char expiry[80];
  const int size =
      std::snprintf(expiry, sizeof expiry, "; expires=%s, %.2d-%s-%.4ld %.2d:%.2d:%.2d GMT", week_days[utc.tm_wday],
                    utc.tm_mday, months[utc.tm_mon], utc.tm_year + 1900L, utc.tm_hour, utc.tm_min, utc.tm_sec);
  line.append({expiry, static_cast<std::size_t>(size)});
}

}  // namespace

text cookie_value(std::string_view name) { return url_unescape(escaped_cookie(name)); }

void send_cookie(std::string_view name, std::string_view value, int days) {
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

}  // namespace quillet
