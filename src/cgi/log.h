// The two logs of the working directory, and the ends of a request that cannot go on.
#pragma once

namespace quillet {

// What the process ends with. A shell sees the low eight bits: 255, 254, 253.
enum exit_status : int {
  exit_answered = 0,      // the page was written
  exit_undecodable = -1,  // the query string or the body could not be decoded; no output
  exit_fatal = -2,        // no memory, or a container error; logged, no output
  exit_error_page = -3,   // logged, and the error page was written
};

// The logs by number; only bit 0 of a number counts.
enum log_number : int {
  access_log = 0,  // "./access_log": what the chat's users do
  error_log = 1,   // "./error_log": everything that went wrong
};

// Appends one line to a log: "[%d/%b/%Y %H:%M:%S] " in local time, the page path or "[path=null]",
// ": ", the message and a line feed, in one write of at most 1,023 bytes; a longer line is cut, its
// line feed with it. A log that cannot be opened is replaced by standard error. A null `format`
// opens and closes the log and writes nothing.
[[gnu::format(printf, 2, 3)]] void log_message(int number, const char *format, ...);

// Ends the process with `exit_fatal` after a line in the error log; the client gets nothing.
[[noreturn, gnu::format(printf, 1, 2)]] void fatal(const char *format, ...);

// Deliberate: the message of the error page is not escaped.
//
// Ends the process with `exit_error_page` after two lines in the error log, "script error by host %s"
// and the message, and an HTML page that shows the message unchanged.
[[noreturn, gnu::format(printf, 1, 2)]] void error_page(const char *format, ...);

}  // namespace quillet
