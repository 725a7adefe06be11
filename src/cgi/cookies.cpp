#include "cgi/cookies.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <unordered_map>

#include "cgi/request.h"
#include "cgi/response.h"
#include "core/keyed_hash.h"

namespace quillet {

namespace {

struct sent_cookie {
  std::string_view name;
  std::string_view value;  // still escaped
};

// Takes the next cookie off the header's rest.
sent_cookie next_cookie(std::string_view &rest) {
  std::string_view name = next_token(rest, ';');
  std::string_view value = cut_at_char(name, '=');
  name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
  // Deliberate: a space ends the value, the last one of several.
  cut_at_last_char(value, ' ');
  return {name, value};
}

// The first cookie of each name, made once a page has gone through the header several times: of 10,000 cookies each
// one read takes 20 ms instead of 1.5 s.
struct {
  std::string_view header;
  std::size_t passed = 0;  // bytes of the header that were looked through
  std::unordered_map<std::string_view, std::string_view, keyed_hasher> values;
} cookie_index;

void make_cookie_index() {
  std::string_view rest = cookie_index.header;
  while (rest.data() != nullptr) {
    const sent_cookie cookie = next_cookie(rest);
    cookie_index.values.emplace(cookie.name, cookie.value);
  }
}

// The value of the cookie, still escaped; a view whose data() is null when there is none.
std::string_view escaped_cookie(std::string_view wanted) {
  const std::string_view header = request.http_cookie;
  if (header.data() != cookie_index.header.data() || header.size() != cookie_index.header.size()) {
    cookie_index = {header, 0, {}};
  }
  if (cookie_index.values.empty() && cookie_index.passed > 16 * (header.size() + 256)) make_cookie_index();
  if (!cookie_index.values.empty()) {
    const auto found = cookie_index.values.find(wanted);
    return found == cookie_index.values.end() ? std::string_view() : found->second;
  }
  std::string_view rest = header;
  while (rest.data() != nullptr) {
    const sent_cookie cookie = next_cookie(rest);
    if (cookie.name == wanted) return cookie.value;
    cookie_index.passed += cookie.name.size() + cookie.value.size() + 1;
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

void forget_cookies() {
  cookie_index.header = {};
  cookie_index.passed = 0;
  cookie_index.values.clear();
}

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
