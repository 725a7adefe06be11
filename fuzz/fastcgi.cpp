// Fuzzes what a web server sends over FastCGI. The first byte of an input is the size of the pieces in which its bytes
// arrive, the second that of the pieces in which the body is read, the third how many bytes go out at once; 0 for all
// of them. The fourth is the number of writes after which the web server is gone; 0 for never. The rest is what it
// sends.
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fcgi/connection.h"
#include "fcgi/records.h"
#include "next_function.h"

namespace {

using namespace quillet;

constexpr int web_server = 1000000;  // a descriptor that no file has

struct {
  std::string_view sent;
  std::size_t sent_at_once;
  std::size_t received_at_once;
  int writes_left;  // below 0: as many as there are
  std::string received;
} other_end;

std::size_t whole_if_zero(unsigned size) { return size == 0 ? std::string_view::npos : size; }

void require(bool holds) {
  if (!holds) std::abort();
}

// What was answered is records, one after the other; the last one says that the request is over.
void check_records(std::string_view bytes) {
  record_type last = record_type::end_request;
  while (!bytes.empty()) {
    require(bytes.size() >= record_head_size);
    const record_head head = read_record_head(bytes.data());
    require(head.version == fastcgi_version && head.padding == 0 && bytes.size() >= record_head_size + head.size);
    bytes.remove_prefix(record_head_size + head.size);
    last = head.type;
  }
  require(last != record_type::output && last != record_type::errors);
}

// They can be read as the environment is.
void check_variables(const std::vector<char *> &variables, std::size_t most) {
  std::size_t total = 0;
  for (const char *variable : variables) total += std::strlen(variable);
  require(total <= most);
}

void answer(fastcgi_connection &connection, std::size_t piece_size) {
  std::string body;
  char piece[256];
  const std::size_t wanted = std::min(piece_size, sizeof piece);
  for (std::size_t n = wanted; n == wanted; body.append(piece, n)) n = connection.read_body(piece, wanted);
  require(connection.has_no_more_body());
  connection.write("Content-type: text/plain\n\n");
  connection.write(body);
  if (body.size() % 2 == 1) connection.write_error(body);
  connection.finish(0);
}

}  // namespace

extern "C" ssize_t read(int descriptor, void *buffer, std::size_t size) {
  static auto *const real = quillet_fuzz::next_function<ssize_t(int, void *, std::size_t)>("read");
  if (descriptor != web_server) return real(descriptor, buffer, size);
  const std::string_view piece = other_end.sent.substr(0, std::min(size, other_end.sent_at_once));
  std::memcpy(buffer, piece.data(), piece.size());
  other_end.sent.remove_prefix(piece.size());
  return static_cast<ssize_t>(piece.size());
}

extern "C" ssize_t writev(int descriptor, const iovec *pieces, int count) {
  static auto *const real = quillet_fuzz::next_function<ssize_t(int, const iovec *, int)>("writev");
  if (descriptor != web_server) return real(descriptor, pieces, count);  // the fuzzer's own, when it merges inputs
  if (other_end.writes_left == 0) {
    errno = EPIPE;
    return -1;
  }
  --other_end.writes_left;
  std::size_t written = 0;
  for (const iovec &piece : std::span(pieces, static_cast<std::size_t>(count))) {
    const std::size_t size = std::min(piece.iov_len, other_end.received_at_once - written);
    other_end.received.append(static_cast<const char *>(piece.iov_base), size);
    written += size;
  }
  return static_cast<ssize_t>(written);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  constexpr std::size_t settings = 4;
  if (size < settings) return 0;
  const bool stays = data[3] == 0;
  other_end = {{reinterpret_cast<const char *>(data) + settings, size - settings},
               whole_if_zero(data[0]),
               whole_if_zero(data[2]),
               stays ? -1 : data[3],
               {}};
  static fastcgi_connection connection;
  connection.open(web_server, 8);
  if (connection.read_request()) {
    check_variables(connection.variables(), size);
    answer(connection, whole_if_zero(data[1]));
  }
  require(!connection.is_open());
  if (stays) check_records(other_end.received);
  return 0;
}
