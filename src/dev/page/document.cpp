#include "dev/page/document.h"

#include <algorithm>
#include <utility>

#include "macro/macro_library.h"

namespace quillet::dev {

namespace {

text_range range_in(std::string_view whole, std::string_view part) {
  const auto begin = static_cast<std::size_t>(part.data() - whole.data());
  return {begin, begin + part.size()};
}

std::vector<text_range> split_names(std::string_view whole, std::string_view names) {
  std::vector<text_range> ranges;
  while (names.data() != nullptr && !names.empty()) ranges.push_back(range_in(whole, next_token(names, ';')));
  return ranges;
}

}  // namespace

document::document(std::string path, std::string bytes, document_kind kind)
    : source_(std::move(path), std::move(bytes)), kind_(kind), bytes_(source_.bytes()) {
  pieces_ = filter_lines_with_pieces(bytes_, kind == document_kind::data);
  text_ = bytes_;
  if (kind == document_kind::data) return;
  const call_finder calls(text_);
  if (kind != document_kind::included) read_macros(calls);
  if (macros_.empty() && kind != document_kind::macros) {
    whole_ = calls.find({0, text_.size()});
    templates_.push_back(&whole_);
  }
  for (const macro_block &each : macros_) templates_.push_back(&each.body);
}

void document::read_macros(const call_finder &calls) {
  std::string_view rest = text_;
  for (macro_definition next; take_definition(rest, next);) {
    const macro_header parts = split_header(next.header);
    macro_block &defined = macros_.emplace_back();
    defined.header = range_in(text_, next.header);
    --defined.header.begin;
    defined.name = range_in(text_, parts.name);
    defined.parameters = split_names(text_, parts.parameter_names);
    defined.body = calls.find(range_in(text_, next.body));
  }
  if (!macros_.empty()) before_macros_ = {0, text_.starts_with('@') ? 0 : text_.find("\n@") + 1};
}

std::size_t document::source_offset(std::size_t offset) const {
  if (text_.empty()) return 0;
  if (offset >= text_.size()) return source_offset(text_.size() - 1) + 1;
  const auto after = std::upper_bound(pieces_.begin(), pieces_.end(), offset,
                                      [](std::size_t wanted, const kept_piece &each) { return wanted < each.at; });
  return after == pieces_.begin() ? 0 : (after - 1)->source + (offset - (after - 1)->at);
}

text_range document::source_range(text_range part) const {
  const std::size_t begin = source_offset(part.begin);
  return {begin, part.size() == 0 ? begin : source_offset(part.end - 1) + 1};
}

const macro_block *document::macro_of(const template_text &body) const {
  const auto found =
      std::find_if(macros_.begin(), macros_.end(), [&](const macro_block &each) { return &each.body == &body; });
  return found == macros_.end() ? nullptr : &*found;
}

}  // namespace quillet::dev
