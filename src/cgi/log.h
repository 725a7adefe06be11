// The two logs of the working directory, and the error page.
#pragma once

#include <initializer_list>
#include <string_view>

#include "core/text.h"

namespace quillet {

// The logs by number; only bit 0 of a number counts.
enum log_number : int {
  access_log = 0,  // "./access_log": what the chat's users do
  error_log = 1,   // "./error_log": everything that went wrong
};

// Appends one line to a log: "[%d/%b/%Y %H:%M:%S] " in local time, the page path or "[path=null]",
// ": ", the message and a line feed, in one write of at most 1,023 bytes; a longer message is cut.
// Control bytes become blanks. A log that cannot be opened is replaced by standard error. A null
// `format` opens and closes the log and writes nothing.
[[gnu::format(printf, 2, 3)]] void log_message(int number, const char *format, ...);

// Has `fatal` leave its message in the error log. Called once, at the start.
void log_last_message();

// Deliberate: the message of the error page is not escaped.
//
// Ends the process with `exit_error_page` after two lines in the error log, "script error by host %s"
// and the message, and an HTML page that shows the message unchanged.
[[noreturn, gnu::format(printf, 1, 2)]] void error_page(const char *format, ...);

// Appends the parts in brackets to `out`, as an operator's error text, and writes the same message, without
// the brackets, to the error log.
void report_error(std::initializer_list<std::string_view> parts, text &out);

}  // namespace quillet
