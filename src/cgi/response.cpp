#include "cgi/response.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace quillet {

namespace {

constexpr std::size_t line_size = 1024;  // with the NUL byte

// As many of the bytes as fit.
[[gnu::format(printf, 2, 0)]] std::string_view format_line(char (&line)[line_size], const char *format,
                                                           std::va_list arguments) {
  const int size = std::vsnprintf(line, line_size, format, arguments);
  return {line, std::min(static_cast<std::size_t>(std::max(size, 0)), line_size - 1)};
}

[[gnu::format(printf, 2, 3)]] std::string_view format_line(char (&line)[line_size], const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string_view formatted = format_line(line, format, arguments);
  va_end(arguments);
  return formatted;
}

}  // namespace

std::size_t write_formatted(const char *format, ...) {
  char line[line_size];
  std::va_list arguments;
  va_start(arguments, format);
  const std::string_view formatted = format_line(line, format, arguments);
  va_end(arguments);
  return write_output(formatted);
}

text header_text(std::string_view bytes) {
  text line(bytes);
  std::replace_if(line.data(), line.data() + line.size(), is_control, ' ');
  return line;
}

void write_response(std::string_view content_type, std::string_view body) {
  char line[line_size];
  text response(format_line(line, "Content-type: %.*s\nContent-length: %zu\n\n", static_cast<int>(content_type.size()),
                            content_type.data(), body.size()));
  // A page of usual size goes out in one piece, and the server wakes up once for it.
  constexpr std::size_t largest_in_one_piece = 16384;
  if (body.size() > largest_in_one_piece) {
    write_output(response);
    write_output(body);
    return;
  }
  response.append(body);
  write_output(response);
}

}  // namespace quillet
