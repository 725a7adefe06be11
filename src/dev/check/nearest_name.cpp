#include "dev/check/nearest_name.h"

#include <algorithm>
#include <vector>

namespace quillet::dev {

std::size_t distance_of(std::string_view a, std::string_view b) {
  const std::size_t width = b.size() + 1;
  std::vector<std::size_t> rows((a.size() + 1) * width);
  const auto at = [&](std::size_t i, std::size_t j) -> std::size_t& { return rows[i * width + j]; };
  for (std::size_t i = 0; i <= a.size(); ++i) at(i, 0) = i;
  for (std::size_t j = 0; j <= b.size(); ++j) at(0, j) = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = at(i - 1, j - 1) + (a[i - 1] == b[j - 1] ? 0 : 1);
      at(i, j) = std::min({changed, at(i - 1, j) + 1, at(i, j - 1) + 1});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
    }
  }
  return at(a.size(), b.size());
}

std::string_view nearest_name(std::string_view mistyped, std::span<const std::string_view> names) {
  constexpr std::size_t longest = 40;
  if (mistyped.empty() || mistyped.size() > longest) return {};
  std::size_t nearest = mistyped.size() <= 4 ? 1 : 2;
  std::string_view found;
  for (const std::string_view name : names) {
    if (name.size() > longest) continue;
    const std::size_t distance = distance_of(mistyped, name);
    if (distance < nearest || (distance == nearest && found.empty())) {
      nearest = distance;
      found = name;
    } else if (distance == nearest) {
      found = {};
      if (nearest == 0) return found;
      --nearest;  // only a nearer one counts now
    }
  }
  return found;
}

}  // namespace quillet::dev
