// The parts of a file, and the colors of its names.
#pragma once

#include <string>
#include <vector>

#include "dev/page/document.h"

namespace quillet::dev {

struct outline_part {
  enum class kind { macro, variable, table } what;
  std::string name;
  text_range range;  // all ranges are in the file's bytes
  text_range name_range;
  std::vector<outline_part> parts;
};

// The macros with the variables and tables that are set in them first; of a page without macros these alone.
[[nodiscard]] std::vector<outline_part> find_outline(const document &file);

enum class color { comment, operator_name, macro, variable, argument, table, column };

struct colored_part {
  text_range range;  // in the file's bytes, on one line
  color as;
};

// In their order; none lies in another.
[[nodiscard]] std::vector<colored_part> find_colors(const document &file);

}  // namespace quillet::dev
