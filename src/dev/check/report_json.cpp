// Findings as JSON, for other programs.
#include <nlohmann/json.hpp>

#include "dev/check/report.h"
#include "dev/check/rules.h"

namespace quillet::dev {

namespace {

using nlohmann::ordered_json;

std::string_view name_of(severity level) { return level == severity::error ? "error" : "warning"; }

// Bytes that are no UTF-8 become the replacement character.
std::string dump(const ordered_json &value) {
  return value.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

// A path as the URI reference that SARIF wants (RFC 3986).
std::string uri_of(const std::string &path) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view plain = "-._~/";
  const std::string shown = shown_path(path);
  std::string uri = shown.starts_with('/') ? "file://" : "";
  for (const char c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (is_letter(c) || is_digit(c) || plain.find(c) != std::string_view::npos) {
      uri += c;
    } else {
      uri += '%';
      uri += digits[byte >> 4U];
      uri += digits[byte & 15U];
    }
  }
  return uri;
}

ordered_json fixes_of(const finding &each) {
  ordered_json fixes = ordered_json::array();
  for (const quick_fix &fix : each.fixes) {
    ordered_json edits = ordered_json::array();
    for (const text_edit &edit : fix.edits) {
      edits.push_back({{"offset", edit.range.begin}, {"length", edit.range.size()}, {"text", edit.replacement}});
    }
    fixes.push_back({{"title", fix.title}, {"edits", edits}});
  }
  return fixes;
}

ordered_json sarif_fixes_of(const finding &each) {
  ordered_json fixes = ordered_json::array();
  for (const quick_fix &fix : each.fixes) {
    ordered_json edits = ordered_json::array();
    for (const text_edit &edit : fix.edits) {
      edits.push_back({{"deletedRegion", {{"byteOffset", edit.range.begin}, {"byteLength", edit.range.size()}}},
                       {"insertedContent", {{"text", edit.replacement}}}});
    }
    fixes.push_back(
        {{"description", {{"text", fix.title}}},
         {"artifactChanges", {{{"artifactLocation", {{"uri", uri_of(each.path)}}}, {"replacements", edits}}}}});
  }
  return fixes;
}

ordered_json sarif_result(const finding &each) {
  const ordered_json region = {{"startLine", each.place.line},
                               {"startColumn", each.place.column},
                               {"endLine", each.end.line},
                               {"endColumn", each.end.column}};
  ordered_json result = {
      {"ruleId", each.rule},
      {"level", name_of(each.level)},
      {"message", {{"text", each.message}}},
      {"locations", {{{"physicalLocation", {{"artifactLocation", {{"uri", uri_of(each.path)}}}, {"region", region}}}}}},
  };
  if (!each.fixes.empty()) result["fixes"] = sarif_fixes_of(each);
  return result;
}

}  // namespace

std::string report_json(const std::vector<finding> &findings) {
  ordered_json report = ordered_json::array();
  for (const finding &each : findings) {
    report.push_back({{"file", shown_path(each.path)},
                      {"line", each.place.line},
                      {"column", each.place.column},
                      {"end_line", each.end.line},
                      {"end_column", each.end.column},
                      {"level", name_of(each.level)},
                      {"rule", each.rule},
                      {"message", each.message},
                      {"fixes", fixes_of(each)}});
  }
  return dump(report);
}

std::string report_sarif(const std::vector<finding> &findings) {
  ordered_json rules = ordered_json::array();
  for (const rule &each : all_rules()) {
    rules.push_back({{"id", each.name},
                     {"shortDescription", {{"text", each.summary}}},
                     {"defaultConfiguration", {{"level", name_of(each.level)}}}});
  }
  ordered_json results = ordered_json::array();
  for (const finding &each : findings) results.push_back(sarif_result(each));
  const ordered_json driver = {{"name", "quillet-dev check"}, {"rules", rules}};
  // Columns count bytes here; SARIF knows only characters, which are the same in pages of one-byte charsets.
  const ordered_json run = {{"tool", {{"driver", driver}}}, {"columnKind", "unicodeCodePoints"}, {"results", results}};
  return dump({{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"}, {"version", "2.1.0"}, {"runs", {run}}});
}

}  // namespace quillet::dev
