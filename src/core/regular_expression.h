// POSIX extended regular expressions, as the C library compiles them.
#pragma once

#include <regex.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "core/text.h"

namespace quillet {

// A compiled expression. `error()` is 0, or why it could not be compiled; then it can do nothing but
// describe the error. An empty expression is an error, and so is one that the C library could not
// handle in decent time and memory: too deeply nested, too many repetitions.
class regular_expression {
 public:
  // `flags`: REG_ICASE, REG_NEWLINE.
  regular_expression(std::string_view expression, int flags);
  regular_expression(const regular_expression &) = delete;
  regular_expression &operator=(const regular_expression &) = delete;
  ~regular_expression();

  [[nodiscard]] int error() const { return error_; }
  // The number of parenthesised groups.
  [[nodiscard]] std::size_t group_count() const { return compiled_.re_nsub; }
  // Looks for the first match at or behind `start`. Fills `pieces`, the whole match and then the groups,
  // as many as there is room for, with their places in the subject. 0, REG_NOMATCH or an error.
  [[nodiscard]] int match(std::string_view subject, std::size_t start, std::span<regmatch_t> pieces) const;
  // Appends "[regex error: " and the C library's words for the error and "]".
  void append_error(int error, text &out) const;

 private:
  regex_t compiled_ = {};
  int error_;
};

// The expression compiled; the last few are kept, for expressions in the body of a loop.
[[nodiscard]] std::shared_ptr<const regular_expression> compile_expression(std::string_view expression, int flags);

}  // namespace quillet
