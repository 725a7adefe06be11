#include "core/needed_byte.h"

#include <regex.h>

#include <cstddef>

#include "core/text.h"

namespace quillet {

namespace {

// Takes what the set has up to its "]".
void skip_set(std::string_view &rest) {
  if (rest.starts_with('^')) rest.remove_prefix(1);
  if (rest.starts_with(']')) rest.remove_prefix(1);
  while (!rest.empty() && rest.front() != ']') {
    if (rest.starts_with("[:") || rest.starts_with("[.") || rest.starts_with("[=")) {
      const char end[] = {rest[1], ']'};
      const std::size_t at = rest.find(std::string_view(end, 2), 2);
      if (at != std::string_view::npos) rest.remove_prefix(at + 1);
    }
    rest.remove_prefix(1);
  }
  if (!rest.empty()) rest.remove_prefix(1);
}

bool may_be_absent(std::string_view rest) {
  while (rest.starts_with('+')) rest.remove_prefix(1);
  return rest.starts_with('*') || rest.starts_with('?') || rest.starts_with('{');
}

// Takes one byte, set, escape or sign; the byte, if it is one that has no other meaning.
std::optional<char> take_byte(std::string_view &rest) {
  const char c = rest.front();
  rest.remove_prefix(1);
  if (c == '[') {
    skip_set(rest);
  } else if (c == '{') {
    const std::size_t end = rest.find('}');
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  } else if (c == '\\') {
    if (rest.empty()) return {};
    const char escaped = rest.front();
    rest.remove_prefix(1);
    constexpr std::string_view meaning_something = "<>`'";
    if (meaning_something.find(escaped) == std::string_view::npos && !is_letter(escaped) && !is_digit(escaped)) {
      return escaped;
    }
  } else if (constexpr std::string_view signs = "()|*+?^$."; signs.find(c) == std::string_view::npos) {
    return c;
  }
  return {};
}

}  // namespace

std::optional<char> needed_byte(std::string_view expression, int flags) {
  std::optional<char> needed;
  int depth = 0;
  while (!expression.empty()) {
    const char sign = expression.front();
    const std::optional<char> byte = take_byte(expression);
    if (sign == '(') ++depth;
    if (sign == ')') --depth;
    if (depth < 0 || (sign == '|' && depth == 0)) return {};
    if (!byte || needed || depth > 0 || may_be_absent(expression)) continue;
    if ((flags & REG_ICASE) == 0 || !is_letter(*byte)) needed = byte;
  }
  return needed;
}

}  // namespace quillet
