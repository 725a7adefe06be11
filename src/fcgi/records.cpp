#include "fcgi/records.h"

#include <cstring>

namespace quillet {

namespace {

unsigned byte_at(const char *bytes, std::size_t at) { return static_cast<unsigned char>(bytes[at]); }
char low_byte(std::size_t number) { return static_cast<char>(number & 0xff); }

std::string whole_record(record_type type, unsigned request, std::string_view content) {
  std::string record(record_head_size, '\0');
  write_record_head(record.data(), type, request, content.size());
  return record.append(content);
}

// A length of one byte, or of four with the highest bit set. Cuts it off.
bool read_length(std::span<char> &rest, std::size_t &length) {
  if (rest.empty()) return false;
  length = byte_at(rest.data(), 0);
  if (length < 0x80) {
    rest = rest.subspan(1);
    return true;
  }
  if (rest.size() < 4) return false;
  length =
      (length & 0x7f) << 24 | byte_at(rest.data(), 1) << 16 | byte_at(rest.data(), 2) << 8 | byte_at(rest.data(), 3);
  rest = rest.subspan(4);
  return true;
}

}  // namespace

record_head read_record_head(const char *bytes) {
  return {static_cast<unsigned char>(bytes[0]), static_cast<record_type>(bytes[1]),
          byte_at(bytes, 2) << 8 | byte_at(bytes, 3), byte_at(bytes, 4) << 8 | byte_at(bytes, 5), byte_at(bytes, 6)};
}

void write_record_head(char *bytes, record_type type, unsigned request, std::size_t size) {
  bytes[0] = static_cast<char>(fastcgi_version);
  bytes[1] = static_cast<char>(type);
  bytes[2] = low_byte(request >> 8);
  bytes[3] = low_byte(request);
  bytes[4] = low_byte(size >> 8);
  bytes[5] = low_byte(size);
  bytes[6] = bytes[7] = 0;
}

request_beginning read_beginning(std::string_view content) {
  constexpr std::size_t whole = 8;
  if (content.size() < whole) return {0, false};
  return {byte_at(content.data(), 0) << 8 | byte_at(content.data(), 1), (content[2] & 1) != 0};
}

std::string end_record(unsigned request, unsigned status, end_of_request how) {
  const char content[] = {low_byte(status >> 24),
                          low_byte(status >> 16),
                          low_byte(status >> 8),
                          low_byte(status),
                          static_cast<char>(how),
                          0,
                          0,
                          0};
  return whole_record(record_type::end_request, request, {content, sizeof content});
}

// The two lengths take two bytes at least, as much as "=" and the NUL byte: nothing is overwritten before it is read.
bool read_variables(std::span<char> content, std::vector<char *> &variables) {
  char *to = content.data();
  std::span<char> rest = content;
  while (!rest.empty()) {
    std::size_t name = 0;
    std::size_t value = 0;
    if (!read_length(rest, name) || !read_length(rest, value)) return false;
    if (name > rest.size() || value > rest.size() - name) return false;
    variables.push_back(to);
    std::memmove(to, rest.data(), name);
    to += name;
    *to++ = '=';
    std::memmove(to, rest.data() + name, value);
    to += value;
    *to++ = '\0';
    rest = rest.subspan(name + value);
  }
  return true;
}

std::string values_record(std::string content, int most_requests) {
  const std::string most = std::to_string(most_requests);
  std::vector<char *> asked;
  std::string values;
  if (!read_variables(content, asked)) asked.clear();
  for (std::string_view name : asked) {
    name = name.substr(0, name.find('='));
    const std::string value = name == "FCGI_MPXS_CONNS"                             ? "0"
                              : name == "FCGI_MAX_CONNS" || name == "FCGI_MAX_REQS" ? most
                                                                                    : "";
    if (value.empty()) continue;
    values.push_back(low_byte(name.size()));
    values.push_back(low_byte(value.size()));
    values.append(name).append(value);
  }
  return whole_record(record_type::get_values_result, 0, values);
}

std::string unknown_type_record(record_type type) {
  const char content[8] = {static_cast<char>(type)};
  return whole_record(record_type::unknown, 0, {content, sizeof content});
}

}  // namespace quillet
