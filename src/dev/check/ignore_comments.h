// Comments that silence rules in a file:
//
//     ^rem[quillet-dev: ignore call-count text-line]   its own line and the next one
//     # quillet-dev: ignore text-cells                 the next line
//     ^rem[quillet-dev: ignore-file page-main]         the whole file
//
// Without names all rules are silenced.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "dev/page/source_file.h"

namespace quillet::dev {

// The comments of a file, which must outlive them.
class ignore_comments {
 public:
  explicit ignore_comments(const source_file &file);
  // Whether they silence that rule on that line.
  [[nodiscard]] bool silence(std::string_view rule, std::size_t line) const;

 private:
  struct comment {
    std::size_t first_line;
    std::size_t last_line;
    std::string_view rules;  // separated by blanks or commas; empty: all
  };
  std::vector<comment> comments_;
};

}  // namespace quillet::dev
