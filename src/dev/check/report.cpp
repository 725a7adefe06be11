#include "dev/check/report.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace quillet::dev {

namespace {

std::string_view name_of(severity level) { return level == severity::error ? "error" : "warning"; }

// Control bytes as they can be shown on a terminal.
std::string printable(std::string_view bytes) {
  std::string shown;
  for (const char c : bytes) shown += c != '\t' && is_control(c) ? '?' : c;
  return shown;
}

// Blanks up to the column, with the line's own tabs; the later bytes of a character in UTF-8 take no room.
std::string indentation(std::string_view before) {
  std::string blanks;
  for (const char c : before) {
    if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80) blanks += c == '\t' ? '\t' : ' ';
  }
  return blanks;
}

// Only lines that can be read at a glance are shown.
constexpr std::size_t longest_line = 200;

std::string excerpt(const finding &each, const source_file &file, bool color) {
  const std::string_view line = file.line(each.place.line);
  std::size_t from = 0;
  const std::size_t at = std::min(each.place.column - 1, line.size());
  if (at > longest_line / 2) from = at - longest_line / 2;
  if (line.size() <= longest_line) from = 0;
  const std::string_view part = line.substr(from, longest_line);
  std::string shown = "    " + printable(part) + "\n    " + indentation(part.substr(0, at - from));
  shown += color ? "\033[1;32m^\033[0m\n" : "^\n";
  return shown;
}

std::string headline(const finding &each, bool color) {
  const std::string place = printable(shown_path(each.path)) + ":" + std::to_string(each.place.line) + ":" +
                            std::to_string(each.place.column) + ":";
  const std::string level(name_of(each.level));
  const std::string rule = "[" + std::string(each.rule) + "]";
  if (!color) return place + " " + level + ": " + printable(each.message) + " " + rule + "\n";
  const std::string_view level_color = each.level == severity::error ? "\033[1;31m" : "\033[1;35m";
  return "\033[1m" + place + "\033[0m " + std::string(level_color) + level + ":\033[0m " + printable(each.message) +
         " \033[2m" + rule + "\033[0m\n";
}

const document *any_document(site &files, const std::string &path) {
  for (const document_kind kind :
       {document_kind::page, document_kind::macros, document_kind::included, document_kind::data}) {
    if (const document *const file = files.find(path, kind)) return file;
  }
  return nullptr;
}

}  // namespace

std::string shown_path(const std::string &path) {
  std::error_code error;
  const std::string here = std::filesystem::current_path(error).string() + "/";
  return !error && path.starts_with(here) ? path.substr(here.size()) : path;
}

std::string report_gcc(const std::vector<finding> &findings) {
  std::string report;
  for (const finding &each : findings) report += headline(each, false);
  return report;
}

std::string report_text(const std::vector<finding> &findings, site &files, bool color) {
  std::string report;
  for (const finding &each : findings) {
    report += headline(each, color);
    if (const document *const file = any_document(files, each.path)) report += excerpt(each, file->source(), color);
  }
  return report;
}

}  // namespace quillet::dev
