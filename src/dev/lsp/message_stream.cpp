#include "dev/lsp/message_stream.h"

#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <utility>

namespace quillet::dev {

namespace {

constexpr std::size_t longest_header = 16 * 1024;
constexpr std::size_t longest_content = 64 * 1024 * 1024;

// The length that a header names; nothing when it names none or one that is too large.
std::optional<std::size_t> content_length(std::string_view header) {
  constexpr std::string_view name = "Content-Length:";
  std::optional<std::size_t> length;
  while (!header.empty()) {
    const std::size_t end = header.find("\r\n");
    std::string_view line = header.substr(0, end);
    header.remove_prefix(end == std::string_view::npos ? header.size() : end + 2);
    if (line.size() < name.size() || strncasecmp(line.data(), name.data(), name.size()) != 0) continue;
    line.remove_prefix(name.size());
    while (line.starts_with(' ')) line.remove_prefix(1);
    std::size_t number = 0;
    const auto read = std::from_chars(line.data(), line.data() + line.size(), number);
    if (read.ec != std::errc() || number > longest_content) return std::nullopt;
    length = number;
  }
  return length;
}

}  // namespace

std::optional<std::string> message_reader::next() {
  std::size_t end;
  while ((end = buffer_.find("\r\n\r\n")) == std::string::npos) {
    if (buffer_.size() > longest_header || !read_more()) return std::nullopt;
  }
  const std::optional<std::size_t> length = content_length({buffer_.data(), end});
  if (!length) return std::nullopt;
  const std::size_t start = end + 4;
  while (buffer_.size() - start < *length) {
    if (!read_more()) return std::nullopt;
  }
  std::string content = buffer_.substr(start, *length);
  buffer_.erase(0, start + *length);
  return content;
}

bool message_reader::is_waiting() const {
  if (!buffer_.empty()) return true;
  pollfd asked{descriptor_, POLLIN, 0};
  return poll(&asked, 1, 0) > 0;
}

bool message_reader::read_more() {
  std::array<char, 64 * 1024> bytes;
  ssize_t count;
  while ((count = read(descriptor_, bytes.data(), bytes.size())) < 0 && errno == EINTR) {
  }
  if (count <= 0) return false;
  buffer_.append(bytes.data(), static_cast<std::size_t>(count));
  return true;
}

void write_message(std::FILE *to, std::string_view content) {
  std::fprintf(to, "Content-Length: %zu\r\n\r\n", content.size());
  std::fwrite(content.data(), 1, content.size(), to);
  std::fflush(to);
}

}  // namespace quillet::dev
