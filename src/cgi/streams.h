// The two streams of a request: the body that comes in and the response that goes out.
#pragma once

#include <cstddef>
#include <string_view>

namespace quillet {

// Reads at most `size` bytes of the body, fewer at its end or on an error.
std::size_t read_input(char *buffer, std::size_t size);

// Reads what is left of a body of `length` bytes and drops it. A server need not end the stream after the body
// (RFC 3875, section 4.2), so nothing more is read.
void drop_input(std::size_t length);

// Writes all the bytes to the client; returns how many were written, fewer when the client has gone.
std::size_t write_output(std::string_view bytes);

// Where the two lead; standard input and output unless something else was set. Set once, at the start.
struct request_streams {
  std::size_t (*read)(char *buffer, std::size_t size);
  std::size_t (*write)(std::string_view bytes);
};
extern const request_streams standard_streams;
void set_streams(const request_streams &streams);

}  // namespace quillet
