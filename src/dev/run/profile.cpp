#include "dev/run/profile.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <vector>

#include "dev/run/shown.h"

namespace quillet::dev {

namespace {

struct entry {
  std::size_t count = 0;
  std::int64_t total = 0;  // with what was called from there; of calls inside each other only the outermost one's
  std::int64_t self = 0;
};

using labelling = std::function<std::string(const profile_node &)>;

std::vector<std::int64_t> self_times(const observation &seen) {
  std::vector<std::int64_t> self;
  for (const profile_node &node : seen.profile) self.push_back(node.nanoseconds);
  for (const profile_node &node : seen.profile) {
    if (node.parent >= 0) self[static_cast<std::size_t>(node.parent)] -= node.nanoseconds;
  }
  for (std::int64_t &time : self) time = std::max<std::int64_t>(time, 0);
  return self;
}

std::string table_of(const observation &seen, const char *heading, const labelling &label) {
  const std::vector<std::int64_t> self = self_times(seen);
  std::vector<std::string> labels;
  for (const profile_node &node : seen.profile) labels.push_back(label(node));
  std::map<std::string, entry> entries;
  for (std::size_t i = 0; i < seen.profile.size(); ++i) {
    if (labels[i].empty()) continue;
    entry &to = entries[labels[i]];
    to.count += seen.profile[i].count;
    to.self += self[i];
    bool is_outermost = true;
    for (int up = seen.profile[i].parent; up >= 0; up = seen.profile[static_cast<std::size_t>(up)].parent) {
      is_outermost = is_outermost && labels[static_cast<std::size_t>(up)] != labels[i];
    }
    if (is_outermost) to.total += seen.profile[i].nanoseconds;
  }
  std::vector<std::pair<std::string, entry>> sorted(entries.begin(), entries.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto &a, const auto &b) { return a.second.self > b.second.self; });
  char line[80];
  std::snprintf(line, sizeof line, "%9s %11s %11s  ", "calls", "total ms", "self ms");
  std::string lines = std::string(line) + heading + '\n';
  for (const auto &[name, sums] : sorted) {
    std::snprintf(line, sizeof line, "%9zu %11s %11s  ", sums.count, shown_time(sums.total).c_str(),
                  shown_time(sums.self).c_str());
    lines += line + name + '\n';
  }
  return lines;
}

std::string line_of(const observation &seen, const profile_node &node) {
  if (!node.where.is_known()) return {};
  return shown_path(seen.files[static_cast<std::size_t>(node.where.file)]) + ':' + std::to_string(node.where.line);
}

}  // namespace

std::string shown_profile(const observation &seen) {
  return table_of(seen, "operator", [](const profile_node &node) { return node.name; }) + '\n' +
         table_of(seen, "line", [&seen](const profile_node &node) { return line_of(seen, node); });
}

std::string folded_profile(const observation &seen) {
  const std::vector<std::int64_t> self = self_times(seen);
  std::vector<std::string> stacks;
  std::string lines;
  for (std::size_t i = 0; i < seen.profile.size(); ++i) {
    const profile_node &node = seen.profile[i];
    std::string frame = shown_value(node.name, node.name.size(), 60);
    if (const std::string line = line_of(seen, node); !line.empty()) frame += " (" + line + ')';
    std::replace(frame.begin(), frame.end(), ';', ',');
    stacks.push_back(node.parent < 0 ? frame : stacks[static_cast<std::size_t>(node.parent)] + ';' + frame);
    if (self[i] >= 1000) lines += stacks.back() + ' ' + std::to_string(self[i] / 1000) + '\n';
  }
  return lines;
}

}  // namespace quillet::dev
