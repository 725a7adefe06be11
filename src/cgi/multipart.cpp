// Multipart form bodies (RFC 7578, RFC 2046).

#include "cgi/charset.h"
#include "cgi/form.h"
#include "cgi/mark_finder.h"
#include "cgi/request.h"

namespace quillet {

namespace {

std::size_t find_ignoring_case(std::string_view source, std::string_view mark) {
  return mark_finder(mark).find(source, 0);
}

// The value after `key`: a quoted string, or the bytes up to the first space, ";", double quote or
// line break. Empty when the key does not occur.
std::string_view value_after(std::string_view source, std::string_view key) {
  const std::size_t at = find_ignoring_case(source, key);
  if (at == std::string_view::npos) return {};
  std::string_view value = source.substr(at + key.size());
  if (value.starts_with('"')) {
    value.remove_prefix(1);
    return value.substr(0, value.find('"'));
  }
  return value.substr(0, value.find_first_of(" ;\"\n\r"));
}

// The length of a part's header, its empty line included; npos when no empty line ends it. Lines end
// with a line feed, or a carriage return and a line feed.
std::size_t header_length(std::string_view part) {
  for (std::size_t feed = part.find('\n'); feed != std::string_view::npos; feed = part.find('\n', feed + 1)) {
    const std::string_view rest = part.substr(feed + 1);
    if (rest.starts_with('\n')) return feed + 2;
    if (rest.starts_with("\r\n")) return feed + 3;
  }
  return std::string_view::npos;
}

}  // namespace

decode_result decode_multipart(char *data, std::size_t length) {
  const std::string_view body(data, length);
  const std::string_view boundary = value_after(request.content_type, "boundary=");
  // An empty boundary would never advance.
  if (boundary.empty()) return decode_mismatch;

  const mark_finder finder(boundary);
  std::size_t first = finder.find(body, 0);
  while (first != std::string_view::npos) {
    const std::size_t part = first + finder.size();
    const std::size_t next = finder.find(body, part);
    if (next == std::string_view::npos) break;
    const std::size_t header_size = header_length(body.substr(part, next - part));
    if (header_size == std::string_view::npos) break;
    const std::string_view header = body.substr(part, header_size);
    const std::size_t content = part + header_size;
    // A carriage return, a line feed and "--" are between the content and the boundary.
    constexpr std::size_t mark_before_boundary = 4;
    if (find_ignoring_case(header, "content-disposition: form-data") != std::string_view::npos &&
        next > content + mark_before_boundary) {
      const std::string_view name = until_nul(value_after(header, " name="));
      const std::string_view file_name = until_nul(value_after(header, " filename="));
      const std::size_t size = next - content - mark_before_boundary;
      if (!name.empty()) {
        if (file_name.empty()) recode_from_client(data + content, size);
        if (!add_form_entry({name, {data + content, size}, file_name})) return decode_no_memory;
      }
    }
    first = next;
  }
  return decode_ok;
}

}  // namespace quillet
