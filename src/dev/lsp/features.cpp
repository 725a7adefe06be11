#include "dev/lsp/features.h"

#include <algorithm>
#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "dev/lsp/completion.h"
#include "dev/lsp/cursor.h"
#include "dev/lsp/hover.h"
#include "dev/lsp/navigation.h"
#include "dev/lsp/outline.h"
#include "dev/lsp/signature.h"

namespace quillet::dev {

using nlohmann::json;

// A place in a file that a request names.
struct features::place {
  const document *file;
  std::size_t offset;          // in the file's bytes
  std::optional<symbol> name;  // what is there
};

namespace {

// The colors' names in the order of `color`.
constexpr std::array color_names = {"comment", "function", "macro", "variable", "parameter", "type", "property"};

std::string path_of(const json &params) {
  return path_of_uri(params.at("textDocument").at("uri").get_ref<const std::string &>());
}

// A line or a character; no number that makes sense is larger.
std::size_t read_number(const json &number) {
  constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
  if (!number.is_number_unsigned()) throw refused_request("a line or a character is a whole number from 0");
  return static_cast<std::size_t>(std::min(number.get<std::uint64_t>(), most));
}

text_position read_position(const json &position) {
  return {read_number(position.at("line")), read_number(position.at("character"))};
}

json write_position(text_position position) { return {{"line", position.line}, {"character", position.character}}; }

json write_range(const position_range &range) {
  return {{"start", write_position(range.start)}, {"end", write_position(range.end)}};
}

int completion_item_kind(completion_kind kind) {
  switch (kind) {
    case completion_kind::operator_name:
      return 3;  // function
    case completion_kind::macro:
      return 2;  // method
    case completion_kind::variable:
    case completion_kind::argument:
      return 6;
    case completion_kind::column:
      return 5;  // field
    case completion_kind::word:
      return 20;  // enum member
  }
  return 1;
}

int symbol_number(outline_part::kind kind) {
  switch (kind) {
    case outline_part::kind::macro:
      return 12;  // function
    case outline_part::kind::variable:
      return 13;
    case outline_part::kind::table:
      return 23;  // struct
  }
  return 13;
}

}  // namespace

json server_abilities(position_encoding encoding) {
  return {
      {"positionEncoding", encoding == position_encoding::utf8 ? "utf-8" : "utf-16"},
      {"textDocumentSync", {{"openClose", true}, {"change", 2}, {"save", true}}},
      {"hoverProvider", true},
      {"completionProvider", {{"triggerCharacters", json::array({"^", "$", "[", ";"})}}},
      {"signatureHelpProvider", {{"triggerCharacters", json::array({"[", ";"})}}},
      {"definitionProvider", true},
      {"referencesProvider", true},
      {"renameProvider", {{"prepareProvider", true}}},
      {"documentSymbolProvider", true},
      {"codeActionProvider", {{"codeActionKinds", json::array({"quickfix"})}}},
      {"semanticTokensProvider",
       {{"legend", {{"tokenTypes", color_names}, {"tokenModifiers", json::array()}}}, {"full", true}}},
  };
}

std::optional<json> features::answer(std::string_view method, const json &params) {
  using handler = json (features::*)(const json &);
  static constexpr std::array<std::pair<std::string_view, handler>, 10> handlers = {{
      {"textDocument/hover", &features::hover},
      {"textDocument/completion", &features::complete},
      {"textDocument/signatureHelp", &features::signature_help},
      {"textDocument/definition", &features::definition},
      {"textDocument/references", &features::references},
      {"textDocument/prepareRename", &features::prepare_rename},
      {"textDocument/rename", &features::rename},
      {"textDocument/documentSymbol", &features::symbols},
      {"textDocument/semanticTokens/full", &features::colors},
      {"textDocument/codeAction", &features::code_actions},
  }};
  const auto found =
      std::find_if(handlers.begin(), handlers.end(), [&](const auto &each) { return each.first == method; });
  if (found == handlers.end()) return std::nullopt;
  return (this->*found->second)(params);
}

json features::range(const source_file &file, text_range part) const {
  return write_range(positions_of(file, part, editor_.encoding));
}

std::optional<features::place> features::place_of(const json &params) {
  const text_position position = read_position(params.at("position"));
  const document *const file = files_.find(path_of(params));
  if (file == nullptr) return std::nullopt;
  place found{file, offset_of(file->source(), position, editor_.encoding), std::nullopt};
  if (const std::optional<std::size_t> offset = text_offset(*file, found.offset))
    found.name = symbol_at(*file, *offset);
  return found;
}

json features::hover(const json &params) {
  const std::optional<place> at = place_of(params);
  if (!at) return nullptr;
  const std::optional<hover_text> said = hover_at(files_, *at->file, at->offset);
  if (!said) return nullptr;
  return {{"contents", {{"kind", "markdown"}, {"value", said->markdown}}},
          {"range", range(at->file->source(), said->range)}};
}

json features::complete(const json &params) {
  const std::optional<place> at = place_of(params);
  if (!at) return nullptr;
  const completion_list list = complete_at(files_, *at->file, at->offset);
  json items = json::array();
  for (const completion &each : list.items) {
    const bool is_snippet = editor_.has_snippets && !each.snippet.empty();
    json item = {
        {"label", each.label},
        {"kind", completion_item_kind(each.kind)},
        {"detail", each.detail},
        {"insertTextFormat", is_snippet ? 2 : 1},
        {"textEdit",
         {{"range", range(at->file->source(), list.replaced)}, {"newText", is_snippet ? each.snippet : each.label}}}};
    if (!each.documentation.empty()) item["documentation"] = each.documentation;
    items.push_back(std::move(item));
  }
  return {{"isIncomplete", false}, {"items", std::move(items)}};
}

json features::signature_help(const json &params) {
  const std::optional<place> at = place_of(params);
  if (!at) return nullptr;
  const std::optional<signature_list> list = signatures_at(files_, *at->file, at->offset);
  if (!list) return nullptr;
  json signatures = json::array();
  for (const signature &each : list->forms) {
    json parameters = json::array();
    for (const text_range &part : each.parameters)
      parameters.push_back({{"label", json::array({part.begin, part.end})}});
    signatures.push_back({{"label", each.label}, {"documentation", each.documentation}, {"parameters", parameters}});
  }
  return {{"signatures", std::move(signatures)},
          {"activeSignature", list->active_form},
          {"activeParameter", list->active_parameter}};
}

json features::definition(const json &params) {
  json locations = json::array();
  const std::optional<place> at = place_of(params);
  if (!at || !at->name) return locations;
  for (const found_place &each : find_definitions(files_, *at->file, *at->name)) {
    const text_range part = each.file->source_range(each.range);
    locations.push_back({{"uri", uri_of_path(each.path)}, {"range", range(each.file->source(), part)}});
  }
  return locations;
}

json features::references(const json &params) {
  json locations = json::array();
  const bool with_definitions = params.at("context").at("includeDeclaration").get<bool>();
  const std::optional<place> at = place_of(params);
  if (!at || !at->name) return locations;
  for (const found_place &each : find_uses(files_, *at->file, *at->name, with_definitions)) {
    const text_range part = each.file->source_range(each.range);
    locations.push_back({{"uri", uri_of_path(each.path)}, {"range", range(each.file->source(), part)}});
  }
  return locations;
}

json features::prepare_rename(const json &params) {
  const std::optional<place> at = place_of(params);
  if (!at || !at->name || !can_rename(*at->name)) return nullptr;
  return {{"range", range(at->file->source(), at->file->source_range(at->name->range))},
          {"placeholder", at->name->name}};
}

json features::rename(const json &params) {
  const auto &new_name = params.at("newName").get_ref<const std::string &>();
  const std::optional<place> at = place_of(params);
  if (!at || !at->name || !can_rename(*at->name)) throw refused_request("there is no name here that can be changed");
  if (const std::string why = why_no_name(*at->name, new_name); !why.empty()) throw refused_request(why);
  json changes = json::object();
  for (const found_place &each : find_uses(files_, *at->file, *at->name, true)) {
    const text_range part = each.file->source_range(each.range);
    changes[uri_of_path(each.path)].push_back({{"range", range(each.file->source(), part)}, {"newText", new_name}});
  }
  return {{"changes", std::move(changes)}};
}

json features::symbols(const json &params) {
  const document *const file = files_.find(path_of(params));
  if (file == nullptr) return nullptr;
  const auto write = [&](const auto &self, const std::vector<outline_part> &parts) -> json {
    json list = json::array();
    for (const outline_part &each : parts) {
      json part = {{"name", each.name},
                   {"kind", symbol_number(each.what)},
                   {"range", range(file->source(), each.range)},
                   {"selectionRange", range(file->source(), each.name_range)}};
      if (!each.parts.empty()) part["children"] = self(self, each.parts);
      list.push_back(std::move(part));
    }
    return list;
  };
  return write(write, find_outline(*file));
}

json features::colors(const json &params) {
  const document *const file = files_.find(path_of(params));
  if (file == nullptr) return nullptr;
  json numbers = json::array();
  text_position last;
  for (const colored_part &each : find_colors(*file)) {
    const position_range part = positions_of(file->source(), each.range, editor_.encoding);
    const std::size_t lines = part.start.line - last.line;
    numbers.push_back(lines);
    numbers.push_back(part.start.character - (lines == 0 ? last.character : 0));
    numbers.push_back(part.end.character - part.start.character);
    numbers.push_back(static_cast<int>(each.as));
    numbers.push_back(0);
    last = part.start;
  }
  return {{"data", std::move(numbers)}};
}

json features::diagnostic(const source_file &file, const finding &each) const {
  return {{"range", range(file, each.range)},
          {"severity", each.level == severity::error ? 1 : 2},
          {"code", each.rule},
          {"source", "quillet-dev"},
          {"message", each.message}};
}

json features::diagnostics(const std::string &path) {
  json list = json::array();
  const std::vector<finding> found = files_.check(path);
  const document *const file = files_.find(path);
  if (file == nullptr) return list;
  for (const finding &each : found) list.push_back(diagnostic(file->source(), each));
  return list;
}

json features::code_actions(const json &params) {
  json actions = json::array();
  const std::string path = path_of(params);
  const text_position start = read_position(params.at("range").at("start"));
  const text_position end = read_position(params.at("range").at("end"));
  const std::vector<finding> found = files_.check(path);
  const document *const file = files_.find(path);
  if (file == nullptr) return actions;
  const std::size_t begin = offset_of(file->source(), start, editor_.encoding);
  const std::size_t last = offset_of(file->source(), end, editor_.encoding);
  for (const finding &each : found) {
    if (each.range.begin > last || each.range.end < begin) continue;
    for (const quick_fix &fix : each.fixes) {
      json edits = json::array();
      for (const text_edit &edit : fix.edits) {
        edits.push_back({{"range", range(file->source(), edit.range)}, {"newText", edit.replacement}});
      }
      actions.push_back({{"title", fix.title},
                         {"kind", "quickfix"},
                         {"diagnostics", json::array({diagnostic(file->source(), each)})},
                         {"isPreferred", each.fixes.size() == 1},
                         {"edit", {{"changes", {{uri_of_path(path), std::move(edits)}}}}}});
    }
  }
  return actions;
}

std::string features::changed(const std::string &path, const json &change) {
  const auto &text = change.at("text").get_ref<const std::string &>();
  const document *const file = files_.find(path);
  if (!change.contains("range") || file == nullptr) return text;
  const source_file &source = file->source();
  const std::size_t begin = offset_of(source, read_position(change.at("range").at("start")), editor_.encoding);
  const std::size_t end = offset_of(source, read_position(change.at("range").at("end")), editor_.encoding);
  std::string bytes(source.bytes());
  bytes.replace(std::min(begin, end), std::max(begin, end) - std::min(begin, end), text);
  return bytes;
}

}  // namespace quillet::dev
