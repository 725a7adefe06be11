#include "dev/lsp/hover.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "dev/check/report.h"
#include "dev/lsp/cursor.h"
#include "dev/lsp/navigation.h"
#include "dev/lsp/operator_manual.h"
#include "dev/lsp/symbols.h"

namespace quillet::dev {

namespace {

std::string fenced(std::string_view code) { return "```quillet\n" + std::string(code) + "\n```\n"; }

std::string file_name(const std::string &path) { return path.substr(path.rfind('/') + 1); }

std::string describe_operator(std::string_view name) {
  const operator_definition *const definition = find_definition(name);
  if (definition == nullptr) return {};
  std::string forms;
  for (const call_form &each : call_forms(*definition)) {
    if (!forms.empty()) forms += '\n';
    forms += each.label;
  }
  const std::string entry = manual_entry(name);
  return fenced(forms) + "\n" + (entry.empty() ? std::string(definition->summary) : entry);
}

// The comment lines directly above a line, without their "#".
std::string comment_above(const source_file &file, std::size_t line) {
  std::vector<std::string_view> lines;
  while (line > 1 && file.line(line - 1).starts_with('#')) {
    const std::string_view above = file.line(--line);
    lines.push_back(above.substr(above.starts_with("# ") ? 2 : 1));
  }
  std::string comment;
  for (auto each = lines.rbegin(); each != lines.rend(); ++each) comment.append(*each).append("\n");
  return comment;
}

std::string describe_macro(workspace &files, const document &file, const symbol &name) {
  std::string said;
  for (const found_place &each : find_definitions(files, file, name)) {
    const auto &macros = each.file->macros();
    const auto block =
        std::find_if(macros.begin(), macros.end(), [&](const macro_block &one) { return one.name == each.range; });
    const std::size_t line = each.file->place_of(each.range.begin).line;
    if (!said.empty()) said += "\n";
    said += fenced(block == macros.end() ? "^macro_new[" + name.name + "]" : each.file->text(block->header));
    said += "\n" + comment_above(each.file->source(), line) + "\n*" + file_name(each.file->path()) + ":" +
            std::to_string(line) + "*\n";
    if (said.size() > 2000) break;  // a name that every page defines
  }
  return said;
}

std::string describe_places(workspace &files, const document &file, const symbol &name, std::string_view what) {
  const std::vector<found_place> places = find_definitions(files, file, name);
  std::string said = std::string(what) + " `" + name.name + "`";
  constexpr std::size_t most = 5;
  for (std::size_t i = 0; i < std::min(places.size(), most); ++i) {
    said += i == 0 ? ", " : "; ";
    said +=
        file_name(places[i].file->path()) + ":" + std::to_string(places[i].file->place_of(places[i].range.begin).line);
  }
  if (places.size() > most) said += "; ...";
  return said;
}

std::string describe(workspace &files, const document &file, const symbol &name) {
  switch (name.kind) {
    case symbol_kind::operator_name:
      return describe_operator(name.name);
    case symbol_kind::macro:
      return describe_macro(files, file, name);
    case symbol_kind::variable:
      return describe_places(files, file, name, "variable");
    case symbol_kind::table:
      return describe_places(files, file, name, "table");
    case symbol_kind::argument:
      return fenced(file.text(name.macro->header)) + "\nargument `" + name.name + "`";
    case symbol_kind::file: {
      const std::vector<found_place> found = find_definitions(files, file, name);
      return found.empty() ? std::string() : "file `" + shown_path(found.front().path) + "`";
    }
    case symbol_kind::column:
      return {};
  }
  return {};
}

}  // namespace

std::optional<hover_text> hover_at(workspace &files, const document &file, std::size_t source_offset) {
  const std::optional<std::size_t> offset = text_offset(file, source_offset);
  if (!offset) return std::nullopt;
  const std::optional<symbol> name = symbol_at(file, *offset);
  if (!name) return std::nullopt;
  std::string said = describe(files, file, *name);
  if (said.empty()) return std::nullopt;
  return hover_text{std::move(said), file.source_range(name->range)};
}

}  // namespace quillet::dev
