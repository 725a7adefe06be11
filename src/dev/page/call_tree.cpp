#include "dev/page/call_tree.h"

#include <algorithm>

#include "core/evaluator.h"
#include "core/scanner.h"

namespace quillet::dev {

namespace {

// Builds one level of the tree; the parameters are scanned when the level is complete.
class level_builder {
 public:
  level_builder(std::string_view text, text_range part, const bracket_index &brackets, int depth)
      : text_(text), brackets_(brackets), depth_(depth), at_(part.begin) {
    level_.range = part;
  }

  // The scanner's sink. An escape is literal from its "^" on, a call that failed is the literal "^" alone: only
  // there does the literal start where the text before it ended.
  void literal(std::string_view bytes) {
    const auto start = static_cast<std::size_t>(bytes.data() - text_.data());
    if (start == at_ && bytes == "^") note_failure(start);
    at_ = start + bytes.size();
    if (at_ == start) return;
    if (!level_.literals.empty() && level_.literals.back().end == literal_start_) {
      level_.literals.back().end = at_;
    } else {
      level_.literals.push_back({literal_start_, at_});
    }
    literal_start_ = at_;
  }

  void call(std::string_view name, const quillet::parameters &parameters) {
    dev::call found;
    found.name.begin = static_cast<std::size_t>(name.data() - text_.data());
    found.name.end = found.name.begin + name.size();
    found.range = {found.name.begin - 1, found.name.end + brackets_.end_of(text_.substr(found.name.end)) + 1};
    found.depth = depth_;
    for (int i = 0; i < parameters.count(); ++i) {
      template_text parameter;
      parameter.range.begin = static_cast<std::size_t>(parameters[i].data() - text_.data());
      parameter.range.end = parameter.range.begin + parameters[i].size();
      found.parameters.push_back(std::move(parameter));
    }
    at_ = literal_start_ = found.range.end;
    level_.calls.push_back(std::move(found));
  }

  template_text take() { return std::move(level_); }

 private:
  void note_failure(std::size_t caret) {
    const std::string_view rest = text_.substr(0, level_.range.end).substr(caret + 1);
    const std::size_t bracket = rest.find('[');
    if (bracket == std::string_view::npos) return;
    const bool closed = brackets_.end_of(rest.substr(bracket)) != 0;
    const text_range name{caret + 1, caret + 1 + bracket};
    level_.failures.push_back({name, closed ? call_failure::too_many_parameters : call_failure::never_closed});
  }

  std::string_view text_;
  const bracket_index &brackets_;
  int depth_;
  template_text level_;
  std::size_t at_;  // up to here the scanner has told what there is
  std::size_t literal_start_ = at_;
};

template_text build(std::string_view text, text_range part, const bracket_index &brackets, int depth) {
  level_builder builder(text, part, brackets, depth);
  scanner<level_builder>(text.substr(part.begin, part.size()), builder).run();
  template_text level = builder.take();
  if (depth + 1 >= max_call_depth) return level;
  for (call &each : level.calls) {
    for (template_text &parameter : each.parameters) parameter = build(text, parameter.range, brackets, depth + 1);
  }
  return level;
}

bool is_comment(std::string_view text, const call &each) {
  return text.substr(each.name.begin, each.name.size()) == "rem";
}

void visit(std::string_view text, const template_text &tree, std::vector<const call *> &around,
           const call_user *use_call, const text_user *use_text) {
  if (use_text != nullptr) (*use_text)(tree, around);
  for (const call &each : tree.calls) {
    if (use_call != nullptr) (*use_call)(each, around);
    if (is_comment(text, each)) continue;
    around.push_back(&each);
    for (const template_text &parameter : each.parameters) visit(text, parameter, around, use_call, use_text);
    around.pop_back();
  }
}

}  // namespace

template_text call_finder::find(text_range part) const { return build(text_, part, *bracket_scope::find(text_), 0); }

void for_each_call(std::string_view text, const template_text &tree, const call_user &use) {
  std::vector<const call *> around;
  visit(text, tree, around, &use, nullptr);
}

void for_each_text(std::string_view text, const template_text &tree, const text_user &use) {
  std::vector<const call *> around;
  visit(text, tree, around, nullptr, &use);
}

}  // namespace quillet::dev
