// Records of FastCGI, version 1: https://fastcgi-archives.github.io/FastCGI_Specification.html. Bytes only; nothing
// here reads or writes a descriptor.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

enum class record_type : unsigned char {
  begin_request = 1,
  abort_request,
  end_request,
  parameters,
  input,
  output,
  errors,
  data,
  get_values,
  get_values_result,
  unknown,
};

constexpr unsigned char fastcgi_version = 1;
constexpr std::size_t record_head_size = 8;
constexpr std::size_t largest_content = 65535;

struct record_head {
  unsigned char version;
  record_type type;
  unsigned request;  // 0: about the connection
  std::size_t size;  // of the content
  std::size_t padding;
};

// From and to `record_head_size` bytes. Written is version 1 without padding.
[[nodiscard]] record_head read_record_head(const char *bytes);
void write_record_head(char *bytes, record_type type, unsigned request, std::size_t size);

// What a web server wants of a request, from the content of `begin_request`; role 0 when that is too short.
struct request_beginning {
  unsigned role;
  bool keep_connection;
};
constexpr unsigned responder = 1;
[[nodiscard]] request_beginning read_beginning(std::string_view content);

enum class end_of_request : unsigned char { complete, cannot_multiplex, overloaded, unknown_role };

// A whole record with the end of the request.
[[nodiscard]] std::string end_record(unsigned request, unsigned status, end_of_request how);

// Turns pairs of a name and a value into "name=value", each with a NUL byte at its end, where they are, and appends
// where each of them begins; false when a length says more than there is.
[[nodiscard]] bool read_variables(std::span<char> content, std::vector<char *> &variables);

// A whole record that answers `get_values`, whose content is given: requests are answered so many at once, and one on
// a connection. Names that are not known get no value.
[[nodiscard]] std::string values_record(std::string content, int most_requests);

// A whole record for a type about the connection that is not known.
[[nodiscard]] std::string unknown_type_record(record_type type);

}  // namespace quillet
