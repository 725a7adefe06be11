#include "dev/check/walk_value.h"

#include "core/text.h"

namespace quillet::dev {

std::string shown_name(std::string_view name) {
  for (const char c : name) {
    if (!is_letter(c) && !is_digit(c) && std::string_view("_-./:").find(c) == std::string_view::npos) {
      return "\"" + std::string(name) + "\"";
    }
  }
  return name.empty() ? "\"\"" : std::string(name);
}

bool may_be(std::string_view pattern, std::string_view name) {
  std::size_t p = 0;
  std::size_t n = 0;
  std::size_t retry_p = std::string_view::npos;  // after the last `any_bytes`, which can take one byte more
  std::size_t retry_n = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == any_bytes) {
      retry_p = ++p;
      retry_n = n;
    } else if (p < pattern.size() && pattern[p] == name[n]) {
      ++p;
      ++n;
    } else if (retry_p != std::string_view::npos) {
      p = retry_p;
      n = ++retry_n;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == any_bytes) ++p;
  return p == pattern.size();
}

}  // namespace quillet::dev
