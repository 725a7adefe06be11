#include "dev/lsp/cursor.h"

#include <string_view>

#include "core/evaluator.h"
#include "core/parameters.h"

namespace quillet::dev {

namespace {

// The parameters of the list that the text begins with and that the text's end cuts off.
std::vector<std::string> split_open_list(std::string_view list) {
  // A "]" closes the list unless it is between backticks.
  for (const std::string_view closing : {"]", "`]"}) {
    const std::string closed = std::string(list) + std::string(closing);
    quillet::parameters found;
    if (split_parameters(closed, found) != closed.size() - 1) continue;
    std::vector<std::string> split;
    split.reserve(static_cast<std::size_t>(found.count()));
    for (int i = 0; i < found.count(); ++i) split.emplace_back(found[i]);
    return split;
  }
  return {};
}

}  // namespace

std::optional<std::size_t> text_offset(const document &file, std::size_t source_offset) {
  std::size_t begin = 0;
  std::size_t end = file.text().size();
  while (begin < end) {
    const std::size_t middle = begin + (end - begin) / 2;
    if (file.source_offset(middle) < source_offset) {
      begin = middle + 1;
    } else {
      end = middle;
    }
  }
  // Before a carriage return the byte after it is meant.
  const std::size_t found = file.source_offset(begin);
  const bool is_kept = file.source().place_of(found).line == file.source().place_of(source_offset).line;
  return is_kept ? std::optional(begin) : std::nullopt;
}

const template_text *template_at(const document &file, std::size_t offset) {
  for (const template_text *each : file.templates()) {
    if (offset >= each->range.begin && offset <= each->range.end) return each;
  }
  return nullptr;
}

std::optional<open_call> open_call_at(const document &file, std::size_t offset) {
  const template_text *const around = template_at(file, offset);
  if (around == nullptr) return std::nullopt;
  // Without what comes after the cursor no call around it is closed.
  const std::string_view before = file.text({around->range.begin, offset});
  const std::vector<failed_call> open = call_finder(before).find({0, before.size()}).failures;
  for (auto innermost = open.rbegin(); innermost != open.rend(); ++innermost) {
    if (innermost->reason != call_failure::never_closed) continue;
    const std::size_t bracket = innermost->name.end;
    std::vector<std::string> given = split_open_list(before.substr(bracket));
    if (given.empty()) continue;
    const std::string_view name = before.substr(innermost->name.begin, innermost->name.size());
    return open_call{std::string(name), around->range.begin + bracket, std::move(given)};
  }
  return std::nullopt;
}

}  // namespace quillet::dev
