#include "fcgi/worker.h"

#include <fcgiapp.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "cgi/streams.h"
#include "core/end.h"
#include "core/file.h"
#include "fcgi/request_limits.h"
#include "fcgi/sockets.h"
#include "main/driver.h"
#include "main/modules.h"

namespace quillet {

namespace {

// The request under way.
struct {
  const worker_place *place;
  FCGX_Request connection;
  std::vector<char *> environment;  // the variables, and the end of the list
  bool has_body;                    // on standard input
} current;

std::size_t read_body(char *buffer, std::size_t size) {
  constexpr std::size_t longest_read = 1048576;
  std::size_t total = 0;
  while (total < size) {
    const int wanted = static_cast<int>(std::min(size - total, longest_read));
    const int n = FCGX_GetStr(buffer + total, wanted, current.connection.in);
    if (n <= 0) break;
    total += static_cast<std::size_t>(n);
    if (n < wanted) break;
  }
  return total;
}

std::size_t write_response_bytes(std::string_view bytes) {
  constexpr std::size_t longest_write = 1048576;
  std::size_t total = 0;
  while (total < bytes.size()) {
    const int size = static_cast<int>(std::min(bytes.size() - total, longest_write));
    if (FCGX_PutStr(bytes.data() + total, size, current.connection.out) != size) break;
    total += static_cast<std::size_t>(size);
  }
  return total;
}

// The name with its "=".
std::string_view name_of(const char *variable) {
  const std::string_view whole(variable);
  return whole.substr(0, whole.find('=') + 1);
}

// The request's variables and, where it says nothing, the server's own.
void set_request_environment(char **request, char **own) {
  std::vector<char *> &variables = current.environment;
  variables.clear();
  for (char **variable = request; *variable != nullptr; ++variable) variables.push_back(*variable);
  const std::size_t count = variables.size();
  for (char **variable = own; *variable != nullptr; ++variable) {
    const std::string_view name = name_of(*variable);
    const auto end = variables.begin() + static_cast<std::ptrdiff_t>(count);
    if (std::none_of(variables.begin(), end, [&](const char *set) { return name_of(set) == name; })) {
      variables.push_back(*variable);
    }
  }
  variables.push_back(nullptr);
  environ = variables.data();
  tzset();
}

// What was written to standard error goes to the web server and to the service's log.
void pass_on_errors() {
  struct stat status;
  if (fstat(STDERR_FILENO, &status) != 0 || status.st_size == 0) return;
  char piece[4096];
  off_t at = 0;
  for (ssize_t n; (n = pread(STDERR_FILENO, piece, sizeof piece, at)) > 0; at += n) {
    FCGX_PutStr(piece, static_cast<int>(n), current.connection.err);
    write_all(current.place->service_error, {piece, static_cast<std::size_t>(n)});
  }
  if (ftruncate(STDERR_FILENO, 0) != 0) return;
}

// Completes the response and says how the request ended.
void end_request(int status) {
  if (current.connection.out == nullptr) return;
  pass_on_errors();
  scoreboard &board = current.place->board;
  board.served.fetch_add(1, std::memory_order_relaxed);
  if (status != 0) board.failed.fetch_add(1, std::memory_order_relaxed);
  constexpr int seen_by_a_shell = 0xff;
  FCGX_SetExitStatus(status & seen_by_a_shell, current.connection.out);
  FCGX_Finish_r(&current.connection);
  alarm(0);
}

// For a request that ends the process: whatever the server counts of it is complete.
void end_last_request(int status) {
  end_request(status);
  current.place->score.state.store(process_state::ended, std::memory_order_relaxed);
}

// Takes over the connection and reads the request's variables; false when the web server sends none.
bool begin_request(int connection) {
  alarm(static_cast<unsigned>(current.place->options.time));
  FCGX_InitRequest(&current.connection, -1, 0);
  // The library has no function for a connection that somebody else accepted; without a listening socket it
  // takes no other one.
  current.connection.ipcFd = connection;
  current.connection.keepConnection = 1;
  if (FCGX_Accept_r(&current.connection) < 0) return false;
  current.connection.keepConnection = 0;
  return true;
}

void refuse(std::string_view status) {
  const std::string line(status);
  write_response_bytes("Status: " + line + "\r\nContent-type: text/plain\r\n\r\n" + line + "\n");
}

// For the status and the log.
void note_address() {
  const char *address = std::getenv("REQUEST_URI");
  char *const noted = current.place->score.address;
  const std::size_t size = address == nullptr ? 0 : std::min(std::string_view(address).size(), address_size - 1);
  std::replace_copy_if(address, address + size, noted, is_control, ' ');
  noted[size] = '\0';
}

void replace_standard_input(int descriptor) {
  dup2(descriptor, STDIN_FILENO);
  close(descriptor);
}

// What is left of the body when the form has been read becomes the standard input of the programs that a page runs.
void keep_body_for_programs() {
  char piece[16384];
  std::size_t size = read_body(piece, sizeof piece);
  if (size == 0) return;
  const int file = memfd_create("body", MFD_CLOEXEC);
  if (file < 0) return;
  for (long long left = body_limit(current.place->options); size > 0; size = read_body(piece, sizeof piece)) {
    left -= static_cast<long long>(size);
    if (left < 0 || write_all(file, {piece, size}) != size) {
      refuse(body_too_large);
      end_process(exit_answered);
    }
  }
  lseek(file, 0, SEEK_SET);
  replace_standard_input(file);
  current.has_body = true;
}

int answer(char **own_environment) {
  const server_options &options = current.place->options;
  set_request_environment(current.connection.envp, own_environment);
  note_address();
  set_processor_time(options.processor_time);
  if (const std::string_view status = refusal(options); !status.empty()) {
    refuse(status);
    return exit_answered;
  }
  return answer_request(keep_body_for_programs);
}

// Waits for the next request.
class request_source {
 public:
  explicit request_source(const worker_place &place) : place_(place), events_(epoll_create1(EPOLL_CLOEXEC)) {
    add(place.listener);
    add(place.queue);
    add(place.stop);
  }
  ~request_source() { close(events_); }
  request_source(const request_source &) = delete;
  request_source &operator=(const request_source &) = delete;

