#include "dev/run/answer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "core/end.h"
#include "core/file.h"
#include "core/onlooker.h"
#include "core/preparation.h"
#include "dev/run/recorder.h"
#include "main/driver.h"

namespace quillet::dev {

namespace {

constexpr int milliseconds_of_grace = 10000;  // what was seen is written meanwhile
constexpr int status_not_started = 127;

[[noreturn]] void fail(const char *what) { throw std::runtime_error(std::string(what) + ": " + std::strerror(errno)); }

// A file in memory.
class memory_file {
 public:
  memory_file() : descriptor_(memfd_create("quillet-dev", MFD_CLOEXEC)) {
    if (descriptor_ < 0) fail("no memory for a file");
  }
  memory_file(const memory_file &) = delete;
  memory_file &operator=(const memory_file &) = delete;
  ~memory_file() { close(descriptor_); }

  [[nodiscard]] int descriptor() const { return descriptor_; }
  void fill(std::string_view bytes) const {
    write_all(descriptor_, bytes);
    lseek(descriptor_, 0, SEEK_SET);
  }
  [[nodiscard]] std::string bytes() const {
    std::string all;
    char buffer[65536];
    for (off_t at = 0;; at = static_cast<off_t>(all.size())) {
      const ssize_t n = pread(descriptor_, buffer, sizeof buffer, at);
      if (n <= 0) return all;
      all.append(buffer, static_cast<std::size_t>(n));
    }
  }

 private:
  int descriptor_;
};

// What the process is started with, made before there is one: afterwards no memory may be asked for.
struct start {
  explicit start(const page_request &asked) : directory(asked.working_directory) {
    for (const auto &[name, value] : asked.environment) {
      lines.push_back(name);
      lines.back().append(1, '=').append(value);
    }
    for (std::string &line : lines) environment.push_back(line.data());
    environment.push_back(nullptr);
  }
  std::string directory;
  std::vector<std::string> lines;
  std::vector<char *> environment;
  char program[12] = "quillet-dev";
  char subcommand[7] = "answer";
  char *arguments[3] = {program, subcommand, nullptr};
};

// In the new process: the descriptors 0 to 3, the directory, the program.
[[noreturn]] void become(start &started, const int (&descriptors)[4]) {
  int apart[4];
  for (int i = 0; i < 4; ++i) apart[i] = fcntl(descriptors[i], F_DUPFD_CLOEXEC, 10);
  for (int i = 0; i < 4; ++i) {
    if (dup2(apart[i], i) < 0) _exit(status_not_started);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  if (chdir(started.directory.c_str()) == 0) execve("/proc/self/exe", started.arguments, started.environment.data());
  _exit(status_not_started);
}

// Whether the process ends within the time.
bool ends_within(int process, int milliseconds) {
  pollfd waiting = {process, POLLIN, 0};
  int ended = 0;
  do {
    ended = poll(&waiting, 1, milliseconds);
  } while (ended < 0 && errno == EINTR);
  return ended > 0;
}

void wait_for(pid_t process, int seconds, page_answer &answered) {
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  if (handle >= 0 && seconds > 0 && !ends_within(handle, seconds * 1000)) {
    answered.took_too_long = true;
    kill(process, SIGTERM);
    if (!ends_within(handle, milliseconds_of_grace)) kill(process, SIGKILL);
  }
  if (handle >= 0) close(handle);
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return;
  }
  if (WIFEXITED(status)) answered.status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) answered.signal = WTERMSIG(status);
}

}  // namespace

page_answer answer(const page_request &asked) {
  const memory_file input, output, errors, report;
  input.fill(asked.body);
  start started(asked);
  const pid_t process = fork();
  if (process < 0) fail("no process");
  if (process == 0) {
    become(started, {input.descriptor(), output.descriptor(), errors.descriptor(), report.descriptor()});
  }
  page_answer answered;
  wait_for(process, asked.seconds, answered);
  answered.output = output.bytes();
  answered.errors = errors.bytes();
  answered.seen = decode(report.bytes());
  return answered;
}

int answer_watched(int descriptor) {
  if (fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0) return status_not_started;
  recorder watching(descriptor);
  enable_preparation(false);
  current_onlooker = &watching;
  set_before_end([](int) { static_cast<recorder *>(current_onlooker)->end(); });
  std::signal(SIGTERM, [](int) { recorder::stop_soon(); });
  prepare_process();
  const int status = answer_request();
  watching.end();
  current_onlooker = nullptr;
  return status;
}

}  // namespace quillet::dev
