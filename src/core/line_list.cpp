#include "core/line_list.h"

namespace quillet {

void line_list_append(text &list, std::string_view name) {
  list.append(name);
  list.append('\n');
}

void line_list_append(text &list, std::string_view name, std::string_view value) {
  list.append(name);
  list.append(' ');
  list.append(value);
  list.append('\n');
}

void line_list_append_if_value(text &list, std::string_view name, std::string_view value) {
  if (!value.empty()) line_list_append(list, name, value);
}

std::string_view line_list_find(std::string_view list, std::string_view name) {
  while (!name.empty() && !list.empty()) {
    const std::string_view line = next_token(list, '\n');
    const std::size_t blank = line.find(' ', 1);
    if (blank != std::string_view::npos && line.substr(0, blank) == name) return line.substr(blank + 1);
  }
  return {};
}

}  // namespace quillet
