// Expressions as they are written in a page: read without their values.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "dev/page/call_tree.h"

namespace quillet::dev {

// An expression without its white space. A call, and a reference to a macro's argument, is a name that no page
// writes: see `is_stand_in`.
struct expression_text {
  std::string bytes;
  std::vector<text_range> origins;  // of each byte, in the file's text

  // Where a part of the bytes is in the file's text; the part is not empty.
  [[nodiscard]] text_range origin_of(std::size_t begin, std::size_t end) const {
    return {origins[begin].begin, origins[end - 1].end};
  }
};

// The expression that a parameter is. Equal calls have equal stand-ins.
[[nodiscard]] expression_text read_expression_text(std::string_view text, const template_text &parameter);

// Whether the name stands for one call or reference and for nothing else.
[[nodiscard]] bool is_stand_in(std::string_view name);
// Whether a part of the name does.
[[nodiscard]] bool holds_stand_in(std::string_view name);

}  // namespace quillet::dev
