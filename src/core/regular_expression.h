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
// describe the error. An empty expression is an error (REG_BADPAT), and so is one that costs the C library more
// than half a second or 256 MB, or that crashes it (REG_ESPACE).
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
  // Looks for the leftmost longest match. Fills `pieces`, the whole match and then the groups, as many as there is
  // room for (at least one), with their places in the subject; both -1 for a group that took no part. 0,
  // REG_NOMATCH or an error: REG_ESPACE when matching would cost too much. Without memory the process ends.
  [[nodiscard]] int match(std::string_view subject, std::span<regmatch_t> pieces) const;
  // Appends "[regex error: " and the C library's words for the error and "]".
  void append_error(int error, text &out) const;

 private:
  regex_t compiled_ = {};
  bool may_not_end_;  // compiled, it may still be endless to match
  int error_;
};

// The expression compiled; the last few are kept, for expressions in the body of a loop.
[[nodiscard]] std::shared_ptr<const regular_expression> compile_expression(std::string_view expression, int flags);

}  // namespace quillet
