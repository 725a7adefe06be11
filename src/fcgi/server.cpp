#include "fcgi/server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "core/file.h"
#include "core/keyed_hash.h"
#include "fcgi/large_pages.h"
#include "fcgi/request_limits.h"
#include "fcgi/sockets.h"
#include "fcgi/status.h"
#include "fcgi/worker.h"
#include "main/driver.h"
#include "main/modules.h"

namespace quillet {

namespace {

constexpr int exit_not_started = 2;
// Where a server that starts afresh finds what it keeps: five numbers.
constexpr const char *kept_variable = "QUILLET_FCGI_KEPT";

[[gnu::format(printf, 1, 2)]] void report(const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::fputs("quillet-fcgi: ", stderr);
  std::vfprintf(stderr, format, arguments);
  std::fputc('\n', stderr);
  va_end(arguments);
}

// What a server keeps when it starts afresh.
struct kept_descriptors {
  int listener = -1;
  int status = -1;
  int queue_in = -1;  // connections go in here, to the processes at the other end
  int queue_out = -1;
  int waiting = 0;  // how many are in it
};

class server {
 public:
  server(const server_options &options, char **arguments) : options_(options), arguments_(arguments) {}
  int run();

 private:
  struct child {
    pid_t id = 0;
    int standard_error = -1;
  };

  bool prepare();
  bool take_sockets();
  bool watch_for_requests();
  void keep_processes_waiting();
  bool start_process(std::size_t number);
  void handle_signals();
  void reap();
  void end_of_process(std::size_t number, int status);
  void accept_for_busy_processes();
  void refuse(int connection);
  void tell_status();
  void start_afresh();
  void stop();
  [[nodiscard]] int running() const;
  [[nodiscard]] bool is_saturated() const { return board_->idle <= 0 && running() >= options_.processes; }
  [[nodiscard]] bool is_done() const { return stopping_ && (running() == 0 || milliseconds_now() > stop_at_); }
  void wait_for_events();
  [[nodiscard]] worker_place place(std::size_t number);

  const server_options &options_;
  char **arguments_;
  scoreboard *board_ = nullptr;
  std::vector<child> children_;
  int events_ = -1;
  std::vector<pid_t> helpers_;  // that answer the status
  kept_descriptors kept_;
  int stop_pipe_[2] = {-1, -1};
  int refused_[2] = {-1, -1};
  pid_t refuser_ = 0;
  int signals_ = -1;
  int ends_ = -1;  // of processes
  int wake_ = -1;
  int service_error_ = -1;
  int first_directory_ = -1;
  std::int64_t started_ = 0;
  std::int64_t start_no_process_before_ = 0;
  bool stopping_ = false;
  std::int64_t stop_at_ = 0;
};

// The program's own sockets have numbers above those of the standard streams.
int above_standard_streams(int descriptor) {
  if (descriptor > STDERR_FILENO) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return descriptor;
  }
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(descriptor);
  return moved;
}

bool server::take_sockets() {
  if (const char *kept = std::getenv(kept_variable)) {
    const int count = std::sscanf(kept, "%d %d %d %d %d", &kept_.listener, &kept_.status, &kept_.queue_in,
                                  &kept_.queue_out, &kept_.waiting);
    unsetenv(kept_variable);
    if (count != 5) return false;
    for (const int descriptor : {kept_.listener, kept_.status, kept_.queue_in, kept_.queue_out}) {
      if (descriptor >= 0) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    return true;
  }
  kept_.listener = options_.socket.empty() ? handed_over_socket() : listen_at(options_.socket, options_.socket_mode);
  if (kept_.listener < 0) {
    if (options_.socket.empty()) report("no socket was handed over; --socket names one");
    return false;
  }
  kept_.listener = above_standard_streams(kept_.listener);
  fcntl(kept_.listener, F_SETFL, O_NONBLOCK);
  for (const char *name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) unsetenv(name);
  if (!options_.status.empty() && (kept_.status = listen_at(options_.status, options_.socket_mode)) < 0) return false;
  int queue[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, queue) != 0) return false;
  kept_.queue_in = queue[0];
  kept_.queue_out = queue[1];
  return true;
}

// The processes wait at one instance, which wakes one of them for a request.
bool server::watch_for_requests() {
  events_ = epoll_create1(EPOLL_CLOEXEC);
  for (const int descriptor : {kept_.listener, kept_.queue_out, stop_pipe_[0]}) {
    epoll_event event{};
    event.events = descriptor == kept_.listener ? events_of_listener : EPOLLIN;
    event.data.fd = descriptor;
    if (epoll_ctl(events_, EPOLL_CTL_ADD, descriptor, &event) != 0) return false;
  }
  return true;
}

// Blocks the signals; gives a descriptor that can be read from when one has come.
int block_signals(std::initializer_list<int> signals) {
  sigset_t handled;
  sigemptyset(&handled);
  for (const int signal : signals) sigaddset(&handled, signal);
  sigprocmask(SIG_BLOCK, &handled, nullptr);
  return signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
}

bool server::prepare() {
  started_ = milliseconds_now();
  if (!take_sockets()) return false;
  first_directory_ = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (chdir(options_.directory.c_str()) != 0) {
    report("%s: %s", options_.directory.c_str(), std::strerror(errno));
    return false;
  }
  prepare_process();
  service_error_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO}) dup2(nowhere, stream);
  close(nowhere);

  // The processes learn of a web server that has gone by their writes. Programs that they run get the default back.
  std::signal(SIGPIPE, [](int) {});
  signals_ = block_signals({SIGTERM, SIGINT, SIGHUP});
  ends_ = block_signals({SIGCHLD});
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

  // What every process would otherwise do for itself: the operators, the time zone, the secret of the hash tables.
  use_large_pages();
  register_all_operators();
  tzset();
  static_cast<void>(keyed_hash({}));
  set_lasting_limits(options_);
  board_ = make_scoreboard(options_.processes);
  if (board_ == nullptr || signals_ < 0 || ends_ < 0 || wake_ < 0 || service_error_ < 0 ||
      pipe2(stop_pipe_, O_CLOEXEC) != 0) {
    report("cannot start: %s", std::strerror(errno));
    return false;
  }
  if (!watch_for_requests()) return false;
  board_->waiting = kept_.waiting;
  children_.resize(static_cast<std::size_t>(options_.processes));
  return true;
}

