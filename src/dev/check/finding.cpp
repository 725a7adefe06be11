#include "dev/check/finding.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "dev/check/rules.h"

namespace quillet::dev {

void finding_list::add(std::string_view rule, const document &file, text_range part, std::string message,
                       std::vector<quick_fix> fixes) {
  add_in_source(rule, file.source(), file.source_range(part), std::move(message), std::move(fixes));
}

void finding_list::add_in_source(std::string_view rule_name, const source_file &file, text_range part,
                                 std::string message, std::vector<quick_fix> fixes) {
  const rule &of = find_rule(rule_name);
  findings_.push_back({file.path(), part, file.place_of(part.begin), file.place_of(part.end), of.level, of.name,
                       std::move(message), std::move(fixes)});
}

bool finding_list::has(std::string_view rule, const std::string &path) const {
  return std::any_of(findings_.begin(), findings_.end(),
                     [&](const finding &each) { return each.rule == rule && each.path == path; });
}

bool finding_list::has_within(std::string_view rule, const document &file, text_range part) const {
  const text_range range = file.source_range(part);
  return std::any_of(findings_.begin(), findings_.end(), [&](const finding &each) {
    return each.rule == rule && range.begin <= each.range.begin && each.range.begin < range.end &&
           each.path == file.path();
  });
}

bool finding_list::says(std::string_view rule, std::string_view part_of_message) const {
  return std::any_of(findings_.begin(), findings_.end(), [&](const finding &each) {
    return each.rule == rule && each.message.find(part_of_message) != std::string::npos;
  });
}

bool finding_list::is_first_look(std::string_view rule, const document &file) {
  return looks_.emplace(rule, &file).second;
}

std::vector<finding> finding_list::take() {
  const auto key = [](const finding &each) { return std::tie(each.path, each.range.begin, each.rule); };
  std::stable_sort(findings_.begin(), findings_.end(),
                   [&](const finding &a, const finding &b) { return key(a) < key(b); });
  findings_.erase(std::unique(findings_.begin(), findings_.end(),
                              [&](const finding &a, const finding &b) { return key(a) == key(b); }),
                  findings_.end());
  std::set<std::pair<std::string, std::size_t>> unclosed;
  for (const finding &each : findings_) {
    if (each.rule == "call-unclosed") unclosed.emplace(each.path, each.range.begin);
  }
  std::erase_if(findings_, [&](const finding &each) {
    return each.rule != "call-unclosed" && unclosed.contains({each.path, each.range.begin});
  });
  return std::exchange(findings_, {});
}

}  // namespace quillet::dev
