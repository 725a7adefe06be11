#include "core/end.h"

#include <cstdio>
#include <cstdlib>

namespace quillet {

namespace {

void write_to_standard_error(const char *format, std::va_list arguments) {
  std::vfprintf(stderr, format, arguments);
  std::fputc('\n', stderr);
}

last_message_writer write_last_message = write_to_standard_error;
void (*before_end)(int status) = nullptr;

}  // namespace

void fatal(const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  write_last_message(format, arguments);
  va_end(arguments);
  end_process(exit_fatal);
}

void end_process(int status) {
  if (before_end != nullptr) before_end(status);
  std::_Exit(status);
}

void set_before_end(void (*function)(int status)) { before_end = function; }

void set_last_message_writer(last_message_writer writer) { write_last_message = writer; }

}  // namespace quillet
