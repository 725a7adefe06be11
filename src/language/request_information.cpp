#include <algorithm>
#include <cstdlib>
#include <utility>

#include "cgi/charset.h"
#include "cgi/form.h"
#include "cgi/request.h"
#include "cgi/response.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

// ^form[name]
//
// The value of the first form field of that name, escaped by the quoting mode; "(file)" for an
// uploaded file; no text without such a field.
//
// [form element name exceeds maxlength]
void op_form(parameters &parameters, text &out) {
  const std::string_view name = parameters[0];
  const std::optional<form_entry> entry = find_form_entry(name);
  if (!entry) return;
  if (is_oversized(*entry)) return out.append(concat({"[form element ", name, " exceeds maxlength]"}));
  text value;
  append_form_text(*entry, value);
  quote(value, false, out);
}

// Whether the text has the form of a number. Deliberate: a sign alone, a "." alone and nothing at all
// have it, and the "." that may open a number does not count as its decimal point.
bool is_number(std::string_view value) {
  if (!value.empty() && (value.front() == '+' || value.front() == '-' || value.front() == '.')) value.remove_prefix(1);
  const std::string_view fraction = cut_at_char(value, '.');
  return std::all_of(value.begin(), value.end(), is_digit) && std::all_of(fraction.begin(), fraction.end(), is_digit);
}

// ^number[name]
//
// The value of the form field when it has the form of a number: a sign, digits, a decimal point.
// Otherwise, and without such a field, "0".
void op_number(parameters &parameters, text &out) {
  const std::optional<form_entry> entry = find_form_entry(parameters[0]);
  text value;
  if (entry && !is_oversized(*entry)) append_form_text(*entry, value);
  out.append(entry && !is_oversized(*entry) && is_number(value) ? value.view() : "0");
}

// ^query[]
//
// The query string as the web server passed it: still URL-encoded, not escaped.
void op_query(parameters &, text &out) { out.append(request.query_string); }

// ^mangle[text]
//
// The text for use in a URL: recoded to the charset of the page, a space as "+", ASCII letters
// and digits as they are, every other byte as "%" and two hexadecimal digits. Deliberate: unlike in cookies,
// "_", "-" and "." are encoded too, and the digits are in lower case.
void op_mangle(parameters &parameters, text &out) { out.append(recode_and_url_encode(parameters[0])); }

// ^env[name]
//
// The environment variable, escaped by the quoting mode; no text when it is not set.
void op_env(parameters &parameters, text &out) {
  if (parameters[0].empty()) return;
  const char *value = std::getenv(text(parameters[0]).c_str());
  if (value != nullptr) quote(value, false, out);
}

// ^uri[]
//
// The URL of the page as the client requested it, its query string included, not escaped.
void op_uri(parameters &, text &out) { out.append(request.request_uri); }

// ^combine[name]
// ^combine[name;separator]
//
// The values of every form field of that name, in the order they arrived, joined by the separator
// ("|" when none is given), escaped by the quoting mode.
void op_combine(parameters &parameters, text &out) {
  const std::string_view separator = parameters.count() > 1 ? parameters[1] : "|";
  bool first = true;
  for (auto entry = find_form_entry(parameters[0]); entry; entry = find_next_form_entry()) {
    if (!first) quote(separator, false, out);
    first = false;
    text value;
    append_form_text(*entry, value);
    quote(value, false, out);
  }
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

// A header line is at most this long, its line feed included.
constexpr std::size_t longest_header_line = 1023;

// Writes "name: value" to the client. A value that is too long is cut, never the line feed. A name that
// would end the line, or leave no room in it for ": ", writes nothing.
void write_header_line(std::string_view name, std::string_view value) {
  constexpr std::size_t room = longest_header_line - sizeof ": \n" + 1;
  if (name.size() > room || name.find_first_of("\r\n") != std::string_view::npos) return;
  const std::size_t value_size = std::min(value.size(), room - name.size());
  write_formatted("%.*s: %.*s\n", static_cast<int>(name.size()), name.data(), static_cast<int>(value_size),
                  value.data());
}

// ^header[name;value]
//
// Sends a header line. `content-type`, in upper or lower case, sets the content type of the page instead;
// without a value it keeps the type and only marks it as chosen by the page. Line breaks in the value
// become spaces. A name with a line break, or none, sends nothing. Result: empty.
void op_header(parameters &parameters, text &) {
  text value(parameters[1]);
  replace_chars(value, '\n', ' ');
  replace_chars(value, '\r', ' ');
  if (parameters[0].empty()) return;
  if (!equal_ignoring_case(parameters[0], "content-type")) return write_header_line(parameters[0], value);
  request.content_type_set = true;
  if (!value.is_empty()) request.response_content_type = std::move(value);
}

constexpr operator_definition definitions[] = {
    {"form", op_form, 1, evaluated, "^form[name]", "The value of a form field."},
    {"number", op_number, 1, evaluated, "^number[name]", "The value of a form field if it is a number, otherwise 0."},
    {"query", op_query, 0, evaluated, "^query[]", "The query string."},
    {"mangle", op_mangle, 1, evaluated, "^mangle[text]", "URL-encodes a text."},
    {"env", op_env, 1, evaluated, "^env[name]", "The value of an environment variable."},
    {"uri", op_uri, 0, evaluated, "^uri[]", "The URL of the page."},
    {"combine", op_combine, 0, evaluated, "^combine[name] ^combine[name;separator]",
     "All values of a form field, joined."},
    {"browser", op_browser, 2, evaluated, "^browser[kind;highest version]", "The major version of the browser."},
    {"header", op_header, 2, evaluated, "^header[name;value]", "Sends a response header."},
};

}  // namespace

extern const operator_module request_information_operators{"language/request_information.cpp", definitions};

}  // namespace quillet
