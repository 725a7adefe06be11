#include "cgi/form.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cgi/form_list.h"
#include "cgi/log.h"
#include "cgi/request.h"
#include "cgi/streams.h"
#include "core/memory.h"

namespace quillet {

namespace {

constexpr std::string_view file_mark = "(file)";
constexpr std::size_t longest_value = 524286;

// What the entries are views of.
struct {
  char *query = nullptr;
  char *body = nullptr;
} input;

// Whether the two are equal over the length of the shorter one, ASCII letters of either case being
// the same. Deliberate: an empty text matches everything.
bool matches_as_prefix(std::string_view a, std::string_view b) {
  const std::size_t length = std::min(a.size(), b.size());
  return equal_ignoring_case(a.substr(0, length), b.substr(0, length));
}

// A copy of a text that is not empty. Null without memory.
char *copy_bytes(std::string_view source) {
  auto *copy = static_cast<char *>(try_allocate(source.size() + 1));
  if (copy != nullptr) std::copy(source.begin(), source.end(), copy);
  return copy;
}

}  // namespace

bool decode_form_input() {
  if (!request.query_string.empty()) {
    input.query = copy_bytes(request.query_string);
    if (input.query == nullptr || decode_urlencoded(input.query, request.query_string.size()) != decode_ok)
      return false;
  }
  if (!equal_ignoring_case(request.request_method, "post")) return true;
  if (equal_ignoring_case(request.content_type, "application/x-www-form-urlencoded")) {
    return read_post_body(false) == decode_ok;
  }
  if (matches_as_prefix(request.content_type, "multipart/form-data")) return read_post_body(true) == decode_ok;
  return true;
}

void free_form_entries() {
  clear_form_entries();
  release(std::exchange(input.query, nullptr));
  release(std::exchange(input.body, nullptr));
}

decode_result read_post_body(bool multipart) {
  if (request.content_length == 0) return decode_ok;
  // A length below 0 cannot be allocated.
  const auto length = static_cast<std::size_t>(std::max(0, request.content_length));
  input.body = static_cast<char *>(try_allocate_filled(length));
  if (input.body == nullptr) {
    log_message(error_log, "unable to malloc %d bytes", request.content_length);
    return decode_no_memory;
  }
  const std::size_t read_size = read_input(input.body, length);
  if (read_size != length) {
    log_message(error_log, "cgiParsePostFormInput: cgiContentLength(%d)!=read_size(%zu)", request.content_length,
                read_size);
    return decode_mismatch;
  }
  return multipart ? decode_multipart(input.body, length) : decode_urlencoded(input.body, length);
}

bool is_oversized(const form_entry &entry) { return !entry.is_file() && entry.value.size() > longest_value; }

text form_text(std::string_view name) {
  text value;
  const std::optional<form_entry> entry = find_form_entry(name);
  if (entry && !is_oversized(*entry)) append_form_text(*entry, value);
  return value;
}

void append_form_text(const form_entry &entry, text &out) {
  append_normalised(entry.is_file() ? file_mark : until_nul(entry.value), out);
}

void append_normalised(std::string_view value, text &out) {
  const auto is_break = [](char c) { return c == '\r' || c == '\n'; };
  while (!value.empty()) {
    const auto run = static_cast<std::size_t>(std::find_if(value.begin(), value.end(), is_break) - value.begin());
    out.append(value.substr(0, run));
    value.remove_prefix(run);
    std::size_t returns = 0;
    std::size_t feeds = 0;
    for (; !value.empty() && is_break(value.front()); value.remove_prefix(1)) {
      ++(value.front() == '\r' ? returns : feeds);
    }
    for (std::size_t breaks = std::max(returns, feeds); breaks > 0; --breaks) out.append('\n');
  }
}

}  // namespace quillet
