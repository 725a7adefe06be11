// The end of the process.
#pragma once

#include <cstdarg>

namespace quillet {

// What the process ends with. A shell sees the low eight bits: 255, 254, 253.
enum exit_status : int {
  exit_answered = 0,      // the page was written
  exit_undecodable = -1,  // the query string or the body could not be decoded; no output
  exit_fatal = -2,        // no memory, or a container error; logged, no output
  exit_error_page = -3,   // logged, and the error page was written
};

// Ends the process with `exit_fatal` after handing the message over; the client gets nothing.
[[noreturn, gnu::format(printf, 1, 2)]] void fatal(const char *format, ...);

// Ends the process at once.
[[noreturn]] void end_process(int status);

// What `end_process` does first; nothing unless it was set. A server of its own
// tells its client that way, and a tool what it saw.
void set_before_end(void (*function)(int status));

// Whom `fatal` hands its message to. Set once, at the start; until then it goes to standard error.
using last_message_writer = void (*)(const char *format, std::va_list arguments);
void set_last_message_writer(last_message_writer writer);

}  // namespace quillet
