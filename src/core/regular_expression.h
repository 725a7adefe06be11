// POSIX extended regular expressions, with the answers of the C library.
#pragma once

#include <regex.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "core/expression_cost.h"
#include "core/linear_matcher.h"
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
  // The number of parenthesized groups.
  [[nodiscard]] std::size_t group_count() const { return group_count_; }
  // Looks for the leftmost longest match. Fills `pieces`, which has room for the match alone or for it and every
  // group, with their places in the subject; both -1 for a group that took no part. 0, REG_NOMATCH or an error:
  // REG_ESPACE when matching would cost too much. Without memory the process ends.
  [[nodiscard]] int match(std::string_view subject, std::span<regmatch_t> pieces) const;
  // Appends "[regex error: " and the C library's words for the error and "]".
  void append_error(int error, text &out) const;

 private:
  friend class match_search;

  int compile() const;
  int match_by_library(std::string_view subject, std::span<regmatch_t> pieces) const;

  text source_;
  int flags_;
  std::size_t group_count_ = 0;
  expression_cost cost_ = expression_cost::small;
  std::unique_ptr<linear_matcher> linear_;  // for everyday expressions
  std::optional<char> needed_byte_;         // for others: every match has it
  mutable regex_t compiled_ = {};
  mutable bool is_compiled_ = false;  // an everyday expression is not until the C library is needed
  int error_ = 0;
};

// Looks for matches in one text again and again. All matches of an everyday expression together cost time that grows
// with the text.
class match_search {
 public:
  // Both must outlive the search.
  match_search(const regular_expression &expression, std::string_view subject)
      : expression_(expression), subject_(subject) {}

  // Like `match` in the text from `offset` on, as if it began there: places count from `offset`.
  [[nodiscard]] int find(std::size_t offset, std::span<regmatch_t> pieces);

 private:
  int find_linearly(std::size_t offset, std::span<regmatch_t> pieces);

  enum class way { untried, linear, by_library };

  const regular_expression &expression_;
  std::string_view subject_;
  way way_ = way::untried;
  linear_matcher::mark_list marks_;
  std::vector<position_set> scratch_;
};

// The expression compiled; the last few are kept, for expressions in the body of a loop.
[[nodiscard]] std::shared_ptr<const regular_expression> compile_expression(std::string_view expression, int flags);

}  // namespace quillet