int server::running() const {
  return static_cast<int>(
      std::count_if(children_.begin(), children_.end(), [](const child &one) { return one.id != 0; }));
}

worker_place server::place(std::size_t number) {
  return {options_,      *board_, board_->processes[number],        events_,       kept_.listener, kept_.queue_out,
          stop_pipe_[0], wake_,   children_[number].standard_error, service_error_};
}

// In a new process: what belongs to the server alone is closed, and signals do what they do by default.
void leave_server(std::initializer_list<int> descriptors) {
  for (const int descriptor : descriptors) close(descriptor);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool server::start_process(std::size_t number) {
  child &started = children_[number];
  process_score &score = board_->processes[number];
  if (started.standard_error < 0) {
    started.standard_error = memfd_create("standard error", MFD_CLOEXEC);
    fcntl(started.standard_error, F_SETFL, O_APPEND);
  }
  score.since = milliseconds_now();
  score.served = 0;
  score.state = process_state::idle;
  ++board_->idle;
  const pid_t id = fork();
  if (id == 0) {
    leave_server({stop_pipe_[1], signals_});
    run_worker(place(number));
  }
  if (id < 0) {
    report("cannot start a process: %s", std::strerror(errno));
    score.state = process_state::none;
    --board_->idle;
    return false;
  }
  started.id = id;
  return true;
}

void server::keep_processes_waiting() {
  reap();
  constexpr std::int64_t pause = 1000;
  if (milliseconds_now() < start_no_process_before_) return;
  // When the server stops, only what it accepted already is still answered.
  const int wanted = stopping_ ? board_->waiting.load() : options_.spare;
  for (std::size_t k = 0; k < children_.size() && board_->idle < wanted; ++k) {
    if (children_[k].id == 0 && !start_process(k)) {
      start_no_process_before_ = milliseconds_now() + pause;
      return;
    }
  }
}

void server::end_of_process(std::size_t number, int status) {
  child &ended = children_[number];
  process_score &score = board_->processes[number];
  const process_state state = score.state.exchange(process_state::none);
  const bool by_itself = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (state == process_state::idle) {
    --board_->idle;
    // A process that ends before it has a request would end again at once.
    if (!by_itself) start_no_process_before_ = milliseconds_now() + 1000;
  }
  if (!by_itself) wake_next_for(kept_.listener, events_);  // it may have died before it did
  if (state == process_state::busy || (state == process_state::idle && !by_itself)) {
    if (state == process_state::busy) ++board_->died;
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    const char *reason = signal == SIGALRM   ? "it took too long"
                         : signal == SIGXCPU ? "it used too much processor time"
                         : signal != 0       ? strsignal(signal)
                                             : "it ended in the middle";
    report("process %d: %.*s: %s", static_cast<int>(ended.id), static_cast<int>(address_size),
           state == process_state::busy ? score.address : "waiting", reason);
    char piece[4096];
    off_t at = 0;
    for (ssize_t n; (n = pread(ended.standard_error, piece, sizeof piece, at)) > 0; at += n) {
      std::fwrite(piece, 1, static_cast<std::size_t>(n), stderr);
    }
    if (!resize_file(ended.standard_error, 0)) report("standard error: %s", std::strerror(errno));
  }
  ended.id = 0;
}

void server::reap() {
  int status = 0;
  for (pid_t id; (id = waitpid(-1, &status, WNOHANG)) > 0;) {
    const auto is_it = [&](const child &one) { return one.id == id; };
    const auto found = std::find_if(children_.begin(), children_.end(), is_it);
    if (found != children_.end()) end_of_process(static_cast<std::size_t>(found - children_.begin()), status);
    if (id == refuser_) refuser_ = 0;
    std::erase(helpers_, id);
  }
}

void server::refuse(int connection) {
  ++board_->refused;
  if (refused_[0] < 0 && socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, refused_) != 0) {
    close(connection);
    return;
  }
  if (refuser_ == 0) {
    refuser_ = fork();
    if (refuser_ == 0) {
      leave_server({stop_pipe_[1], signals_, refused_[0], connection});
      run_refuser(place(0), refused_[1]);
    }
  }
  if (!pass_connection(refused_[0], connection)) close(connection);
}

