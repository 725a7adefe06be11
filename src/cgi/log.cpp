#include "cgi/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "cgi/request.h"
#include "cgi/response.h"
#include "core/end.h"
#include "core/file.h"
#include "core/onlooker.h"

namespace quillet {

namespace {

constexpr const char *log_files[] = {"./access_log", "./error_log"};

constexpr std::size_t line_limit = 1024;  // with the NUL byte

// A line under construction; what does not fit is dropped, except for the line feed.
class log_line {
 public:
  void append_time() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) != nullptr) {
      size_ += std::strftime(bytes_, sizeof bytes_, "[%d/%b/%Y %H:%M:%S] ", &local);
    }
  }
  [[gnu::format(printf, 2, 3)]] void append(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    append_list(format, arguments);
    va_end(arguments);
  }
  void append_list(const char *format, va_list arguments) {
    constexpr std::size_t room = line_limit - 1;  // with the NUL byte; the line feed has its own
    const int added = std::vsnprintf(bytes_ + size_, room - size_, format, arguments);
    size_ = std::min(size_ + static_cast<std::size_t>(std::max(added, 0)), room - 1);
  }
  // A visitor whose input is in a message must not be able to write a line of the log.
  void end() {
    std::replace_if(bytes_, bytes_ + size_, is_control, ' ');
    bytes_[size_++] = '\n';
  }
  void write_to(int descriptor) const { write_all(descriptor, {bytes_, size_}); }

 private:
  char bytes_[line_limit];
  std::size_t size_ = 0;
};

void log_list(int number, const char *format, va_list arguments) {
  // A log that is a pipe which nobody reads cannot be opened; no request waits for a reader.
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK;
  const int descriptor = open(log_files[number & 1], flags, 0666);
  if (format != nullptr) {
    log_line line;
    line.append_time();
    line.append("%s: ", request.page_path.is_empty() ? "[path=null]" : request.page_path.c_str());
    line.append_list(format, arguments);
    line.end();
    line.write_to(descriptor < 0 ? STDERR_FILENO : descriptor);
  }
  if (descriptor >= 0) close(descriptor);
}

}  // namespace

void log_message(int number, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log_list(number, format, arguments);
  va_end(arguments);
}

void log_last_message() {
  set_last_message_writer([](const char *format, va_list arguments) { log_list(error_log, format, arguments); });
}

void error_page(const char *format, ...) {
  const char *host = std::getenv("REMOTE_ADDR");
  log_message(error_log, "script error by host %s", host == nullptr ? "(null)" : host);

  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  log_list(error_log, format, arguments);
  va_end(arguments);

  // The page shows the message whole, however long the path in it is.
  char *message = nullptr;
  const int size = vasprintf(&message, format, again);
  va_end(again);
  write_output("Content-type: text/html\n\n");
  write_output("<html><head><title>Error!</title></head><body bgcolor=white><h2>\n");
  if (size > 0) {
    write_output({message, static_cast<std::size_t>(size)});
    tell_message({message, static_cast<std::size_t>(size)});
    std::free(message);
  }
  write_output("</h2></body></html>");
  end_process(exit_error_page);
}

void report_error(std::initializer_list<std::string_view> parts, text &out) {
  text message;
  for (const std::string_view part : parts) message.append(part);
  log_message(error_log, "%s", message.c_str());
  const std::size_t start = out.size();
  out.append('[');
  out.append(message);
  out.append(']');
  tell_message(out.view().substr(start));
}

}  // namespace quillet
