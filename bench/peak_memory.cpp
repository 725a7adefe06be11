// Runs a program and prints on the descriptor 3 the most memory that it had resident, in kB; what the program starts
// itself does not count.
//
// A process that starts another one leaves its own size in what the system reports for that one; this program
// is linked statically and has less than any that it starts.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

int main(int, char **arguments) {
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGCHLD, SIG_IGN);  // then the system keeps nothing of the program's children
    execv(arguments[1], arguments + 1);
    _exit(127);
  }
  int status;
  rusage usage;
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return 1;
  dprintf(3, "%ld\n", usage.ru_maxrss);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
