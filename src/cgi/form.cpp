#include "cgi/form.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "cgi/charset.h"
#include "cgi/log.h"
#include "cgi/request.h"
#include "core/memory.h"

namespace quillet {

namespace {

constexpr std::string_view file_mark = "(file)";
constexpr std::size_t longest_read = 1048576;

// The list grows by doubling. Running out of memory here is the visitor's doing and ends the decoding,
// so it does not go through the containers, whose allocation never fails.
form_entry *entries = nullptr;
std::size_t entry_count = 0;
std::size_t entry_capacity = 0;
// What the entries are views of.
char *query_bytes = nullptr;
char *body_bytes = nullptr;

std::size_t next_position = 0;     // behind the entry last found
std::string_view name_last_found;  // its name

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

std::size_t read_input(char *buffer, std::size_t length) {
  std::size_t total = 0;
  while (total < length) {
    const ssize_t n = read(STDIN_FILENO, buffer + total, std::min(length - total, longest_read));
    if (n > 0) {
      total += static_cast<std::size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      break;
    }
  }
  return total;
}

std::string_view text_of(const form_entry &entry) { return entry.is_file() ? file_mark : until_nul(entry.value); }

}  // namespace

bool decode_form_input() {
  if (!request.query_string.empty()) {
    query_bytes = copy_bytes(request.query_string);
    if (query_bytes == nullptr || decode_urlencoded(query_bytes, request.query_string.size()) != decode_ok)
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
  release(std::exchange(entries, nullptr));
  release(std::exchange(query_bytes, nullptr));
  release(std::exchange(body_bytes, nullptr));
  entry_count = entry_capacity = 0;
}

decode_result decode_urlencoded(char *data, std::size_t length) {
  char *const end = data + length;
  while (data < end) {
    char *const equals = std::find(data, end, '=');
    if (equals == end) break;
    char *const value = equals + 1;
    char *const value_end = std::find(value, end, '&');
    form_entry entry;
    entry.name = until_nul(url_decode(data, static_cast<std::size_t>(equals - data)));
    entry.value = url_decode(value, static_cast<std::size_t>(value_end - value));
    if (!add_form_entry(entry)) return decode_no_memory;
    data = value_end + (value_end < end ? 1 : 0);
  }
  return decode_ok;
}

decode_result read_post_body(bool multipart) {
  if (request.content_length == 0) return decode_ok;
  // A length below 0 cannot be allocated.
  const auto length = static_cast<std::size_t>(std::max(0, request.content_length));
  body_bytes = static_cast<char *>(try_allocate_filled(length));
  if (body_bytes == nullptr) {
    log_message(error_log, "unable to malloc %d bytes", request.content_length);
    return decode_no_memory;
  }
  const std::size_t read_size = read_input(body_bytes, length);
  if (read_size != length) {
    log_message(error_log, "cgiParsePostFormInput: cgiContentLength(%d)!=read_size(%zu)", request.content_length,
                read_size);
    return decode_mismatch;
  }
  return multipart ? decode_multipart(body_bytes, length) : decode_urlencoded(body_bytes, length);
}

bool add_form_entry(const form_entry &entry) {
  if (entry_count == entry_capacity) {
    const std::size_t capacity = std::max<std::size_t>(16, entry_capacity * 2);
    auto *grown = static_cast<form_entry *>(try_allocate(capacity * sizeof(form_entry)));
    if (grown == nullptr) return false;
    std::uninitialized_copy_n(entries, entry_count, grown);
    release(entries);
    entries = grown;
    entry_capacity = capacity;
  }
  std::construct_at(&entries[entry_count++], entry);
  return true;
}

namespace {

// The entries live as long as the process, so the name remembered is theirs and not the caller's.
const form_entry *find_entry_from_here(std::string_view name) {
  while (next_position < entry_count) {
    const form_entry &entry = entries[next_position++];
    if (entry.name != name) continue;
    name_last_found = entry.name;
    return &entry;
  }
  return nullptr;
}

}  // namespace

std::span<const form_entry> form_entries() { return {entries, entry_count}; }

const form_entry *find_form_entry(std::string_view name) {
  next_position = 0;
  return find_entry_from_here(name);
}

const form_entry *find_next_form_entry() { return find_entry_from_here(name_last_found); }

form_result form_value(std::string_view name, std::string_view &value) {
  const form_entry *entry = find_form_entry(name);
  if (entry == nullptr) return form_not_found;
  value = entry->value;
  return form_success;
}

form_result form_string(std::string_view name, std::size_t limit, text &value) {
  const form_entry *entry = find_form_entry(name);
  if (entry == nullptr) return form_not_found;
  const std::string_view source = text_of(*entry);
  if (source.empty()) return form_empty;
  return append_normalised(source, limit == 0 ? 0 : limit - 1, value) ? form_success : form_truncated;
}

std::size_t form_space_needed(std::string_view name) {
  const form_entry *entry = find_form_entry(name);
  if (entry == nullptr) return 1;
  return (entry->is_file() ? file_mark.size() : entry->value.size()) + 1;
}

text form_text(std::string_view name) {
  text value;
  const std::size_t space = form_space_needed(name);
  if (space <= largest_field) form_string(name, space, value);
  return value;
}

std::vector<text> form_strings(std::string_view name) {
  std::vector<text> values;
  for (const form_entry *entry = find_form_entry(name); entry != nullptr; entry = find_next_form_entry()) {
    append_normalised(text_of(*entry), std::string_view::npos, values.emplace_back());
  }
  return values;
}

bool append_normalised(std::string_view value, std::size_t limit, text &out) {
  const auto is_break = [](char c) { return c == '\r' || c == '\n'; };
  const std::size_t start = out.size();
  while (!value.empty()) {
    const auto run = static_cast<std::size_t>(std::find_if(value.begin(), value.end(), is_break) - value.begin());
    const std::size_t room = limit - (out.size() - start);
    out.append(value.substr(0, std::min(run, room)));
    if (run > room) return false;
    value.remove_prefix(run);
    std::size_t returns = 0;
    std::size_t feeds = 0;
    for (; !value.empty() && is_break(value.front()); value.remove_prefix(1)) {
      ++(value.front() == '\r' ? returns : feeds);
    }
    for (std::size_t breaks = std::max(returns, feeds); breaks > 0; --breaks) {
      if (out.size() - start == limit) return false;
      out.append('\n');
    }
  }
  return true;
}

}  // namespace quillet
