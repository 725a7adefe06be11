#include "fcgi/worker.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "cgi/streams.h"
#include "core/end.h"
#include "core/file.h"
#include "core/kept_directories.h"
#include "core/kept_files.h"
#include "core/process.h"
#include "fcgi/connection.h"
#include "fcgi/request_limits.h"
#include "fcgi/sockets.h"
#include "main/driver.h"
#include "main/modules.h"

namespace quillet {

namespace {

// The request under way. A new process gets a copy of each page that it writes to: from the beginning of one, all this
// takes two for a small request.
constexpr std::size_t page_size = 4096;
struct alignas(page_size) {
  const worker_place *place;
  bool has_body;     // on standard input
  std::string head;  // the header lines, until all of them are there
  bool head_is_written;
  fastcgi_connection connection;
} current;

std::size_t read_body(char *buffer, std::size_t size) {
  return current.has_body ? standard_streams.read(buffer, size) : current.connection.read_body(buffer, size);
}

std::size_t write_to_server(std::string_view bytes) { return current.connection.write(bytes); }

// What was asked for, as the status and the log say it.
void note_address(char (&noted)[address_size]) {
  const char *address = std::getenv("REQUEST_URI");
  const std::size_t size = address == nullptr ? 0 : std::min(std::string_view(address).size(), address_size - 1);
  std::replace_copy_if(address, address + size, noted, is_control, ' ');
  noted[size] = '\0';
}

void refuse(std::string_view status) {
  const std::string line(status);
  current.head_is_written = true;
  write_to_server("Status: " + line + "\r\nContent-type: text/plain\r\n\r\n" + line + "\n");
  char address[address_size];
  note_address(address);
  write_all(current.place->service_error,
            "quillet-fcgi: process " + std::to_string(getpid()) + ": " + address + ": " + line + "\n");
}

bool has_line(std::string_view head, std::string_view name) {
  for (std::size_t at = 0; at < head.size(); at = std::min(head.find('\n', at), head.size() - 1) + 1) {
    if (equal_ignoring_case(head.substr(at, name.size()), name)) return true;
  }
  return false;
}

// Not every web server knows that a Location alone is a redirect (RFC 3875, 6.2.3 and 6.2.4).
void write_head(std::string_view head) {
  if (has_line(head, "Location:") && !has_line(head, "Status:")) write_to_server("Status: 302 Found\r\n");
  current.head_is_written = true;
}

std::size_t write_response_bytes(std::string_view bytes) {
  if (current.head_is_written) return write_to_server(bytes);
  current.head.append(bytes);
  constexpr std::size_t longest_head = 65536;
  const std::size_t end = std::min(current.head.find("\n\n"), current.head.find("\r\n\r\n"));
  if (end == std::string::npos && current.head.size() < longest_head) return bytes.size();
  const std::string_view whole = current.head;
  write_head(whole.substr(0, end));
  const bool is_written = write_to_server(current.head) == current.head.size();
  current.head.clear();
  return is_written ? bytes.size() : 0;
}

// Completes a response without an end of its header lines. A request that ended badly without a word is an error of
// the server; some web servers would take it for an empty page.
void write_rest(int status) {
  if (current.head_is_written) return;
  if (current.head.empty() && status != exit_answered) refuse("500 Internal Server Error");
  write_to_server(current.head);
}

// The name with its "=".
std::string_view name_of(const char *variable) {
  const std::string_view whole(variable);
  return whole.substr(0, whole.find('=') + 1);
}

// The request's variables and, where it says nothing, the server's own.
void set_request_environment(char **own) {
  std::vector<char *> &variables = current.connection.variables();
  const std::size_t count = variables.size();
  for (char **variable = own; *variable != nullptr; ++variable) {
    const std::string_view name = name_of(*variable);
    const auto end = variables.begin() + static_cast<std::ptrdiff_t>(count);
    const auto is_it = [&](const char *set) { return std::strncmp(set, name.data(), name.size()) == 0; };
    if (std::none_of(variables.begin(), end, is_it)) variables.push_back(*variable);
  }
  variables.push_back(nullptr);
  environ = variables.data();
  tzset();
}

// What was written to standard error goes to the web server and to the service's log.
[[gnu::noinline]] void pass_on(int errors) {
  char piece[4096];
  off_t at = 0;
  for (ssize_t n; (n = pread(errors, piece, sizeof piece, at)) > 0; at += n) {
    current.connection.write_error({piece, static_cast<std::size_t>(n)});
    write_all(current.place->service_error, {piece, static_cast<std::size_t>(n)});
  }
  static_cast<void>(resize_file(errors, 0));
}

void pass_on_errors() {
  struct stat status;
  if (fstat(STDERR_FILENO, &status) == 0 && status.st_size > 0) pass_on(STDERR_FILENO);
}

// Completes the response and says how the request ended.
void end_request(int status) {
  if (!current.connection.is_open()) return;
  write_rest(status);
  pass_on_errors();
  scoreboard &board = current.place->board;
  board.served.fetch_add(1, std::memory_order_relaxed);
  if (status != 0) board.failed.fetch_add(1, std::memory_order_relaxed);
  constexpr int seen_by_a_shell = 0xff;
  current.connection.finish(static_cast<unsigned>(status & seen_by_a_shell));
}

// For a request that ends the process: whatever the server counts of it is complete.
void end_last_request(int status) {
  end_request(status);
  current.place->score.state.store(process_state::ended, std::memory_order_relaxed);
}

// Takes over the connection and reads the request's variables; false when the web server sends none.
bool begin_request(int connection) {
  alarm(static_cast<unsigned>(current.place->options.time));
  current.connection.open(connection, current.place->options.processes);
  if (!current.connection.read_request()) return false;
  current.head.clear();
  current.head_is_written = false;
  look_again_at_directories();
  return true;
}

void replace_standard_input(int descriptor) {
  dup2(descriptor, STDIN_FILENO);
  close(descriptor);
}

// Moves what is left of the body to standard input; gives its size.
[[gnu::noinline]] long long move_body() {
  char piece[16384];
  std::size_t size = read_body(piece, sizeof piece);
  if (size == 0) return 0;
  const int file = memfd_create("body", MFD_CLOEXEC);
  long long total = 0;
  for (; size > 0; size = read_body(piece, sizeof piece)) {
    total += static_cast<long long>(size);
    if (total > body_limit(current.place->options) || write_all(file, {piece, size}) != size) {
      refuse(body_too_large);
      end_process(exit_answered);
    }
  }
  lseek(file, 0, SEEK_SET);
  replace_standard_input(file);
  current.has_body = true;
  return total;
}

long long keep_body() { return current.connection.has_no_more_body() ? 0 : move_body(); }

// When the form has been read, what is left is for the programs that a page runs.
void keep_body_for_programs() {
  if (!current.has_body) keep_body();
}

// The length of a body that comes in chunks is known when all of them are here.
void find_length_of_body() {
  const char *const length = std::getenv("CONTENT_LENGTH");
  if ((length != nullptr && *length != '\0') || std::getenv("HTTP_TRANSFER_ENCODING") == nullptr) return;
  set_environment("CONTENT_LENGTH", std::to_string(keep_body()));
}

// Web servers that map pages onto the socket by their names say the page as the script.
void name_page() {
  const char *const page = std::getenv("SCRIPT_FILENAME");
  const char *const translated = std::getenv("PATH_TRANSLATED");
  if (page == nullptr || (translated != nullptr && *translated != '\0')) return;
  const char *const address = std::getenv("SCRIPT_NAME");
  set_environment("PATH_TRANSLATED", page);
  set_environment("PATH_INFO", address == nullptr ? "" : address);
  set_environment("SCRIPT_NAME", "/cgi-bin/quillet");
}

int answer(char **own_environment) {
  const server_options &options = current.place->options;
  set_request_environment(own_environment);
  name_page();
  note_address(current.place->score.address);
  set_processor_time(options.processor_time, options.requests_per_process == 1);
  if (const std::string_view status = refusal(options); !status.empty()) {
    refuse(status);
    return exit_answered;
  }
  find_length_of_body();
  return answer_request(keep_body_for_programs);
}

volatile std::sig_atomic_t server_is_gone = 0;

// Nobody answers those who connect to a server that was killed. They are told at once, even while one of its processes
// has a long request to answer.
void close_sockets_of_server(int) {
  const int error = errno;
  server_is_gone = 1;
  close(current.place->listener);
  close(current.place->queue);
  errno = error;
}

void outlive_server_for_one_request() {
  std::signal(SIGUSR1, close_sockets_of_server);
  prctl(PR_SET_PDEATHSIG, SIGUSR1);
}

// Waits for the next request. Gives its connection; below 0 when the server stops. What the server accepted already is
// answered all the same.
int next_connection(const worker_place &place) {
  while (server_is_gone == 0) {
    epoll_event events[3];
    const int count = epoll_wait(place.events, events, 3, -1);
    const auto is_ready = [&](int descriptor) {
      return std::any_of(events, events + std::max(count, 0),
                         [&](const epoll_event &event) { return event.data.fd == descriptor; });
    };
    const bool takes_from_queue = is_ready(place.queue);
    if (!takes_from_queue && is_ready(place.stop)) return -1;
    int connection = -1;
    if (takes_from_queue) {
      connection = take_connection(place.queue);
      if (connection >= 0) place.board.waiting.fetch_sub(1, std::memory_order_relaxed);
    } else if (is_ready(place.listener)) {
      connection = accept_connection(place.listener);
    }
    if (is_ready(place.listener)) wake_next_for(place.listener, place.events);
    if (connection >= 0) return connection;
  }
  return -1;
}

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

// What is in memory goes with the process: only what other programs are told at its end is done.
[[noreturn]] void leave() { std::quick_exit(0); }

}  // namespace

void run_worker(const worker_place &place) {
  current.place = &place;
  // A list that nobody gives back: where the server has set a variable, a request that sets one frees the present list.
  std::vector<char *> own_variables;
  for (char **variable = environ; *variable != nullptr; ++variable) own_variables.push_back(*variable);
  own_variables.push_back(nullptr);
  char **const own_environment = own_variables.data();
  outlive_server_for_one_request();
  dup2(place.standard_error, STDERR_FILENO);
  set_streams({read_body, write_response_bytes});
  set_before_end(end_last_request);
  if (place.options.requests_per_process > 1) keep_files();
  for (int left = place.options.requests_per_process; left > 0; --left) {
    const int connection = next_connection(place);
    if (connection < 0) leave();
    leave_idle(place);
    if (begin_request(connection)) {
      const int status = answer(own_environment);
      end_request(status);
      if (left == 1) break;
      forget_everything(own_environment);
      place.score.served.fetch_add(1, std::memory_order_relaxed);
    }
    if (left == 1) break;
    alarm(0);
    change_state(place, process_state::idle);
    place.board.idle.fetch_add(1, std::memory_order_relaxed);
  }
  place.score.state.store(process_state::ended, std::memory_order_relaxed);
  leave();
}

void run_refuser(const worker_place &place, int channel) {
  current.place = &place;
  char **const own_environment = environ;
  constexpr timeval patience = {1, 0};  // for each of a web server's messages
  pollfd next = {channel, POLLIN, 0};
  while (poll(&next, 1, -1) > 0 && (next.revents & POLLIN) != 0) {
    const int connection = take_connection(channel);
    if (connection < 0 && (next.revents & POLLHUP) != 0) break;  // the server has ended
    if (connection < 0) continue;
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (!begin_request(connection)) continue;
    set_request_environment(own_environment);
    refuse("503 Service Unavailable");
    current.connection.finish(0);
  }
  leave();
}

}  // namespace quillet
