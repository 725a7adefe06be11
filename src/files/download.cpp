#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "cgi/file_names.h"
#include "cgi/request.h"
#include "cgi/response.h"
#include "core/file.h"
#include "core/onlooker.h"
#include "core/operators.h"
#include "files/attachment.h"
#include "macro/macro_library.h"
#include "table/table.h"

namespace quillet {

namespace {

constexpr std::size_t piece_size = 256 * 1024;

// The last component of the path.
std::string_view file_name(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);  // none gives 0
  return name.empty() ? unnamed_file : name;
}

// The rows "extension, content type": the macro MIME_TYPES or, where there is none, the environment
// variable.
text type_rows() {
  constexpr std::string_view setting = "MIME_TYPES";
  text rows;
  if (find_macro(setting) != nullptr) {
    call_macro(setting, {}, rows);
  } else if (const char *value = std::getenv(setting.data())) {
    rows = text(value);
  }
  return rows;
}

// The content type by what follows the last "." of the name.
text type_by_name(std::string_view name) {
  const std::string_view extension = cut_at_last_char(name, '.');
  table types(type_rows());
  std::string_view type;
  if (types.locate("0", extension)) type = types.item(1);
  return text(type.empty() ? "application/octet-stream" : type);
}

void write_headers(std::string_view type, long long size, std::string_view name) {
  text lines("Content-type: ");
  lines.append(header_text(type));
  lines.append("\nContent-length: ");
  lines.append(format_signed(size));
  lines.append("\nContent-Disposition: filename=\"");
  lines.append(header_text(name));
  lines.append("\"\n\n");
  write_output(lines);
}

// Sends the file as the response, in pieces, however large it is. Null on success; an error text, and
// nothing is sent, when it cannot be read. A file that grows meanwhile is sent up to the size announced.
text send_file(std::string_view path, std::string_view type, std::string_view name) {
  if (path.empty()) return text("no filename specified");
  const open_file file(path, O_RDONLY);
  long long left = file < 0 ? -1 : file.size();
  if (left < 0) return file_error();
  const auto next_size = [&] { return static_cast<std::size_t>(std::min<long long>(left, piece_size)); };
  text piece;
  char *const buffer = piece.reserve(next_size());
  errno = 0;
  std::size_t n = file.read_some(buffer, next_size());
  if (n == 0 && errno != 0) return file_error();
  if (left <= static_cast<long long>(piece_size)) left = static_cast<long long>(n);  // the whole file is here
  write_headers(type, left, name);
  for (; n > 0; n = file.read_some(buffer, next_size())) {
    if (write_output({buffer, n}) != n) break;
    left -= static_cast<long long>(n);
  }
  return {};
}

// ^download[file]
// ^download[file;name]
// ^download[file;name;content type]
//
// Sends the file as the whole response; the page's own output is not sent, but the page must have some.
// `name`: what the browser calls it, the file's own name when it is empty. `content type`: without one the
// table MIME_TYPES says it by the name's extension, otherwise it is "application/octet-stream". Control
// bytes of both become spaces. Result: empty.
//
// [download error: no filename specified]
// [download error: the system's description(#error number)]
void op_download(parameters &parameters, text &out) {
  const text path = parameters[0].empty() ? text() : resolve_file(parameters[0]);
  const std::string_view name = file_name(parameters[1].empty() ? path.view() : parameters[1]);
  const text type = parameters[2].empty() ? type_by_name(name) : text(parameters[2]);
  const text failure = send_file(path, type, name);
  if (failure.is_null()) {
    request.print_response = false;
    return;
  }
  const std::size_t start = out.size();
  out.append("[download error: ");
  out.append(failure);
  out.append(']');
  tell_message(out.view().substr(start));
}

constexpr operator_definition definitions[] = {
    {"download", op_download, 0, evaluated, "^download[file] ^download[file;name] ^download[file;name;content type]",
     "Sends a file as the response."},
};

}  // namespace

extern const operator_module download_operators{"files/download.cpp", definitions};

}  // namespace quillet
