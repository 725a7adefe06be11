// Form input: the fields of the query string and of a POST body, in the order they arrived.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "core/text.h"

namespace quillet {

// One field. The bytes are views of the decoded query string or body, which live until
// `free_form_entries`. The value of an uploaded file can contain NUL bytes.
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

// Decodes the query string and, of a POST request, a URL-encoded or multipart body, into the list of
// entries. False when one of them cannot be decoded; the request then ends without output.
[[nodiscard]] bool decode_form_input();

// Empties the list and gives its memory back.
void free_form_entries();

// Appends the fields of `data`, "name=value" pairs separated by "&" (HTML's
// application/x-www-form-urlencoded), decoding in place: the entries are views of it.
decode_result decode_urlencoded(char *data, std::size_t length);

// Appends the fields of a multipart body (RFC 7578), in place, too. The boundary is that of the
// request's content type. Text fields are recoded from the page's charset to the source charset.
decode_result decode_multipart(char *data, std::size_t length);

// Reads CONTENT_LENGTH bytes of the body and decodes them.
decode_result read_post_body(bool multipart);

// Appends an entry to the list; false when memory runs out.
[[nodiscard]] bool add_form_entry(const form_entry &entry);

// All entries, in the order they arrived; names may repeat. They are put together as they are asked for.
class form_entry_list {
 public:
  class iterator {
   public:
    explicit iterator(std::size_t position) : position_(position) {}
    form_entry operator*() const { return form_entry_list()[position_]; }
    iterator &operator++() {
      ++position_;
      return *this;
    }
    bool operator==(const iterator &) const = default;

   private:
    std::size_t position_;
  };

  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] bool empty() const { return size() == 0; }
  [[nodiscard]] form_entry operator[](std::size_t position) const;
  [[nodiscard]] iterator begin() const { return iterator(0); }
  [[nodiscard]] iterator end() const { return iterator(size()); }
};
[[nodiscard]] inline form_entry_list form_entries() { return {}; }

// The first entry whose name is exactly `name`, and the next one after the last one found; nothing when there
// is none. Asking for one name after another takes linear time in all, whatever the names are.
[[nodiscard]] std::optional<form_entry> find_form_entry(std::string_view name);
[[nodiscard]] std::optional<form_entry> find_next_form_entry();

// Whether the value is too long for operators to read: more than 524,286 bytes. "(file)" never is.
[[nodiscard]] bool is_oversized(const form_entry &entry);

// The whole value as text; null when there is no such field, when it is empty, and when it is oversized.
[[nodiscard]] text form_text(std::string_view name);

// Appends the whole value of an entry as text: line breaks normalized, cut at its first NUL, "(file)" for an
// uploaded file.
void append_form_text(const form_entry &entry, text &out);

// Each run of carriage returns and line feeds becomes as many line feeds as the larger of the two
// counts in the run.
void append_normalised(std::string_view value, text &out);

}  // namespace quillet
