// What an editor proposes while one types.
#pragma once

#include <string>
#include <vector>

#include "dev/lsp/workspace.h"

namespace quillet::dev {

enum class completion_kind { operator_name, macro, variable, argument, column, word };

struct completion {
  completion_kind kind;
  std::string label;
  std::string detail;
  std::string documentation;
  std::string snippet;  // with "${1:name}" where parameters are to be written; empty: the label
};

struct completion_list {
  text_range replaced;  // in the file's bytes
  std::vector<completion> items;
};

// For the cursor at an offset of the file.
[[nodiscard]] completion_list complete_at(workspace &files, const document &file, std::size_t source_offset);

}  // namespace quillet::dev
