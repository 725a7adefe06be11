// A connection from a web server, which carries one request.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fcgi/records.h"

namespace quillet {

// A request without a body takes one read, and a response of usual size one write. A web server that breaks the
// rules or goes away ends the body; what is written then is lost.
class fastcgi_connection {
 public:
  // Takes over the descriptor. So many requests are answered at once, which a web server can ask for.
  void open(int descriptor, int most_requests);

  // Reads up to the body; false when no request comes that can be answered here. The web server knows then, and the
  // connection is closed.
  [[nodiscard]] bool read_request();

  // "name=value" of the request, as long as it runs. The caller may add to the list.
  [[nodiscard]] std::vector<char *> &variables() { return variables_; }

  // Reads at most `size` bytes of the body, fewer at its end.
  std::size_t read_body(char *bytes, std::size_t size);

  // Whether the end of the body is here already, without waiting for it.
  [[nodiscard]] bool has_no_more_body();

  // Gives how many bytes were written, fewer when the web server has gone.
  std::size_t write(std::string_view bytes);
  void write_error(std::string_view bytes);

  // Writes what is left, and how the request ended; closes.
  void finish(unsigned status);

  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

 private:
  [[nodiscard]] std::size_t buffered() const { return end_ - start_; }
  bool fill();
  [[nodiscard]] std::string_view take_content(std::size_t most);
  [[nodiscard]] bool read_content(std::string &content, std::size_t most);
  [[nodiscard]] bool begin(unsigned request);
  [[nodiscard]] bool answer_about_connection();
  [[nodiscard]] bool next_record();
  void next_input();
  bool send(std::string_view first, std::string_view second);
  std::string_view send_output(std::string_view bytes);
  void close();

  // The last 32 kB of a response go out in one piece with its end, and the web server wakes up once for them.
  static constexpr std::size_t input_room = 8192;
  static constexpr std::size_t output_room = 32768;

  int descriptor_ = -1;
  int most_requests_ = 1;
  unsigned request_ = 0;  // its number; 0 before it begins
  bool is_body_read_ = false;
  bool is_broken_ = false;   // nothing can be written any more
  bool has_errors_ = false;  // were written
  record_type type_{};       // of the record that is being read
  std::size_t content_ = 0;  // bytes of it that are still to come
  std::size_t padding_ = 0;
  std::size_t start_ = 0;  // of what is in the input buffer
  std::size_t end_ = 0;
  std::size_t waiting_ = 0;  // bytes in the output buffer, after the room for their head
  std::vector<char *> variables_;
  std::string parameters_;
  char input_[input_room];
  char output_[record_head_size + output_room + 2 * record_head_size];
};

}  // namespace quillet
