// Positions in a file as the language server protocol counts them: lines and characters from 0.
#pragma once

#include <cstddef>

#include "dev/page/source_file.h"

namespace quillet::dev {

// What a character is: a code unit of UTF-16, or a byte.
enum class position_encoding { utf16, utf8 };

struct text_position {
  std::size_t line = 0;
  std::size_t character = 0;

  bool operator==(const text_position &) const = default;
};

struct position_range {
  text_position start;
  text_position end;
};

// The position of a byte; an offset past the end counts as the end. A byte that belongs to no valid UTF-8 is one
// character.
[[nodiscard]] text_position position_of(const source_file &file, std::size_t offset, position_encoding encoding);
[[nodiscard]] position_range positions_of(const source_file &file, text_range part, position_encoding encoding);
// The byte at a position; one past the end of its line or of the file counts as that end.
[[nodiscard]] std::size_t offset_of(const source_file &file, text_position position, position_encoding encoding);

}  // namespace quillet::dev
