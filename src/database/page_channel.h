// The page's process, as the program quillet-database sees it; db/database_protocol.h says what is spoken.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "db/database_protocol.h"

namespace quillet {

// Whether a page's process has started this one: the socket's other end is the parent's.
[[nodiscard]] bool is_started_by_page();

// Ends this process, which a page's process did not start, or which it spoke to as it must not.
[[noreturn]] void refuse();

// Reads requests and writes answers. The process ends when the page's does, in any of its functions.
class page_channel {
 public:
  // Takes the window over.
  page_channel();
  page_channel(const page_channel &) = delete;
  page_channel &operator=(const page_channel &) = delete;

  // Waits for the next request, whose bytes it gives.
  database_request_kind receive(std::string &bytes);

  // Appends a record to the answer: its bytes, or cells, a tab after each. A tab in a cell becomes a space, so that
  // it does not break the columns; line feeds stay.
  void put(database_record_kind kind, std::string_view bytes);
  void put_line(database_record_kind kind, std::span<const std::string_view> cells);
  // The answer is complete.
  void send_window();

 private:
  void put_header(database_record_kind kind, std::size_t size);
  void put_bytes(std::string_view bytes);
  void put_cell(std::string_view cell);
  std::size_t make_room();

  char *window_;
  std::size_t filled_ = 0;
};

}  // namespace quillet
