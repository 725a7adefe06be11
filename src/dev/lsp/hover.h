// What an editor shows for the name under the mouse.
#pragma once

#include <optional>
#include <string>

#include "dev/lsp/workspace.h"

namespace quillet::dev {

struct hover_text {
  std::string markdown;
  text_range range;  // in the file's bytes
};

// For the byte at an offset of the file; nothing where there is nothing to say.
[[nodiscard]] std::optional<hover_text> hover_at(workspace &files, const document &file, std::size_t source_offset);

}  // namespace quillet::dev
