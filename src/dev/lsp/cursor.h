// Where in a template text the cursor of an editor is.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "dev/page/document.h"

namespace quillet::dev {

// The offset in the document's text of a byte of the file; nothing in a line that the program does not read.
[[nodiscard]] std::optional<std::size_t> text_offset(const document &file, std::size_t source_offset);

// The template text of a document around an offset, a macro's body or the whole page; null when there is none.
[[nodiscard]] const template_text *template_at(const document &file, std::size_t offset);

// A call that is open before the cursor, whether a "]" closes it after the cursor or not.
struct open_call {
  std::string name;
  std::size_t bracket;                  // the offset of its "["
  std::vector<std::string> parameters;  // the last one up to the cursor
};

// The innermost one at an offset.
[[nodiscard]] std::optional<open_call> open_call_at(const document &file, std::size_t offset);

}  // namespace quillet::dev