  // Its connection; below 0 when the server stops. What the server accepted already is answered all the same.
  [[nodiscard]] int next() const {
    for (;;) {
      epoll_event events[3];
      const int count = epoll_wait(events_, events, 3, -1);
      const auto is_ready = [&](int descriptor) {
        return std::any_of(events, events + std::max(count, 0),
                           [&](const epoll_event &event) { return event.data.fd == descriptor; });
      };
      if (is_ready(place_.queue)) {
        const int connection = take_connection(place_.queue);
        if (connection < 0) continue;
        place_.board.waiting.fetch_sub(1, std::memory_order_relaxed);
        return connection;
      }
      if (is_ready(place_.stop)) return -1;
      if (!is_ready(place_.listener)) continue;
      if (const int connection = accept_connection(place_.listener); connection >= 0) return connection;
    }
  }

 private:
  // One process wakes up for one request, not all of them.
  void add(int descriptor) const {
    epoll_event event{};
    event.events = descriptor == place_.stop ? EPOLLIN : EPOLLIN | EPOLLEXCLUSIVE;
    event.data.fd = descriptor;
    epoll_ctl(events_, EPOLL_CTL_ADD, descriptor, &event);
  }

  const worker_place &place_;
  int events_;
};

// The process is as if it had answered nothing.
void forget_everything(char **own_environment) {
  forget_request();
  environ = own_environment;
  if (std::exchange(current.has_body, false)) replace_standard_input(open("/dev/null", O_RDWR | O_CLOEXEC));
}

void change_state(const worker_place &place, process_state state) {
  place.score.since.store(milliseconds_now(), std::memory_order_relaxed);
  place.score.state.store(state, std::memory_order_relaxed);
}

// The server learns in time that it needs more processes.
void leave_idle(const worker_place &place) {
  change_state(place, process_state::busy);
  if (place.board.idle.fetch_sub(1, std::memory_order_relaxed) > (place.options.spare + 1) / 2) return;
  const std::uint64_t one = 1;
  write_all(place.wake, {reinterpret_cast<const char *>(&one), sizeof one});
}

}  // namespace

void run_worker(const worker_place &place) {
  current.place = &place;
  char **const own_environment = environ;
  dup2(place.standard_error, STDERR_FILENO);
  set_streams({read_body, write_response_bytes});
  set_before_end(end_last_request);
  const request_source source(place);
  for (int left = place.options.requests_per_process; left > 0; --left) {
    const int connection = source.next();
    if (connection < 0) std::exit(0);
    leave_idle(place);
    if (begin_request(connection)) {
      const int status = answer(own_environment);
      end_request(status);
      if (left == 1) break;
      forget_everything(own_environment);
      place.score.served.fetch_add(1, std::memory_order_relaxed);
    }
    if (left == 1) break;
    change_state(place, process_state::idle);
    place.board.idle.fetch_add(1, std::memory_order_relaxed);
  }
  place.score.state.store(process_state::ended, std::memory_order_relaxed);
  std::exit(0);
}

void run_refuser(const worker_place &place, int channel) {
  current.place = &place;
  constexpr timeval patience = {1, 0};  // for each of a web server's messages
  pollfd next = {channel, POLLIN, 0};
  while (poll(&next, 1, -1) > 0 && (next.revents & POLLIN) != 0) {
    const int connection = take_connection(channel);
    if (connection < 0) continue;
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (!begin_request(connection)) continue;
    refuse("503 Service Unavailable");
    FCGX_Finish_r(&current.connection);
  }
  std::exit(0);
}

}  // namespace quillet
