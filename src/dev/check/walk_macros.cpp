// Following a page: macros and the files that define them.
#include <algorithm>
#include <utility>

#include "cgi/file_names.h"
#include "core/file.h"
#include "core/text.h"
#include "dev/check/near_name.h"
#include "dev/check/page_walk.h"
#include "macro/macro_library.h"

namespace quillet::dev {

namespace {

std::string with_underscore(std::string_view name) { return std::string(underscore_path(name).view()); }

}  // namespace

// The page's path below the root.
std::string page_walk::shown_page() const {
  const std::string &path = page_.page->path();
  const std::string &root = in_.files.folders().root;
  return path.starts_with(root + "/") ? path.substr(root.size()) : path;
}

void page_walk::on_macro(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  check_name(name, "macro", each, in);
  if (!name.is_known()) {
    state_.change().forget_all();
    return out.unknown();
  }
  if (const known_macro *called = state_->macros.find(name.text); called != nullptr) {
    return call_macro(known_macro(*called), std::span(each.parameters).subspan(1), in, out);
  }
  out.unknown();
  if (state_->macros_unknown) return;
  std::vector<std::string_view> names;
  for (const auto &known : state_->macros) names.push_back(known->name);
  std::string message = "nothing defines the macro " + shown_name(name.text);
  if (in.file != page_.page) message += " for " + shown_page();
  walk_finding missing{.rule = "name-macro",
                       .file = in.file,
                       .part = {each.caret(), each.name.end},
                       .message = message + ask_for_near_name(name.text, names),
                       .macro = name.text};
  replace(missing, each, name.text, find_near_name(name.text, names));
  report(std::move(missing));
}

void page_walk::on_macro_new(const call &each, const frame &in, walk_output &) {
  if (each.parameters.size() != 2) return;
  const std::string_view header = in.file->text(each.parameters[0].range);
  const bool is_computed = header.find_first_of(in.called == nullptr ? "^" : "^$") != std::string_view::npos;
  if (is_computed) {
    state_.change().macros_unknown = true;
    return;
  }
  const macro_header parts = split_header(header);
  state_.change().macros.put({std::string(parts.name), in.file, parts.parameter_names, &each.parameters[1]});
}

void page_walk::on_macro_use(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  check_name(name, "file", each, in);
  if (!name.is_known()) {
    state_.change().forget_all();
    return out.unknown();
  }
  const std::vector<const document *> used = in_.files.macro_files(*page_.page, name.text);
  if (used.empty() && !name.text.empty() && name.text != "quillet.cfg" && !name.text.ends_with('/')) {
    missing_file(each, in, {in_.files.resolve_macro_file(*page_.page, name.text)},
                 "there is no file of macros " + with_underscore(name.text));
  }
  for (const document *file : used) define_macros(*file, &out);
}

void page_walk::on_macro_exists(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  if (name.is_known()) {
    asked_macros_.insert(name.text);
  } else {
    asks_any_macro_ = true;
  }
  out.unknown();
}

}  // namespace quillet::dev
