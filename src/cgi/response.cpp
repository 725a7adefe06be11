#include "cgi/response.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "core/file.h"

namespace quillet {

std::size_t write_output(std::string_view bytes) { return write_all(STDOUT_FILENO, bytes); }

std::size_t write_formatted(const char *format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  const int size = std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  if (size < 0) return 0;
  return write_output({line, std::min(static_cast<std::size_t>(size), sizeof line - 1)});
}

text header_text(std::string_view bytes) {
  text line(bytes);
  std::replace_if(line.data(), line.data() + line.size(), is_control, ' ');
  return line;
}

void write_response(std::string_view content_type, std::string_view body) {
  write_formatted("Content-type: %.*s\nContent-length: %zu\n\n", static_cast<int>(content_type.size()),
                  content_type.data(), body.size());
  write_output(body);
}

}  // namespace quillet
