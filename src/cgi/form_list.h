// Where the form entries are kept: they are views of the decoded input, put together when they are asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "cgi/form.h"

namespace quillet {

// A field of URL-encoded input after decoding in place: its name starts here, its value follows and ends where
// the next field starts. Eight bytes, for a visitor can send a field in two.
struct packed_field {
  std::uint32_t start;
  std::uint32_t name_size;
};

// Room for so many fields of the decoded `bytes` at the end of the list, and for one more, which ends the last
// one; null without memory. The caller fills it at once. The bytes are fewer than 4 GB.
[[nodiscard]] packed_field *add_packed_fields(const char *bytes, std::size_t count);

// Empties the list and gives its memory back; not the bytes.
void clear_form_entries();

}  // namespace quillet
