#include "core/prepared_brackets.h"

#include <algorithm>
#include <functional>

#include "core/scanner.h"

namespace quillet {

// From a "[" onwards, whether a later byte counts depends only on where it is: it must not be escaped, and the number
// of backticks between the two must be even. So there are two interleaved bracket sequences, by the parity of the
// backticks before them. Going backwards, each "]" opens a list that its "[" closes.
bracket_index::bracket_index(std::string_view source) : source_(source) {
  struct open_list {
    std::uint32_t end;
    std::uint32_t separator;  // the first one so far
  };
  std::vector<open_list> lists[2];
  std::size_t parity = 0;
  for (std::size_t k = source.size(); k-- > 0;) {
    const char c = source[k];
    if (c == '`') parity ^= 1;
    if (c != '[' && c != ']' && c != ';') continue;
    const auto position = static_cast<std::uint32_t>(k);
    std::vector<open_list> &open = lists[parity];
    if (c == '[') {
      const open_list own = open.empty() ? open_list{none, none} : open.back();
      marks_.push_back({position, own.end, own.separator});
    }
    std::size_t carets = 0;
    while (carets < k && source[k - 1 - carets] == '^') ++carets;
    if ((carets & 1) != 0) continue;
    if (c == ']') {
      open.push_back({position, none});
    } else if (!open.empty() && c == '[') {
      open.pop_back();
    } else if (!open.empty()) {
      marks_.push_back({position, none, open.back().separator});
      open.back().separator = static_cast<std::uint32_t>(marks_.size() - 1);
    }
  }
}

bool bracket_index::holds(std::string_view part) const {
  const std::less_equal<> up_to;
  return up_to(source_.data(), part.data()) && up_to(part.data() + part.size(), source_.data() + source_.size());
}

const bracket_index::mark *bracket_index::find(std::size_t position) const {
  const auto found = std::lower_bound(marks_.begin(), marks_.end(), position,
                                      [](const mark &each, std::size_t wanted) { return each.position > wanted; });
  return &*found;
}

std::size_t bracket_index::end_of(std::string_view list) const {
  const auto offset = static_cast<std::size_t>(list.data() - source_.data());
  const mark *const bracket = find(offset);
  return bracket->end == none || bracket->end - offset >= list.size() ? 0 : bracket->end - offset;
}

std::size_t bracket_index::split(std::string_view call, parameters &parameters) const {
  const auto offset = static_cast<std::size_t>(call.data() - source_.data());
  const mark *const bracket = find(offset);
  if (bracket->end == none || bracket->end - offset >= call.size()) return 0;
  std::size_t start = offset + 1;
  for (std::uint32_t next = bracket->separator;; next = marks_[next].separator) {
    if (parameters.count() == max_parameters) return 0;
    const std::size_t end = next == none ? bracket->end : marks_[next].position;
    parameters.add(without_backticks(source_.substr(start, end - start)));
    if (next == none) return end - offset;
    start = end + 1;
  }
}

}  // namespace quillet
