#include "dev/check/ignore_comments.h"

#include <algorithm>
#include <limits>

namespace quillet::dev {

namespace {

constexpr std::string_view mark = "quillet-dev: ignore";
constexpr std::string_view separators = " \t,";

bool names(std::string_view rules, std::string_view wanted) {
  while (!rules.empty()) {
    const std::size_t end = std::min(rules.find_first_of(separators), rules.size());
    if (rules.substr(0, end) == wanted) return true;
    rules.remove_prefix(std::min(end + 1, rules.size()));
  }
  return false;
}

}  // namespace

ignore_comments::ignore_comments(const source_file &file) {
  const std::string_view bytes = file.bytes();
  for (std::size_t at = 0; (at = bytes.find(mark, at)) != std::string_view::npos; at += mark.size()) {
    const std::size_t line = file.place_of(at).line;
    const std::string_view before = file.line(line).substr(0, at - file.start_of_line(line));
    const bool is_call = before.ends_with("^rem[");
    const bool is_line = before.find_first_not_of("# \t") == std::string_view::npos && before.starts_with('#');
    if (!is_call && !is_line) continue;
    std::string_view rest = bytes.substr(at + mark.size());
    rest = rest.substr(0, rest.find_first_of(is_call ? "]\r\n" : "\r\n"));
    const bool whole_file = rest.starts_with("-file");
    if (whole_file) rest.remove_prefix(5);
    if (!rest.empty() && separators.find(rest.front()) == std::string_view::npos) continue;  // another word
    rest.remove_prefix(std::min(rest.find_first_not_of(separators), rest.size()));
    if (whole_file) {
      comments_.push_back({0, std::numeric_limits<std::size_t>::max(), rest});
    } else {
      comments_.push_back({line, line + 1, rest});
    }
  }
}

bool ignore_comments::silence(std::string_view rule, std::size_t line) const {
  return std::any_of(comments_.begin(), comments_.end(), [&](const comment &each) {
    return each.first_line <= line && line <= each.last_line && (each.rules.empty() || names(each.rules, rule));
  });
}

}  // namespace quillet::dev
