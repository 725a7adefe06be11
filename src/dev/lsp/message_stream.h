// The messages of the language server protocol: a header with the length, then the content.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace quillet::dev {

// Reads messages from a file descriptor.
class message_reader {
 public:
  explicit message_reader(int descriptor) : descriptor_(descriptor) {}
  // The content of the next message; nothing when there are no more, or a header is broken or asks for more than 64 MB.
  [[nodiscard]] std::optional<std::string> next();
  // Whether more bytes have arrived.
  [[nodiscard]] bool is_waiting() const;

 private:
  bool read_more();

  int descriptor_;
  std::string buffer_;
};

void write_message(std::FILE *to, std::string_view content);

}  // namespace quillet::dev
