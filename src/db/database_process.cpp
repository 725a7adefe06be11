#include "db/database_process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/file.h"
#include "core/process.h"

namespace quillet {

namespace {

// A file descriptor that closes itself, below 0 for none. It moves away from the numbers of the standard streams, one
// of which may be closed: what the page writes there must not get here.
class owned_descriptor {
 public:
  explicit owned_descriptor(int descriptor) : descriptor_(descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) return;
    descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(descriptor);
  }
  owned_descriptor(const owned_descriptor &) = delete;
  owned_descriptor &operator=(const owned_descriptor &) = delete;
  ~owned_descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  operator int() const { return descriptor_; }  // NOLINT(google-explicit-constructor)
  int release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

struct database_process {
  pid_t id = 0;  // 0: it does not run
  int socket = -1;
  // Kept for a further process.
  int window_file = -1;
  const char *window = nullptr;
};

database_process process;

// --- starting ---

// The file beside the one that this process runs, wherever the web server found that; empty, with errno set, when
// the system does not say.
std::string program_path() {
  char own[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", own, sizeof own);
  if (size <= 0) return {};
  const std::string_view path(own, static_cast<std::size_t>(size));
  return std::string(path.substr(0, path.rfind('/') + 1)) + database_program_name;
}

// All but the variable by which the program would know that a web server has started it.
std::vector<char *> program_environment() {
  std::vector<char *> kept;
  for (char **variable = environ; *variable != nullptr; ++variable) {
    if (!std::string_view(*variable).starts_with("GATEWAY_INTERFACE=")) kept.push_back(*variable);
  }
  kept.push_back(nullptr);
  return kept;
}

// Makes the window, whose size nobody can change any more. False with errno set.
bool make_window() {
  if (process.window != nullptr) return true;
  owned_descriptor file(memfd_create("window", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (file < 0 || !resize_file(file, database_window_size) ||
      fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
    return false;
  }
  void *const window = mmap(nullptr, database_window_size, PROT_READ, MAP_SHARED, file, 0);
  if (window == MAP_FAILED) return false;
  process.window = static_cast<const char *>(window);
  process.window_file = file.release();
  return true;
}

// In the child: gives the program its descriptors and runs it. Its standard output leads nowhere, because the web
// server waits for the end of the page's. Returns on a failure only, with errno set.
void run_program(const char *path, int socket, char *const *arguments, char *const *environment) {
  const int nowhere = open("/dev/null", O_WRONLY);
  if (nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0 || dup2(socket, database_socket) < 0) return;
  if (process.window_file == database_window ? fcntl(database_window, F_SETFD, 0) < 0
                                             : dup2(process.window_file, database_window) < 0) {
    return;
  }
  closefrom(database_window + 1);
  execve(path, arguments, environment);
}

// Starts the program; gives an error number, 0 for none. The child has this process's memory until it runs the
// program: no page of it is copied, and posix_spawn would make 130 system calls to ask for every signal.
int spawn(const std::string &path, int socket) {
  std::string name = database_program_name;
  char *const arguments[] = {name.data(), nullptr};
  const std::vector<char *> environment = program_environment();
  volatile int error = 0;
  const pid_t child = vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
  if (child == 0) {
    run_program(path.c_str(), socket, arguments, environment.data());
    error = errno;
    _exit(1);
  }
  if (child < 0) return errno;
  if (error != 0) {
    wait_child(child);
    return error;
  }
  process.id = child;
  return 0;
}

// An error number; 0 for none.
int start() {
  const std::string path = program_path();
  int ends[2];
  if (path.empty() || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return errno;
  owned_descriptor own(ends[0]);
  const owned_descriptor others(ends[1]);
  if (own < 0 || others < 0 || !make_window()) return errno;
  const int error = spawn(path, others);
  if (error == 0) process.socket = own.release();
  return error;
}

// --- talking ---

bool send_bytes(const char *bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = send(process.socket, bytes, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool send_request(database_request_kind kind, std::string_view bytes) {
  const database_request request{kind, bytes.size()};
  std::string message(reinterpret_cast<const char *>(&request), sizeof request);
  message.append(bytes);
  return send_bytes(message.data(), message.size());
}

bool receive_bytes(char *bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t received = recv(process.socket, bytes, size, 0);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return false;
    bytes += received;
    size -= static_cast<std::size_t>(received);
  }
  return true;
}

}  // namespace

text start_database_process() {
  if (process.id != 0) return {};
  const bool is_first = process.window == nullptr;
  const int error = start();
  if (error != 0) return concat({database_program_name, ": ", std::strerror(error)});
  if (is_first) static_cast<void>(std::atexit(end_database_process) + std::at_quick_exit(end_database_process));
  return {};
}

void end_database_process() {
  if (process.id == 0) return;
  close(std::exchange(process.socket, -1));
  wait_child(std::exchange(process.id, 0));
}

database_answer::database_answer(database_request_kind kind, std::string_view bytes) {
  is_lost_ = process.id == 0 || !send_request(kind, bytes);
}

// Waits for the window to be filled; asks for that, but for the first time.
bool database_answer::receive() {
  if (is_lost_) return false;
  std::uint64_t filled = 0;
  is_lost_ = (unread_ != nullptr && !send_request(database_request_kind::more, {})) ||
             !receive_bytes(reinterpret_cast<char *>(&filled), sizeof filled) || filled == 0 ||
             filled > database_window_size;
  unread_ = process.window;
  left_ = is_lost_ ? 0 : filled;
  return !is_lost_;
}

bool database_answer::read(char *bytes, std::size_t size) {
  while (size > left_) {
    if (left_ > 0) std::memcpy(bytes, unread_, left_);
    bytes += left_;
    size -= left_;
    left_ = 0;
    if (!receive()) return false;
  }
  if (size > 0) std::memcpy(bytes, unread_, size);
  unread_ += size;
  left_ -= size;
  return true;
}

}  // namespace quillet
