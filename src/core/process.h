// Child processes, and what the process hands down to them.
#pragma once

#include <sys/types.h>

#include <span>
#include <string_view>

#include "core/text.h"

namespace quillet {

// Starts `program` with `arguments` (the program's own name first, a null pointer last). Each slot
// that is given gets the parent's end of a pipe connected to the child's standard input, output or
// error. The child gets back the default handling of the child-exit signal, and only descriptors 0 to
// 2, and the working directory `directory` unless that is null. Gives the child's process id; 0 when a pipe or the fork
// fails, with errno set and no pipe left open. A program that cannot be started, or not there, ends the child with
// status 127. What no longer fits into the error pipe is an error of the child's write: a child never waits there for a
// parent that does not read.
[[nodiscard]] pid_t run_with_pipes(const char *program, char *const arguments[], int *stdin_slot, int *stdout_slot,
                                   int *stderr_slot, const char *directory = nullptr);

// Waits for the child: its exit status, -2 when a signal ended it, -1 when the wait itself fails.
int wait_child(pid_t pid);

// Sets an environment variable; a name that the system does not take, an empty one, sets none. Without memory the
// process ends.
void set_environment(std::string_view name, std::string_view value);

// Gives the standard input, output and error that nobody opened to /dev/null, so that no file of the site gets one
// of their numbers and with it what is meant for them.
void open_standard_streams();

// Runs the command in the system shell, a backslash put before every ";" and "|"; gives the shell's
// status as system(3) does.
int run_shell(std::string_view command);

}  // namespace quillet
