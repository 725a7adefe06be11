#include "dev/lsp/text_position.h"

#include <algorithm>
#include <string_view>

namespace quillet::dev {

namespace {

// The length of the code point at the front of the bytes; 1 where they are not valid UTF-8.
std::size_t code_point_length(std::string_view bytes) {
  const auto lead = static_cast<unsigned char>(bytes.front());
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 && lead < 0xF8   ? 4
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                                                           : 1;
  if (length > bytes.size()) return 1;
  const std::string_view rest = bytes.substr(1, length - 1);
  const bool is_valid =
      std::all_of(rest.begin(), rest.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; });
  return is_valid ? length : 1;
}

// How many characters a code point of that length counts.
std::size_t character_count(std::size_t length, position_encoding encoding) {
  if (encoding == position_encoding::utf8) return length;
  return length == 4 ? 2 : 1;
}

}  // namespace

text_position position_of(const source_file &file, std::size_t offset, position_encoding encoding) {
  const text_place place = file.place_of(offset);
  std::string_view before = file.bytes().substr(file.start_of_line(place.line), place.column - 1);
  text_position position{place.line - 1, 0};
  while (!before.empty()) {
    const std::size_t length = code_point_length(before);
    position.character += character_count(length, encoding);
    before.remove_prefix(length);
  }
  return position;
}

position_range positions_of(const source_file &file, text_range part, position_encoding encoding) {
  return {position_of(file, part.begin, encoding), position_of(file, part.end, encoding)};
}

std::size_t offset_of(const source_file &file, text_position position, position_encoding encoding) {
  if (position.line >= file.line_count()) return file.bytes().size();
  const std::string_view line = file.line(position.line + 1);
  std::size_t offset = 0;
  for (std::size_t left = position.character; left > 0 && offset < line.size();) {
    const std::size_t length = code_point_length(line.substr(offset));
    const std::size_t characters = character_count(length, encoding);
    if (characters > left) break;  // inside of a code point
    left -= characters;
    offset += length;
  }
  return file.start_of_line(position.line + 1) + offset;
}

}  // namespace quillet::dev
