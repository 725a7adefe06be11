#include "core/trial.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "core/end.h"

namespace quillet {

namespace {

constexpr rlim_t most_memory = rlim_t{256} << 20;
constexpr suseconds_t most_microseconds = 500000;

void lower_limit(__rlimit_resource resource, rlim_t value) {
  rlimit limit;
  if (getrlimit(resource, &limit) != 0 || limit.rlim_cur <= value) return;
  limit.rlim_cur = value;
  setrlimit(resource, &limit);
}

// The size of the process's address space; 0 when the system does not tell.
rlim_t address_space() {
  char digits[32] = {};
  const int file = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  const ssize_t length = read(file, digits, sizeof digits - 1);
  close(file);
  if (length <= 0) return 0;
  return strtoull(digits, nullptr, 10) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

pid_t start_trial() {
  const pid_t trial = fork();
  if (trial != 0) return trial;
  constexpr int deaths[] = {SIGSEGV, SIGBUS, SIGABRT, SIGPROF};
  for (const int signal : deaths) std::signal(signal, SIG_DFL);
  lower_limit(RLIMIT_CORE, 0);
  if (const rlim_t used = address_space(); used > 0) lower_limit(RLIMIT_AS, used + most_memory);
  const itimerval time = {{0, 0}, {0, most_microseconds}};
  setitimer(ITIMER_PROF, &time, nullptr);
  close(STDERR_FILENO);
  set_before_end(nullptr);  // the client is not the trial's
  return 0;
}

int end_trial(pid_t trial) {
  int status = 0;
  if (trial < 0) return -1;
  while (waitpid(trial, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace quillet
