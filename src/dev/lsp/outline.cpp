#include "dev/lsp/outline.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "core/operators.h"
#include "dev/lsp/symbols.h"

namespace quillet::dev {

namespace {

std::optional<outline_part::kind> outline_kind(const symbol &each) {
  if (!each.is_definition) return std::nullopt;
  if (each.kind == symbol_kind::variable) return outline_part::kind::variable;
  if (each.kind == symbol_kind::table) return outline_part::kind::table;
  return std::nullopt;
}

class painter {
 public:
  explicit painter(const document &file) : file_(file) {}

  std::vector<colored_part> paint() {
    add_comment_lines();
    for (const template_text *body : file_.templates()) {
      for_each_call(file_.text(), *body, [&](const call &each, auto) { add_call(each); });
    }
    for (const symbol &each : find_symbols(file_)) add_symbol(each);
    std::stable_sort(parts_.begin(), parts_.end(),
                     [](const colored_part &a, const colored_part &b) { return a.range.begin < b.range.begin; });
    std::vector<colored_part> apart;
    for (const colored_part &each : parts_) {
      if (apart.empty() || each.range.begin >= apart.back().range.end) apart.push_back(each);
    }
    return apart;
  }

 private:
  void add(text_range source_part, color as) {
    if (source_part.size() > 0) parts_.push_back({source_part, as});
  }

  // A part of the document's text, line by line.
  void add_text(text_range part, color as) {
    const source_file &source = file_.source();
    const text_range range = file_.source_range(part);
    for (std::size_t line = source.place_of(range.begin).line; line <= source.line_count(); ++line) {
      const std::size_t start = source.start_of_line(line);
      if (start >= range.end) break;
      add({std::max(start, range.begin), std::min(start + source.line(line).size(), range.end)}, as);
    }
  }

  void add_comment_lines() {
    const source_file &source = file_.source();
    for (std::size_t number = 1; number <= source.line_count(); ++number) {
      const std::string_view line = source.line(number);
      const std::size_t start = source.start_of_line(number);
      if (line.starts_with('#')) add({start, start + line.size()}, color::comment);
    }
  }

  void add_call(const call &each) {
    if (file_.text(each.name) == "rem") add_text(each.range, color::comment);
  }

  void add_symbol(const symbol &each) {
    switch (each.kind) {
      case symbol_kind::operator_name:
        if (find_operator(each.name) != nullptr && each.name != "rem") add_text(each.range, color::operator_name);
        break;
      case symbol_kind::macro:
        add_text(each.range, color::macro);
        break;
      case symbol_kind::variable:
        add_text(each.range, color::variable);
        break;
      case symbol_kind::argument:
        add_text(each.range, color::argument);
        break;
      case symbol_kind::table:
        add_text(each.range, color::table);
        break;
      case symbol_kind::column:
        add_text(each.range, color::column);
        break;
      case symbol_kind::file:
        break;
    }
  }

  const document &file_;
  std::vector<colored_part> parts_;
};

}  // namespace

std::vector<outline_part> find_outline(const document &file) {
  std::vector<outline_part> outline;
  std::map<const macro_block *, std::size_t> part_of;
  for (const macro_block &each : file.macros()) {
    part_of[&each] = outline.size();
    const text_range whole{each.header.begin, std::max(each.header.end, each.body.range.end)};
    outline.push_back({outline_part::kind::macro,
                       std::string(file.text(each.name)),
                       file.source_range(whole),
                       file.source_range(each.name),
                       {}});
  }
  std::set<std::pair<outline_part::kind, std::string>> known;
  for (const symbol &each : find_symbols(file)) {
    const std::optional<outline_part::kind> kind = outline_kind(each);
    if (!kind || !known.emplace(*kind, each.name).second) continue;
    auto &parts = each.macro == nullptr ? outline : outline[part_of[each.macro]].parts;
    parts.push_back({*kind, each.name, file.source_range(each.where->range), file.source_range(each.range), {}});
  }
  return outline;
}

std::vector<colored_part> find_colors(const document &file) {
  if (file.kind() == document_kind::data) return {};
  return painter(file).paint();
}

}  // namespace quillet::dev
