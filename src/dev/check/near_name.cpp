#include "dev/check/near_name.h"

#include <algorithm>
#include <vector>

#include "core/text.h"

namespace quillet::dev {

namespace {

constexpr std::size_t longest_name = 60;

// The number of letters that are missing, added, replaced, or have changed places with their neighbors: the optimal
// string alignment distance.
std::size_t count_differences(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before(b.size() + 1);
  std::vector<std::size_t> above(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) above[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool equal = lower_char(a[i - 1]) == lower_char(b[j - 1]);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (equal ? 0 : 1)});
      const bool crossed = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (crossed) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before.swap(above);
    above.swap(row);
  }
  return above[b.size()];
}

}  // namespace

std::string_view find_near_name(std::string_view word, std::span<const std::string_view> names) {
  std::string_view nearest;
  if (word.size() > longest_name) return nearest;
  std::size_t least = std::min<std::size_t>(2, std::max<std::size_t>(1, word.size() / 3)) + 1;
  for (const std::string_view name : names) {
    if (name.empty() || name == word || name.size() > word.size() + 2 || word.size() > name.size() + 2) continue;
    const std::size_t differences = count_differences(word, name);
    if (differences >= least || differences >= name.size()) continue;
    least = differences;
    nearest = name;
  }
  return nearest;
}

std::string ask_for_near_name(std::string_view word, std::span<const std::string_view> names) {
  const std::string_view nearest = find_near_name(word, names);
  return nearest.empty() ? std::string() : "; did you mean " + std::string(nearest) + "?";
}

std::vector<quick_fix> fix_near_name(const document &file, text_range part, std::string_view near) {
  if (near.empty()) return {};
  return {{"Change to " + std::string(near), {{file.source_range(part), std::string(near)}}}};
}

}  // namespace quillet::dev
