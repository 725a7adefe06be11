// The scanner: where in a template text the calls are.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "core/calls.h"
#include "core/evaluator.h"
#include "core/parameters.h"
#include "core/preparation.h"
#include "core/prepared_brackets.h"

namespace quillet {

// The "[" of a text whose parameter list cannot be split, in their order.
[[nodiscard]] std::vector<std::size_t> find_unsplittable(std::string_view source);

// A parameter wholly inside backticks is the text between them.
[[nodiscard]] inline std::string_view without_backticks(std::string_view parameter) {
  if (parameter.size() < 2 || parameter.front() != '`' || parameter.back() != '`') return parameter;
  return parameter.substr(1, parameter.size() - 2);
}

// One pass over a template text. Literal bytes and calls go to a sink in their order:
//   literal(bytes)            the bytes are a part of the source
//   call(name, parameters)    to be made now, or kept
template <class sink>
class scanner {
 public:
  scanner(std::string_view source, sink &to) : source_(source), to_(to) {}

  void run() {
    std::size_t at = 0;
    for (std::size_t caret; (caret = source_.find('^', at)) != std::string_view::npos;) {
      to_.literal(source_.substr(at, caret - at));
      at = caret + 1;
      if (at == source_.size()) return;  // Deliberate: a "^" at the very end is removed.
      const char next = source_[at];
      if (next == '^' || next == ';') {
        to_.literal(source_.substr(at, 1));
        ++at;
      } else if (const std::size_t end = call(at); end != 0) {
        at = end;
      } else {
        to_.literal(source_.substr(caret, 1));
      }
    }
    to_.literal(source_.substr(at));
  }

 private:
  // Passes on the call whose name starts at `name`; gives the position after its "]", 0 when it is none.
  std::size_t call(std::size_t name) {
    if (bracket_ != std::string_view::npos && bracket_ < name) bracket_ = source_.find('[', name);
    if (bracket_ == std::string_view::npos || is_unsplittable(bracket_)) return 0;
    parameters parameters;
    const std::string_view list = source_.substr(bracket_);
    const bracket_index *const index = bracket_scope::find(list);
    const std::size_t length = index != nullptr ? index->split(list, parameters) : split_parameters(list, parameters);
    if (length == 0) {
      if (!unsplittable_) unsplittable_ = find_unsplittable(source_);
      return 0;
    }
    const std::size_t end = bracket_ + length + 1;
    const std::string_view called = source_.substr(name, bracket_ - name);
    if (index == nullptr && is_worth_an_index(length)) {
      call_with_index(called, list.substr(0, length + 1), parameters);
    } else {
      to_.call(called, parameters);
    }
    return end;
  }

  // Long calls within each other, which few pages have.
  static bool is_worth_an_index(std::size_t length) {
    constexpr std::size_t long_call = 4096;
    constexpr int deep = 8;
    return length > long_call && calls.depth >= deep && preparation_enabled();
  }
  // Apart, so that the index takes no room on the stack for calls without one.
  [[gnu::noinline]] void call_with_index(std::string_view name, std::string_view list, parameters &parameters) {
    const bracket_scope scope(list);
    to_.call(name, parameters);
  }

  [[nodiscard]] bool is_unsplittable(std::size_t bracket) const {
    return unsplittable_ && std::binary_search(unsplittable_->begin(), unsplittable_->end(), bracket);
  }

  std::string_view source_;
  sink &to_;
  std::size_t bracket_ = 0;                               // the last "[" looked up; npos: there are no more
  std::optional<std::vector<std::size_t>> unsplittable_;  // known after the first call that was none
};

}  // namespace quillet
