#include "macro/macro_files.h"

#include "cgi/file_names.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "macro/macro_library.h"

namespace quillet {

namespace {

constexpr bool drop_empty_lines = false;

// Defines the macros of a file; gives their number, 0 for a file that cannot be read.
int define_macros_of_file(std::string_view path, text *output) {
  const file_text source = view_text_file(path, drop_empty_lines);
  return define_macros(source, output);
}

void use_directory(std::string_view path, text &out) {
  directory_reader reader;
  for (bool ended = open_directory(path, reader); !ended; ended = next_entry(reader)) {
    if (reader.name.is_empty() || reader.name.view().starts_with('.')) continue;
    define_macros_of_file(concat({path, reader.name}), &out);
  }
}

void use_files_on_page_path(text &out) {
  const text page_path = copy_text(request.page_path);
  const std::string_view path = page_path;
  for (std::size_t slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/', slash + 1)) {
    text file(path.substr(0, slash));
    file.append("/_quillet.cfg");
    define_macros_of_file(file, &out);
  }
}

}  // namespace

void load_configuration() {
  if (define_macros_of_file("_macro.cfg", nullptr) > 0) return;
  define_macros_of_file(resolve_file("/_macro.cfg"), nullptr);
}

text process_page(std::string_view page_path) {
  const file_text file = view_text_file(page_path, drop_empty_lines);
  const std::string_view source = file;
  text page;
  if (define_macros(source, &page) == 0) {
    page.reserve(source.size());
    evaluate(source, page);
  }
  return page;
}

void use_macro_files(std::string_view name, text &out) {
  if (name.empty()) return;
  if (name == "quillet.cfg") return use_files_on_page_path(out);
  const text path = resolve_file(name);
  if (path.view().ends_with('/')) return use_directory(path, out);
  define_macros_of_file(underscore_path(path), &out);
}

}  // namespace quillet
