#include "fcgi/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace quillet {

namespace {

constexpr std::size_t most_parameters = 1048576;  // bytes; a program that is started gets about as many
constexpr std::size_t most_values_asked = 1024;   // bytes

// Through interruptions; 0 at the end of the connection and on an error.
std::size_t read_once(int descriptor, char *bytes, std::size_t size) {
  for (;;) {
    const ssize_t n = read(descriptor, bytes, size);
    if (n >= 0) return static_cast<std::size_t>(n);
    if (errno != EINTR) return 0;
  }
}

bool write_both(int descriptor, std::string_view first, std::string_view second) {
  while (first.size() + second.size() > 0) {
    iovec pieces[] = {{const_cast<char *>(first.data()), first.size()},
                      {const_cast<char *>(second.data()), second.size()}};
    const ssize_t n = writev(descriptor, pieces, 2);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    const std::size_t of_first = std::min(static_cast<std::size_t>(n), first.size());
    first.remove_prefix(of_first);
    second.remove_prefix(static_cast<std::size_t>(n) - of_first);
  }
  return true;
}

// Bytes that nobody has read would make the system drop the response on the way: waits until the web server has
// closed its end, or is silent for two seconds.
void wait_for_end(int descriptor) {
  constexpr int patience = 2000;
  char piece[4096];
  shutdown(descriptor, SHUT_WR);
  pollfd event = {descriptor, POLLIN, 0};
  while (poll(&event, 1, patience) > 0 && read_once(descriptor, piece, sizeof piece) > 0) continue;
}

}  // namespace

void fastcgi_connection::open(int descriptor, int most_requests) {
  descriptor_ = descriptor;
  most_requests_ = most_requests;
  request_ = 0;
  is_body_read_ = is_broken_ = has_errors_ = false;
  content_ = padding_ = start_ = end_ = waiting_ = 0;
  variables_.clear();
  parameters_.clear();
}

// --- what comes in ---

bool fastcgi_connection::fill() {
  if (start_ == end_) {
    start_ = end_ = 0;
  } else if (end_ == input_room) {
    std::memmove(input_, input_ + start_, buffered());
    end_ = buffered();
    start_ = 0;
  }
  const std::size_t n = read_once(descriptor_, input_ + end_, input_room - end_);
  end_ += n;
  return n > 0;
}

// Takes the bytes from the record's content that are in the buffer, some of them at least.
std::string_view fastcgi_connection::take_content(std::size_t most) {
  if (buffered() == 0 && !fill()) return {};
  const std::string_view taken(input_ + start_, std::min({content_, most, buffered()}));
  start_ += taken.size();
  content_ -= taken.size();
  return taken;
}

bool fastcgi_connection::read_content(std::string &content, std::size_t most) {
  if (content_ > most - std::min(most, content.size())) return false;
  while (content_ > 0) {
    const std::string_view taken = take_content(content_);
    if (taken.empty()) return false;
    content.append(taken);
  }
  return true;
}

bool fastcgi_connection::begin(unsigned request) {
  std::string content;
  if (!read_content(content, largest_content)) return false;
  if (request == request_) return false;
  if (request_ != 0) return send(end_record(request, 0, end_of_request::cannot_multiplex), {});
  const request_beginning beginning = read_beginning(content);
  if (beginning.role == responder) {
    request_ = request;
    return true;
  }
  return send(end_record(request, 0, end_of_request::unknown_role), {}) && beginning.keep_connection;
}

bool fastcgi_connection::answer_about_connection() {
  if (type_ != record_type::get_values) return send(unknown_type_record(type_), {});
  std::string content;
  return read_content(content, most_values_asked) && send(values_record(std::move(content), most_requests_), {});
}

// Goes to the next record of the request; false when none comes. Records of other requests are skipped.
bool fastcgi_connection::next_record() {
  for (;;) {
    for (content_ += std::exchange(padding_, 0); content_ > 0;) {
      if (take_content(content_).empty()) return false;
    }
    while (buffered() < record_head_size) {
      if (!fill()) return false;
    }
    const record_head head = read_record_head(input_ + start_);
    start_ += record_head_size;
    type_ = head.type;
    content_ = head.size;
    padding_ = head.padding;
    if (head.version != fastcgi_version) return false;
    if (head.request == 0) {
      if (!answer_about_connection()) return false;
    } else if (head.type == record_type::begin_request) {
      if (!begin(head.request)) return false;
    } else if (head.request == request_) {
      return true;
    }
  }
}