void server::accept_for_busy_processes() {
  while (is_saturated()) {
    const int connection = accept_connection(kept_.listener);
    if (connection < 0) return;
    ++board_->waiting;
    if (board_->waiting > options_.waiting || !pass_connection(kept_.queue_in, connection)) {
      --board_->waiting;
      refuse(connection);
    }
  }
}

void server::tell_status() {
  constexpr std::size_t most_at_once = 4;
  const int connection = accept_connection(kept_.status);
  if (connection < 0) return;
  const pid_t helper = helpers_.size() < most_at_once ? fork() : -1;
  if (helper == 0) {
    leave_server({stop_pipe_[1], signals_});
    answer_status(connection, options_, *board_, started_);
    std::_Exit(0);
  }
  if (helper > 0) helpers_.push_back(helper);
  close(connection);
}

// Other programs may be in the places of this one and of what it reads. The processes that run finish their requests:
// the end of this program's memory is the sign for them that they are the last ones.
void server::start_afresh() {
  const std::string kept = std::to_string(kept_.listener) + ' ' + std::to_string(kept_.status) + ' ' +
                           std::to_string(kept_.queue_in) + ' ' + std::to_string(kept_.queue_out) + ' ' +
                           std::to_string(board_->waiting.load());
  const auto hand_down = [&](int flags) {
    for (const int descriptor : {kept_.listener, kept_.status, kept_.queue_in, kept_.queue_out}) {
      if (descriptor >= 0) fcntl(descriptor, F_SETFD, flags);
    }
  };
  hand_down(0);
  setenv(kept_variable, kept.c_str(), 1);
  if (fchdir(first_directory_) == 0) execvp(arguments_[0], arguments_);
  report("cannot start afresh: %s", std::strerror(errno));
  unsetenv(kept_variable);
  hand_down(FD_CLOEXEC);
  if (chdir(options_.directory.c_str()) != 0) report("%s: %s", options_.directory.c_str(), std::strerror(errno));
}

void server::stop() {
  if (stopping_) return;
  stopping_ = true;
  stop_at_ = milliseconds_now() + options_.stop_time * std::int64_t{1000};
  close(kept_.listener);
  close(stop_pipe_[1]);
  stop_pipe_[1] = -1;
}

void server::handle_signals() {
  signalfd_siginfo signal;
  while (read(signals_, &signal, sizeof signal) == sizeof signal) {
    if (signal.ssi_signo == SIGHUP && !stopping_) start_afresh();
    if (signal.ssi_signo == SIGTERM || signal.ssi_signo == SIGINT) stop();
  }
}

// Under load the server does not wake up for each process that ends: those that have ended are looked for when the next
// ones are needed, and ten times a second.
void server::wait_for_events() {
  const bool all_are_busy = is_saturated();
  const bool is_under_load = !stopping_ && !all_are_busy && running() > board_->idle;
  pollfd events[] = {{signals_, POLLIN, 0},
                     {wake_, POLLIN, 0},
                     {kept_.status, POLLIN, 0},
                     {!stopping_ && all_are_busy ? kept_.listener : -1, POLLIN, 0},
                     {is_under_load ? -1 : ends_, POLLIN, 0}};
  constexpr int tenth_of_a_second = 100;
  const bool is_pausing = milliseconds_now() < start_no_process_before_;
  if (poll(events, std::size(events), is_under_load || stopping_ || is_pausing ? tenth_of_a_second : -1) <= 0) return;
  if (events[4].revents != 0) {
    signalfd_siginfo signal;
    while (read(ends_, &signal, sizeof signal) == sizeof signal) continue;
  }
  if (events[1].revents != 0) {
    std::uint64_t count = 0;
    if (read(wake_, &count, sizeof count) < 0) return;
  }
  if (events[0].revents != 0) handle_signals();
  if (events[2].revents != 0) tell_status();
  if (events[3].revents != 0 && !stopping_) accept_for_busy_processes();
}

int server::run() {
  if (!prepare()) return exit_not_started;
  while (!is_done()) {
    keep_processes_waiting();
    wait_for_events();
  }
  for (const child &left : children_) {
    if (left.id != 0) kill(left.id, SIGKILL);
  }
  for (const std::string &address : {options_.socket, options_.status}) {
    if (address.find('/') == std::string::npos || fchdir(first_directory_) != 0) continue;
    unlink(address.c_str());
  }
  return 0;
}

}  // namespace

int serve(const server_options &options, char **arguments) { return server(options, arguments).run(); }

}  // namespace quillet
