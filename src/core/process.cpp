#include "core/process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include "core/end.h"
#include "core/kept_directories.h"

namespace quillet {

namespace {

constexpr int status_not_started = 127;

// The three pipes to a child, by the child's descriptor number.
class child_pipes {
 public:
  child_pipes() = default;
  child_pipes(const child_pipes &) = delete;
  child_pipes &operator=(const child_pipes &) = delete;
  ~child_pipes() {
    const int error = errno;
    for (auto &pipe : ends_) {
      for (const int end : pipe) {
        if (end >= 0) close(end);
      }
    }
    errno = error;
  }

  bool make(int number) {
    if (pipe2(ends_[number], O_CLOEXEC) != 0) return false;
    return number != STDERR_FILENO || fcntl(child_end(number), F_SETFL, O_NONBLOCK) == 0;
  }

  // In the child: puts each pipe in place of the descriptor it replaces.
  bool connect() {
    // A pipe end that sits on one of the three numbers itself must move out of the way first.
    for (auto &pipe : ends_) {
      for (int &end : pipe) {
        if (end >= 0 && end <= STDERR_FILENO && (end = fcntl(end, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) < 0)
          return false;
      }
    }
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
      const int end = child_end(number);
      if (end >= 0 && dup2(end, number) < 0) return false;
    }
    return true;
  }

  // Hands the parent's end over to the caller.
  int take_parent_end(int number) {
    int &end = ends_[number][number == STDIN_FILENO ? 1 : 0];
    const int taken = end;
    end = -1;
    return taken;
  }

 private:
  [[nodiscard]] int child_end(int number) const { return ends_[number][number == STDIN_FILENO ? 0 : 1]; }

  int ends_[3][2] = {{-1, -1}, {-1, -1}, {-1, -1}};
};

}  // namespace

pid_t run_with_pipes(const char *program, char *const arguments[], int *stdin_slot, int *stdout_slot, int *stderr_slot,
                     const char *directory) {
  child_pipes pipes;
  int *const slots[] = {stdin_slot, stdout_slot, stderr_slot};
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    if (slots[number] != nullptr && !pipes.make(number)) return 0;
  }
  know_no_directories();
  const pid_t pid = fork();
  if (pid < 0) return 0;
  if (pid == 0) {
    if (!pipes.connect() || (directory != nullptr && chdir(directory) != 0)) _exit(status_not_started);
    std::signal(SIGCHLD, SIG_DFL);
    closefrom(STDERR_FILENO + 1);
    execv(program, arguments);
    _exit(status_not_started);
  }
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    if (slots[number] != nullptr) *slots[number] = pipes.take_parent_end(number);
  }
  return pid;
}

int wait_child(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
}

void set_environment(std::string_view name, std::string_view value) {
  if (setenv(text(name).c_str(), text(value).c_str(), 1) != 0 && errno == ENOMEM) {
    fatal("unable to malloc %zu bytes", name.size() + value.size() + 2);
  }
  // Times that were told before may have another zone: in a process that answered a request before this one.
  if (name == "TZ") tzset();
}

void open_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The system gives the lowest number that is free.
    if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0) std::_Exit(exit_fatal);
  }
}

int run_shell(std::string_view command) {
  know_no_directories();
  text protected_command;
  for (const char c : command) {
    if (c == ';' || c == '|') protected_command.append('\\');
    protected_command.append(c);
  }
  return std::system(protected_command.c_str());
}

}  // namespace quillet
