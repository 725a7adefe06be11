#include "core/quoting.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>

#include "core/scan.h"

namespace quillet {

namespace {

int current_mode = quoting_html;

// What a byte becomes; of one size, so that it is copied without a loop.
struct replacement {
  std::array<char, 7> bytes{};
  std::uint8_t size = 0;
};

// What one mode makes of the bytes that it replaces.
struct escape_table {
  std::string_view name;
  void (*append_escaped)(std::string_view value, const escape_table &mode, text &out);
  void (*append_padded)(std::string_view value, const escape_table &mode, text &out);  // of a padded value
  std::array<std::uint8_t, 256> rule{};                                                // by byte
  std::array<replacement, 8> replacements{};                                           // by rule
};

// Sixteen bytes are copied before it is known how many of them stay: a table of 20,000 rows is printed with 7 %
// fewer instructions than by a search for each byte to replace and a copy of what lies between.
template <bool is_padded, char... set>
void append_escaped(std::string_view value, const escape_table &mode, text &out) {
  const char *from = value.data();
  std::size_t left = value.size();
  // Room for some replacements, too, where that does not move a short text to the heap.
  const std::size_t spare = block_size + (out.size() > text::inline_capacity ? 4 * block_size : 0);
  std::size_t room = left + spare;
  char *start = out.reserve(out.size() + room);
  char *to = start;
  while (left > 0) {
    const byte_block bytes = is_padded || left >= block_size ? load_block(from) : load_short_block(from, left);
    store_block(to, bytes);
    const std::size_t size = std::min(left, block_size);
    // With a bit for the end of the value.
    const std::uint32_t escaped = mask_in<set...>(bytes) | std::uint32_t{1} << size;
    const auto plain = static_cast<std::size_t>(std::countr_zero(escaped));
    to += plain;
    from += plain;
    left -= plain;
    if (plain == size) continue;
    if (room - static_cast<std::size_t>(to - start) < left + 2 * block_size) {
      out.commit(static_cast<std::size_t>(to - start));
      room = left + block_size + spare;
      to = start = out.reserve(out.size() + room);
    }
    const replacement &put = mode.replacements[mode.rule[static_cast<unsigned char>(*from++)]];
    std::memcpy(to, put.bytes.data(), put.bytes.size());
    to += put.size;
    --left;
  }
  out.commit(static_cast<std::size_t>(to - start));
}

// The mode that replaces each byte of the set by the text in its place of the list.
template <char... set>
constexpr escape_table make_mode(std::string_view name, std::initializer_list<std::string_view> replacements) {
  escape_table mode{name, append_escaped<false, set...>, append_escaped<true, set...>};
  std::uint8_t n = 0;
  for (const std::string_view bytes : replacements) {
    std::copy(bytes.begin(), bytes.end(), mode.replacements[n].bytes.begin());
    mode.replacements[n++].size = static_cast<std::uint8_t>(bytes.size());
  }
  n = 0;
  ((mode.rule[static_cast<unsigned char>(set)] = n++), ...);
  return mode;
}

// The mode that replaces nothing.
template <>
constexpr escape_table make_mode<>(std::string_view name, std::initializer_list<std::string_view>) {
  constexpr auto append = [](std::string_view value, const escape_table &, text &out) { out.append(value); };
  return {name, append, append};
}

// Indexed by mode number less one.
constexpr escape_table modes[] = {
    make_mode<>("none", {}),
    make_mode<'\t', '\n'>("config", {" ", " "}),
    // Deliberate: "&" stays, so that entities in a value pass through.
    make_mode<'\t', '"', '<', '>'>("html", {" ", "&quot;", "&lt;", "&gt;"}),
    make_mode<'\t', '\n', '\r', '"', '\'', '\\'>("sql", {"\a", "\\n", "\\r", "\\\"", "\\'", "\\\\"}),
    make_mode<'\n', '\r', '"', '\'', '\\', '\xD1', '\xFF'>("javascript",
                                                           {"\\n", "\\r", "\\\"", "\\'", "\\\\", "\\\xD1", "\\\xFF"}),
};

// The same where every byte 7 of the result becomes a tab: one of the value, and one that a tab became.
constexpr escape_table restoring_modes[] = {
    make_mode<'\a'>("none", {"\t"}),
    make_mode<'\a', '\t', '\n'>("config", {"\t", " ", " "}),
    make_mode<'\a', '\t', '"', '<', '>'>("html", {"\t", " ", "&quot;", "&lt;", "&gt;"}),
    make_mode<'\a', '\n', '\r', '"', '\'', '\\'>("sql", {"\t", "\\n", "\\r", "\\\"", "\\'", "\\\\"}),
    make_mode<'\a', '\n', '\r', '"', '\'', '\\', '\xD1', '\xFF'>(
        "javascript", {"\t", "\\n", "\\r", "\\\"", "\\'", "\\\\", "\\\xD1", "\\\xFF"}),
};

}  // namespace

void quote(std::string_view value, bool restore_tabs, text &out) {
  if (current_mode < quoting_none || current_mode > quoting_javascript || value.empty()) return;
  const escape_table &mode = (restore_tabs ? restoring_modes : modes)[current_mode - 1];
  mode.append_escaped(value, mode, out);
}

void quote_padded(std::string_view value, text &out) {
  if (current_mode < quoting_none || current_mode > quoting_javascript || value.empty()) return;
  const escape_table &mode = restoring_modes[current_mode - 1];
  mode.append_padded(value, mode, out);
}

int current_quoting_mode() { return current_mode; }

std::string_view quoting_mode_name(int number) {
  return number < quoting_none || number > quoting_javascript ? std::string_view() : modes[number - 1].name;
}

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
