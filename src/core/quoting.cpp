#include "core/quoting.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>

#include "core/scan.h"

namespace quillet {

namespace {

int current_mode = quoting_html;

// What one mode makes of the bytes that it replaces.
struct escape_table {
  std::string_view name;
  std::size_t (*next_escaped)(std::string_view value, std::size_t from);  // as find_one_of
  std::array<std::uint8_t, 256> rule{};                                   // by byte
  std::array<std::string_view, 7> replacements{};                         // by rule
};

// The mode that replaces each byte of the set by the text in its place of the list.
template <char... set>
constexpr escape_table make_mode(std::string_view name, std::initializer_list<std::string_view> replacements) {
  escape_table mode{name, find_one_of<set...>};
  std::copy(replacements.begin(), replacements.end(), mode.replacements.begin());
  std::uint8_t n = 0;
  ((mode.rule[static_cast<unsigned char>(set)] = n++), ...);
  return mode;
}

std::size_t no_byte(std::string_view value, std::size_t) { return value.size(); }

// Indexed by mode number less one.
constexpr escape_table modes[] = {
    {"none", no_byte},
    make_mode<'\t', '\n'>("config", {" ", " "}),
    // Deliberate: "&" stays, so that entities in a value pass through.
    make_mode<'\t', '"', '<', '>'>("html", {" ", "&quot;", "&lt;", "&gt;"}),
    make_mode<'\t', '\n', '\r', '"', '\'', '\\'>("sql", {"\a", "\\n", "\\r", "\\\"", "\\'", "\\\\"}),
    make_mode<'\n', '\r', '"', '\'', '\\', '\xD1', '\xFF'>("javascript",
                                                           {"\\n", "\\r", "\\\"", "\\'", "\\\\", "\\\xD1", "\\\xFF"}),
};

void append_escaped(std::string_view value, const escape_table &mode, text &out) {
  std::size_t start = 0;
  for (std::size_t i; (i = mode.next_escaped(value, start)) < value.size(); start = i + 1) {
    out.append(value.substr(start, i - start));
    out.append(mode.replacements[mode.rule[static_cast<unsigned char>(value[i])]]);
  }
  out.append(value.substr(start));
}

}  // namespace

void quote(std::string_view value, bool restore_tabs, text &out) {
  if (current_mode < quoting_none || current_mode > quoting_javascript) return;
  std::size_t at = out.size();
  append_escaped(value, modes[current_mode - 1], out);
  if (!restore_tabs) return;
  while ((at = out.view().find('\a', at)) != std::string_view::npos) out.data()[at] = '\t';
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
