// The forms of the call that one is typing.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "dev/lsp/workspace.h"

namespace quillet::dev {

struct signature {
  std::string label;
  std::string documentation;
  std::vector<text_range> parameters;  // in the label
};

struct signature_list {
  std::vector<signature> forms;
  std::size_t active_form = 0;
  std::size_t active_parameter = 0;
};

// For the cursor at an offset of the file; nothing outside of calls.
[[nodiscard]] std::optional<signature_list> signatures_at(workspace &files, const document &file,
                                                          std::size_t source_offset);

}  // namespace quillet::dev
