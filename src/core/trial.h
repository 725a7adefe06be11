// Work that may crash or never end, tried in a child process first.
#pragma once

#include <sys/types.h>

namespace quillet {

// Starts a copy of the process for the trial: 0 in the copy, which does the work and ends with `_exit` and a status
// below 128; the copy's id in the process itself; negative when there is no room for another process. The copy is
// ended after half a second of processor time and gets at most 256 MB more memory; it dies in silence.
[[nodiscard]] pid_t start_trial();

// Waits for the trial: its status, or -1 when it did not end by itself or could not be started.
[[nodiscard]] int end_trial(pid_t trial);

}  // namespace quillet
