#include <algorithm>
#include <utility>

#include "cgi/request.h"
#include "cgi/response.h"
#include "core/operators.h"

namespace quillet {

namespace {

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
    {"header", op_header, 2, evaluated, "^header[name;value]", "Sends a response header."},
};

}  // namespace

extern const operator_module header_operators{"language/header.cpp", definitions};

}  // namespace quillet
