#include "cgi/streams.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "core/file.h"

namespace quillet {

namespace {

std::size_t read_standard_input(char *buffer, std::size_t size) {
  constexpr std::size_t longest_read = 1048576;
  std::size_t total = 0;
  while (total < size) {
    const ssize_t n = read(STDIN_FILENO, buffer + total, std::min(size - total, longest_read));
    if (n > 0) {
      total += static_cast<std::size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      break;
    }
  }
  return total;
}

std::size_t write_standard_output(std::string_view bytes) { return write_all(STDOUT_FILENO, bytes); }

}  // namespace

const request_streams standard_streams = {read_standard_input, write_standard_output};

namespace {

request_streams streams = standard_streams;
std::size_t bytes_read = 0;

}  // namespace

std::size_t read_input(char *buffer, std::size_t size) {
  const std::size_t n = streams.read(buffer, size);
  bytes_read += n;
  return n;
}

void drop_input(std::size_t length) {
  char piece[16384];
  while (bytes_read < length && read_input(piece, std::min(sizeof piece, length - bytes_read)) > 0) continue;
}

std::size_t write_output(std::string_view bytes) { return streams.write(bytes); }

void set_streams(const request_streams &new_streams) { streams = new_streams; }

}  // namespace quillet
