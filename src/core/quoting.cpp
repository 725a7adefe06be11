#include "core/quoting.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <utility>

namespace quillet {

namespace {

int current_mode = quoting_html;

// What each byte becomes under one mode.
struct escape_table {
  std::string_view name;
  std::array<std::uint8_t, 256> rule{};            // per byte: its replacement's number + 1, 0 to keep it
  std::array<std::string_view, 7> replacements{};

  constexpr escape_table(std::string_view mode_name, std::initializer_list<std::pair<char, std::string_view>> rows)
      : name(mode_name) {
    std::uint8_t n = 0;
    for (const auto &[byte, with] : rows) {
      replacements[n++] = with;
      rule[static_cast<unsigned char>(byte)] = n;
    }
  }
};

// Indexed by mode number less one.
constexpr escape_table modes[] = {
    {"none", {}},
    {"config", {{'\t', " "}, {'\n', " "}}},
    // Deliberate: "&" stays, so that entities in a value pass through.
    {"html", {{'\t', " "}, {'"', "&quot;"}, {'<', "&lt;"}, {'>', "&gt;"}}},
    {"sql",
     {{'\t', "\a"}, {'\n', "\\n"}, {'\r', "\\r"}, {'"', "\\\""}, {'\'', "\\'"}, {'\\', "\\\\"}}},
    {"javascript",
     {{'\n', "\\n"},
      {'\r', "\\r"},
      {'"', "\\\""},
      {'\'', "\\'"},
      {'\\', "\\\\"},
      {'\xD1', "\\\xD1"},
      {'\xFF', "\\\xFF"}}},
};

void append_escaped(std::string_view value, const escape_table &mode, text &out) {
  std::size_t start = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const std::uint8_t rule = mode.rule[static_cast<unsigned char>(value[i])];
    if (rule == 0) continue;
    out.append(value.substr(start, i - start));
    out.append(mode.replacements[rule - 1]);
    start = i + 1;
  }
  out.append(value.substr(start));
}

}  // namespace

void quote(std::string_view value, bool restore_tabs, text &out) {
  if (current_mode < quoting_none || current_mode > quoting_javascript) return;
  const std::size_t before = out.size();
  append_escaped(value, modes[current_mode - 1], out);
  if (!restore_tabs) return;
  for (char *at = out.data() + before, *end = out.data() + out.size(); at < end; ++at) {
    if (*at == '\a') *at = '\t';
  }
}

int current_quoting_mode() { return current_mode; }

int set_quoting_mode(int &saved, int number) {
  saved = current_mode;
  if (number != 0) current_mode = number;
  return current_mode;
}

void set_quoting_mode_by_name(int &saved, std::string_view name) {
  saved = current_mode;
  for (std::size_t i = 0; i < std::size(modes); ++i) {
    if (modes[i].name == name) current_mode = static_cast<int>(i) + 1;
  }
}

void restore_quoting_mode(int saved) { current_mode = saved; }

void evaluate_parameters_quoted(quoting_mode mode, parameters &parameters) {
  const quoting_scope scope(mode);
  parameters.evaluate_all_in_place();
}

}  // namespace quillet
