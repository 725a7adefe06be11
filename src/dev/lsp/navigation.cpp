#include "dev/lsp/navigation.h"

#include <algorithm>

#include "core/text.h"

namespace quillet::dev {

namespace {

bool is_same(const symbol &each, const symbol &name) {
  if (each.kind != name.kind || each.name != name.name) return false;
  return name.kind != symbol_kind::argument || each.macro == name.macro;
}

template <class condition>
std::vector<found_place> places_in(const std::vector<const document *> &documents, condition &&counts) {
  std::vector<found_place> places;
  for (const document *file : documents) {
    std::vector<symbol> symbols = find_symbols(*file);
    std::erase_if(symbols, [&](const symbol &each) { return !counts(each); });
    std::sort(symbols.begin(), symbols.end(),
              [](const symbol &a, const symbol &b) { return a.range.begin < b.range.begin; });
    for (const symbol &each : symbols) places.push_back({file->path(), file, each.range});
  }
  return places;
}

// The documents in which a name means the same.
std::vector<const document *> documents_of(workspace &files, const document &file, const symbol &name) {
  if (name.kind == symbol_kind::argument) return {&file};
  return files.templates_of_site(file.path());
}

std::vector<found_place> find_file(workspace &files, const document &file, const symbol &name) {
  site &own = files.site_of(file.path());
  const std::string_view by = file.text(name.where->name);
  if (by == "load") {
    const document *const data = own.find_data(file, name.name);
    if (data == nullptr) return {};
    return {{data->path(), data, {}}};
  }
  const bool has_underscore = by == "macro_use" || by == "save";
  const std::string path = has_underscore ? own.resolve_macro_file(file, name.name) : own.resolve(file, name.name);
  const document *const found = own.find(path, kind_by_name(path));
  if (found == nullptr) return {};
  return {{path, found, {}}};
}

// The columns of that name in the data files that belong to the file.
std::vector<found_place> find_columns(workspace &files, const document &file, const symbol &name) {
  std::vector<found_place> places;
  for (const document *data : files.linked_data(file.path())) {
    const std::string_view header = data->text().substr(0, data->text().find('\n'));
    for (std::size_t begin = 0; begin <= header.size();) {
      const std::size_t end = std::min(header.find('\t', begin), header.size());
      if (header.substr(begin, end - begin) == name.name) places.push_back({data->path(), data, {begin, end}});
      begin = end + 1;
    }
  }
  return places;
}

}  // namespace

std::vector<found_place> find_definitions(workspace &files, const document &file, const symbol &name) {
  if (name.kind == symbol_kind::operator_name) return {};
  if (name.kind == symbol_kind::file) return find_file(files, file, name);
  if (name.kind == symbol_kind::column) return find_columns(files, file, name);
  const auto is_definition = [&](const symbol &each) { return each.is_definition && is_same(each, name); };
  if (name.kind != symbol_kind::argument) {
    std::vector<found_place> near = places_in(files.linked_templates(file.path()), is_definition);
    if (!near.empty()) return near;
  }
  return places_in(documents_of(files, file, name), is_definition);
}

std::vector<found_place> find_uses(workspace &files, const document &file, const symbol &name, bool with_definitions) {
  if (name.kind == symbol_kind::operator_name || name.kind == symbol_kind::file) return {};
  return places_in(documents_of(files, file, name), [&](const symbol &each) {
    return is_same(each, name) && (with_definitions || !each.is_definition);
  });
}

bool can_rename(const symbol &name) {
  return name.kind == symbol_kind::macro || name.kind == symbol_kind::variable || name.kind == symbol_kind::table ||
         name.kind == symbol_kind::argument;
}

std::string why_no_name(const symbol &old_name, std::string_view new_name) {
  if (new_name.empty()) return "a name is not empty";
  if (new_name.find_first_of("[];^`$\n\r@#") != std::string_view::npos) {
    return "a name has none of the characters [ ] ; ^ ` $ @ #";
  }
  if (old_name.kind == symbol_kind::variable || old_name.kind == symbol_kind::argument) {
    const auto is_word = [](char c) { return is_letter(c) || is_digit(c) || c == '_'; };
    if (!std::all_of(new_name.begin(), new_name.end(), is_word) || is_digit(new_name.front())) {
      return "a name consists of letters, digits and _ and begins with no digit";
    }
  }
  return {};
}

}  // namespace quillet::dev