bool fastcgi_connection::read_request() {
  while (next_record()) {
    if (type_ == record_type::abort_request) send(end_record(request_, 0, end_of_request::complete), {});
    if (type_ != record_type::parameters) break;
    if (content_ == 0 && read_variables(parameters_, variables_)) return true;
    if (content_ == 0 || !read_content(parameters_, most_parameters)) break;
  }
  wait_for_end(descriptor_);
  close();
  return false;
}

// Goes to the next content of the body, or to its end.
void fastcgi_connection::next_input() {
  while (next_record()) {
    if (type_ == record_type::abort_request) break;
    if (type_ == record_type::input && content_ > 0) return;
    if (type_ == record_type::input) break;
  }
  content_ = padding_ = 0;
  is_body_read_ = true;
}

std::size_t fastcgi_connection::read_body(char *bytes, std::size_t size) {
  std::size_t total = 0;
  while (total < size) {
    if (content_ == 0 && !is_body_read_) next_input();
    if (is_body_read_) break;
    std::size_t n = std::min(content_, size - total);
    if (buffered() == 0 && n >= input_room) {
      n = read_once(descriptor_, bytes + total, n);
      content_ -= n;
    } else {
      const std::string_view taken = take_content(n);
      std::copy(taken.begin(), taken.end(), bytes + total);
      n = taken.size();
    }
    if (n == 0) {
      content_ = 0;
      is_body_read_ = true;
    }
    total += n;
  }
  return total;
}

bool fastcgi_connection::has_no_more_body() {
  if (is_body_read_ || content_ > 0 || buffered() < padding_ + record_head_size) return is_body_read_;
  const record_head next = read_record_head(input_ + start_ + padding_);
  if (next.request == request_ && next.type == record_type::input && next.size == 0) next_input();
  return is_body_read_;
}

// --- what goes out ---

bool fastcgi_connection::send(std::string_view first, std::string_view second) {
  if (!is_broken_) is_broken_ = !write_both(descriptor_, first, second);
  return !is_broken_;
}

// Sends the bytes that wait, and as many of these as it takes until there is room for the rest, which it gives.
std::string_view fastcgi_connection::send_output(std::string_view bytes) {
  while (bytes.size() > output_room - waiting_ && !is_broken_) {
    const std::string_view piece = bytes.substr(0, largest_content - waiting_);
    bytes.remove_prefix(piece.size());
    write_record_head(output_, record_type::output, request_, waiting_ + piece.size());
    send({output_, record_head_size + std::exchange(waiting_, 0)}, piece);
  }
  return bytes;
}

std::size_t fastcgi_connection::write(std::string_view bytes) {
  const std::string_view rest = send_output(bytes);
  if (is_broken_) return 0;
  std::copy(rest.begin(), rest.end(), output_ + record_head_size + waiting_);
  waiting_ += rest.size();
  return bytes.size();
}

void fastcgi_connection::write_error(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, largest_content);
    bytes.remove_prefix(piece.size());
    char head[record_head_size];
    write_record_head(head, record_type::errors, request_, piece.size());
    has_errors_ = true;
    if (!send({head, sizeof head}, piece)) return;
  }
}

void fastcgi_connection::finish(unsigned status) {
  write_record_head(output_, record_type::output, request_, waiting_);
  std::size_t size = waiting_ == 0 ? 0 : record_head_size + waiting_;
  const auto add_end = [&](record_type type) {
    write_record_head(output_ + size, type, request_, 0);
    size += record_head_size;
  };
  add_end(record_type::output);
  if (has_errors_) add_end(record_type::errors);
  send({output_, size}, end_record(request_, status, end_of_request::complete));
  if (!has_no_more_body()) wait_for_end(descriptor_);
  close();
}

void fastcgi_connection::close() { ::close(std::exchange(descriptor_, -1)); }

}  // namespace quillet
