#include "files/attachment.h"

#include <algorithm>

#include "cgi/response.h"

namespace quillet {

namespace {

struct known_type {
  std::string_view extension;
  std::string_view type;
};

constexpr known_type known_types[] = {
    {"gif", "image/gif"},       {"jpg", "image/jpeg"},
    {"jpeg", "image/jpeg"},     {"tif", "image/tiff"},
    {"tiff", "image/tiff"},     {"cgm", "image/cgm"},
    {"au", "audio/basic"},      {"mov", "video/quicktime"},
    {"qt", "video/quicktime"},  {"mpeg", "video/mpeg"},
    {"mpg", "video/mpeg"},      {"mp2", "video/mpeg"},
    {"mp3", "video/mpeg"},      {"ps", "application/postscript"},
    {"zip", "application/zip"}, {"doc", "application/msword"},
};

constexpr std::size_t line_bytes = 45;

// Six bits as a printing byte; 0 is a grave accent, not a space, which mail might remove at a line's end.
constexpr char encode_bits(unsigned bits) { return bits == 0 ? '`' : static_cast<char>(' ' + bits); }

// Writes the line of at most 45 bytes after its length and gives the end of it.
char *encode_line(std::string_view bytes, char *to) {
  *to++ = encode_bits(static_cast<unsigned>(bytes.size()));
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](std::size_t k) { return k < bytes.size() ? static_cast<unsigned char>(bytes[k]) : 0U; };
    const unsigned group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
    for (int shift = 18; shift >= 0; shift -= 6) *to++ = encode_bits(group >> shift & 63);
  }
  *to++ = '\n';
  return to;
}

void append_uuencoded(std::string_view data, text &out) {
  const std::size_t lines = (data.size() + line_bytes - 1) / line_bytes;
  char *const start = out.reserve(out.size() + (data.size() + 2) / 3 * 4 + 2 * lines);
  char *end = start;
  for (std::size_t i = 0; i < data.size(); i += line_bytes) end = encode_line(data.substr(i, line_bytes), end);
  out.commit(static_cast<std::size_t>(end - start));
}

}  // namespace

std::string_view attachment_type(std::string_view name) {
  const std::string_view extension = cut_at_last_char(name, '.');
  const auto *const known = std::find_if(std::begin(known_types), std::end(known_types), [&](const known_type &row) {
    return equal_ignoring_case(row.extension, extension);
  });
  // Deliberate: the capitals of the type of all other files.
  return known == std::end(known_types) ? "Application/Octet-Stream" : known->type;
}

void append_attachment(std::string_view data, std::string_view name, text &out) {
  if (data.empty()) return;
  const text shown_name = header_text(name);
  out.append("Content-Type: ");
  out.append(attachment_type(name));
  out.append("\nContent-Transfer-Encoding: x-uuencode\nContent-Disposition: attachment; filename=\"");
  out.append(shown_name);
  out.append("\"\n\nbegin 644 ");
  out.append(shown_name);
  out.append('\n');
  append_uuencoded(data, out);
  out.append("`\nend\n");
}

}  // namespace quillet
