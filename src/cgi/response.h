// The response: everything the program sends to the client goes through `write_output`, at the moment
// it is produced. Header lines that operators write therefore come before the closing
// header, which is written when the page is finished.
#pragma once

#include <cstddef>
#include <string_view>

#include "cgi/streams.h"
#include "core/text.h"

namespace quillet {

// Formats into at most 1,023 bytes (a longer result is cut) and writes that; returns the bytes written.
[[gnu::format(printf, 1, 2)]] std::size_t write_formatted(const char *format, ...);

// The bytes as they can appear within a header line: every control byte becomes a space.
[[nodiscard]] text header_text(std::string_view bytes);

// Writes the closing header, "Content-type: %s\nContent-length: %d\n\n", and the body.
void write_response(std::string_view content_type, std::string_view body);

}  // namespace quillet
