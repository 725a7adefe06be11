#include "dev/page/source_file.h"

#include <algorithm>
#include <utility>

namespace quillet::dev {

source_file::source_file(std::string path, std::string bytes)
    : path_(std::move(path)), bytes_(std::move(bytes)), line_starts_{0} {
  for (std::size_t feed = 0; (feed = bytes_.find('\n', feed)) != std::string::npos;) line_starts_.push_back(++feed);
}

text_place source_file::place_of(std::size_t offset) const {
  offset = std::min(offset, bytes_.size());
  const auto after = std::upper_bound(line_starts_.begin(), line_starts_.end(), offset);
  return {static_cast<std::size_t>(after - line_starts_.begin()), offset - *(after - 1) + 1};
}

std::size_t source_file::offset_of(text_place place) const {
  const std::size_t start = start_of_line(place.line);
  return std::min(start + std::max<std::size_t>(place.column, 1) - 1, start + line(place.line).size());
}

std::size_t source_file::start_of_line(std::size_t number) const {
  if (number == 0) return 0;
  return number > line_starts_.size() ? bytes_.size() : line_starts_[number - 1];
}

std::string_view source_file::line(std::size_t number) const {
  const std::size_t start = start_of_line(number);
  const std::string_view whole = bytes_;
  std::string_view rest = whole.substr(start);
  rest = rest.substr(0, rest.find('\n'));
  if (rest.ends_with('\r')) rest.remove_suffix(1);
  return rest;
}

}  // namespace quillet::dev
