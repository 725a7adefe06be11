// Following a page: files that are read, asked for, and written.
#include <array>
#include <utility>

#include "cgi/file_names.h"
#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/page_walk.h"
#include "dev/check/walk_scopes.h"

namespace quillet::dev {

namespace {

std::string with_underscore(const std::string &path) { return std::string(underscore_path(path).view()); }

}  // namespace

std::string page_walk::path_of(const walk_value &name) const { return in_.files.resolve(*page_.page, name.text); }

// The directories of the page and those above it, each followed by the name.
std::vector<std::string> page_walk::paths_upward(std::string_view name) const {
  std::vector<std::string> paths;
  std::string_view folder = page_.page->path();
  for (std::size_t slash; (slash = folder.rfind('/')) != std::string_view::npos;) {
    folder = folder.substr(0, slash);
    paths.push_back(normal_path(std::string(folder) + "/" + std::string(name)));
  }
  return paths;
}

void page_walk::missing_file(const call &each, const frame &in, std::vector<std::string> paths, std::string message) {
  if (guards_ > 0) return;
  report({.rule = "name-file",
          .file = in.file,
          .part = {each.caret(), each.name.end},
          .message = std::move(message),
          .paths = std::move(paths)});
}

void page_walk::on_include(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  const walk_value &name = values.back();
  check_name(name, "file", each, in);
  const bool as_is = values.size() == 2 && values[0].is("asis");
  if (!name.is_known()) {
    if (!as_is) state_.change().forget_all();
    return out.unknown();
  }
  const std::string path = path_of(name);
  const document *const file = in_.files.find(path, as_is ? document_kind::data : document_kind::included);
  if (name.text.empty()) return;
  if (file == nullptr) return missing_file(each, in, {path}, "there is no file " + name.text + " to include");
  if (as_is) return out.unknown();
  for (const template_text *whole : file->templates()) evaluate(*whole, {file}, out);
}

void page_walk::on_save(const call &each, const frame &in, walk_output &out) {
  const number_scope plain(quoting_, quoting_none);
  const std::vector<walk_value> values = values_of(each, in);
  check_name(values[0], "file", each, in);
  written_.insert(with_underscore(path_of(values[0])));
  if (out.to == walk_output::kind::value) out.unknown();
}

void page_walk::on_upload(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  if (values.size() < 2) return out.unknown();
  const walk_value &what = values[1];
  if (what.is("name") || what.is("value")) {
    return put_visitor("upload " + (values[0].is_known() ? values[0].text : "?"), each, in, 0, out);
  }
  out.unknown();
  if (what.is("size") || what.is("uuencode")) return;
  check_name(what, "file", each, in);
  written_.insert(path_of(what));
}

void page_walk::on_counter(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  check_name(name, "file", each, in);
  written_.insert(path_of(name) + ".count");
  out.unknown();
}

void page_walk::on_readable(const call &each, const frame &in, walk_output &out) {
  walk_value name = value_of(each, 0, in);
  check_name(name, "file", each, in);
  asked_paths_.insert(path_of(name));
  put(name, out);
}

void page_walk::on_find(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  check_name(name, "file", each, in);
  for (std::string &path : paths_upward(name.text)) asked_paths_.insert(std::move(path));
  if (each.parameters.size() < 2) return out.unknown();
  const template_text *const alternatives[] = {nullptr, &each.parameters.back()};
  branches(alternatives, in, out);
  out.unknown();
}

void page_walk::on_index(const call &each, const frame &in, walk_output &) {
  const std::vector<walk_value> values = values_of(each, in);
  check_name(values[0], "folder", each, in);
  if (values.size() > 1) check_pattern(values[1], each, in);
  make_table(plain_table(), each, in);
}

void page_walk::check_picture(const walk_value &name, const call &each, const frame &in) {
  check_name(name, "file", each, in);
  if (!name.is_known() || name.text.empty() || !name.visitors.empty()) return;
  const std::string path = path_of(name);
  if (in_.files.find(path, document_kind::data) != nullptr) return;
  missing_file(each, in, {path}, "there is no picture " + name.text);
}

void page_walk::on_picture_size(const call &each, const frame &in, walk_output &) {
  check_picture(value_of(each, 0, in), each, in);
  make_table(plain_table(), each, in);
}

void page_walk::on_gif_template(const call &each, const frame &in, walk_output &) {
  const std::vector<walk_value> values = values_of(each, in);
  check_picture(values[0], each, in);
  if (values.size() > 2) {
    check_name(values[2], "file", each, in);
    written_.insert(path_of(values[2]));
  }
  const known_macro *const font = state_->macros.find("font");
  if (font == nullptr || font->body == nullptr) return;
  const std::string_view description = font->file->text(font->body->range);
  walk_value path{std::string(description.substr(0, description.find('\n'))), {}};
  if (path.text.find_first_of("^$") != std::string::npos || path.text.empty()) return;
  if (in_.files.find(path_of(path), document_kind::data) != nullptr) return;
  report({.rule = "name-file",
          .file = font->file,
          .part = {font->body->range.begin, font->body->range.begin + path.text.size()},
          .message = "there is no picture " + path.text,
          .paths = {path_of(path)}});
}

// Operators that take a file's name and give what is not followed.
void page_walk::on_file(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  const std::size_t index = in.file->text(each.name) == "stat" ? 1 : 0;
  if (index < values.size()) check_name(values[index], "file", each, in);
  out.unknown();
}

}  // namespace quillet::dev
