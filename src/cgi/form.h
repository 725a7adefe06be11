// Form input: the fields of the query string and of a POST body, in the order they arrived.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "core/text.h"

namespace quillet {

// One field. The bytes are views of the decoded query string or body, which live until
// `free_form_entries`. The value of an uploaded file may hold NUL bytes.
struct form_entry {
  std::string_view name;
  std::string_view value;
  std::string_view file_name;  // of an uploaded file; empty for any other field

  [[nodiscard]] bool is_file() const { return !file_name.empty(); }
};

// Results of the decoders.
enum decode_result : int {
  decode_ok = 0,
  decode_no_memory = 1,
  decode_mismatch = 2,  // the body's length differs from CONTENT_LENGTH, or a multipart body has no boundary
};

// Results of the field accessors.
enum form_result : int {
  form_success = 0,
  form_truncated = 1,
  form_empty = 3,
  form_not_found = 4,
};

// Decodes the query string and, of a POST request, a URL-encoded or multipart body, into the list of
// entries. False when one of them cannot be decoded; the request then ends without output.
[[nodiscard]] bool decode_form_input();

// Empties the list and gives its memory back.
void free_form_entries();

// Appends the fields of `data`, "name=value" pairs separated by "&" (HTML's
// application/x-www-form-urlencoded), decoding in place: the entries are views of it.
decode_result decode_urlencoded(char *data, std::size_t length);

// Appends the fields of a multipart body (RFC 7578), in place likewise. The boundary is that of the
// request's content type. Text fields are recoded from the page's charset to the source charset.
decode_result decode_multipart(char *data, std::size_t length);

// Reads CONTENT_LENGTH bytes from standard input and decodes them.
decode_result read_post_body(bool multipart);

// Appends an entry to the list; false when memory runs out.
[[nodiscard]] bool add_form_entry(const form_entry &entry);

// All entries, in the order they arrived; names may repeat.
[[nodiscard]] std::span<const form_entry> form_entries();

// The first entry whose name is exactly `name`, and the next one after the last one found; null when
// there is none.
[[nodiscard]] const form_entry *find_form_entry(std::string_view name);
[[nodiscard]] const form_entry *find_next_form_entry();

// The value as the client sent it, the bytes of an uploaded file included; `form_not_found` or success.
form_result form_value(std::string_view name, std::string_view &value);

// The value as text: line breaks normalised, cut at its first NUL, "(file)" for an uploaded file. At
// most `limit` - 1 bytes are given; `form_truncated` when something was left, `form_empty` when the
// value has no bytes.
form_result form_string(std::string_view name, std::size_t limit, text &value);

// Operators do not read a value that needs more bytes than this.
constexpr std::size_t largest_field = 524287;

// The bytes that `form_string` needs for the whole value, its NUL byte included; 1 without a field.
[[nodiscard]] std::size_t form_space_needed(std::string_view name);

// The whole value as text; null when there is no such field, when it is empty, and when it needs more than
// `largest_field` bytes.
[[nodiscard]] text form_text(std::string_view name);

// The values of every field of that name as text, in the order they arrived.
[[nodiscard]] std::vector<text> form_strings(std::string_view name);

// Each run of carriage returns and line feeds becomes as many line feeds as the larger of the two
// counts in the run. Appends at most `limit` bytes; false when something was left.
bool append_normalised(std::string_view value, std::size_t limit, text &out);

}  // namespace quillet
