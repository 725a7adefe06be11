#include "dev/run/shown.h"

#include <unistd.h>

#include <climits>
#include <cstdio>

namespace quillet::dev {

std::string shown_path(std::string_view path) {
  char directory[PATH_MAX];
  if (getcwd(directory, sizeof directory) == nullptr) return std::string(path);
  std::string below(directory);
  if (!below.ends_with('/')) below += '/';
  return std::string(path.starts_with(below) ? path.substr(below.size()) : path);
}

std::string shown_place(const observation &seen, const place &where) {
  if (!where.is_known()) return "?";
  return shown_path(seen.files[static_cast<std::size_t>(where.file)]) + ':' + std::to_string(where.line) + ':' +
         std::to_string(where.column);
}

std::string shown_value(std::string_view value, std::size_t size, std::size_t most) {
  std::string shown;
  for (const char c : value) {
    if (shown.size() >= most) return shown + "...";
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      shown += "\\n";
    } else if (c == '\t') {
      shown += "\\t";
    } else if (byte < ' ' || byte == 127) {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02x", byte);
      shown += escape;
    } else {
      shown += c;
    }
  }
  if (size > value.size()) shown += "...";
  return shown;
}

std::string shown_call(const observed_call &call, std::size_t most) {
  if (call.is_macro_body) return "macro " + call.name;
  std::string all;
  for (const std::string &parameter : call.parameters) {
    if (&parameter != call.parameters.data()) all += ';';
    all += parameter;
  }
  return '^' + shown_value(call.name, call.name.size(), most) + '[' + shown_value(all, all.size(), most) + ']';
}

std::string changed_state(const observed_call &call, const observed_call &before) {
  std::string changed;
  if (call.table != before.table) changed += ", table " + (call.table.empty() ? "(none)" : call.table);
  if (call.row != before.row && call.row >= 0) changed += ", row " + std::to_string(call.row);
  if (call.mode != before.mode) changed += ", mode " + call.mode;
  return changed.empty() ? changed : changed.substr(2);
}

observed_call call_of_no_state() {
  observed_call none;
  none.mode = "html";
  return none;
}

std::string shown_time(std::int64_t nanoseconds) {
  char line[40];
  std::snprintf(line, sizeof line, "%.3f", static_cast<double>(nanoseconds) / 1e6);
  return line;
}

}  // namespace quillet::dev
