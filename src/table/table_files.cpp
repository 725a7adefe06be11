// Tables in files: load and save.
#include <cerrno>
#include <memory>
#include <utility>

#include "cgi/file_names.h"
#include "cgi/log.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "core/operators.h"
#include "core/quoting.h"
#include "table/registry.h"

namespace quillet {

namespace {

std::unique_ptr<table> make_table(text &&bytes, bool named) {
  if (named) return std::make_unique<table_named>(std::move(bytes));
  return std::make_unique<table>(std::move(bytes));
}

// The text of the data file nearest to the page: in its directory or, going up, the next one that has
// it. Null when there is none. A file that is there and cannot be read is logged and skipped.
text read_nearest(std::string_view name) {
  text bytes;
  std::string_view directory = request.page_path;
  for (text path; bytes.is_null() && !(path = next_data_file(directory, name)).is_null();) {
    bytes = read_text_file(path, true, false);
    if (bytes.is_null() && errno != ENOENT && errno != ENOTDIR) {
      log_message(error_log, "load from '%s' failed: %s", path.c_str(), file_error().c_str());
    }
  }
  return bytes;
}

// ^load[file]
// ^load[named;file]
//
// Reads the current table from the data file `_file` in the page's directory or the nearest one above
// it; with any parameter before the name, a table whose columns have names. The row whose first cell
// is the longest beginning of the request's URL becomes current. Without a file there is no
// current table any more. Result: empty.
void op_load(parameters &parameters, text &) {
  remove_current_table();
  text bytes = read_nearest(parameters.last());
  if (bytes.is_null()) return;
  std::unique_ptr<table> loaded = make_table(std::move(bytes), parameters.count() >= 2);
  loaded->select_by_prefix(request.request_uri);
  put_table(std::move(loaded));
}

text serialise_current_table() {
  const table *current = current_table();
  return current == nullptr ? text() : current->serialise();
}

// ^save[file]
// ^save[file;text]
//
// Writes the text, or else the rows of the current table, to the data file `_file`. Deliberate: the
// rows of a table whose columns have names are written without their header line. Result: empty.
//
// [save to 'path' failed: no filename specified]
// [save to 'path' failed: the system's description(#error number)]
void op_save(parameters &parameters, text &out) {
  const quoting_scope scope(quoting_none);
  const expansion name = evaluate(parameters[0]);
  const text path = name.is_empty() ? text() : underscore_path(resolve_file(name));
  const text bytes = parameters.count() >= 2 ? evaluate_copy(parameters[1]) : serialise_current_table();
  const text failure = write_text_file(path, bytes, false);
  if (!failure.is_null()) report_error({"save to '", path, "' failed: ", failure}, out);
}

constexpr operator_definition definitions[] = {
    {"load", op_load, 0, evaluated, "^load[file] ^load[named;file]", "Reads the current table from a data file."},
    {"save", op_save, 0, lazy, "^save[file] ^save[file;text]", "Writes the current table, or a text, to a data file."},
};

}  // namespace

extern const operator_module table_file_operators{"table/table_files.cpp", definitions};

}  // namespace quillet
