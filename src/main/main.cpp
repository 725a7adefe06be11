// Process entry: one process answers one request. Command-line arguments are ignored: a web server
// passes a query without "=" as arguments.

#include <sys/stat.h>

#include <csignal>

#include "cgi/charset.h"
#include "cgi/form.h"
#include "cgi/log.h"
#include "cgi/request.h"
#include "core/end.h"
#include "core/process.h"
#include "main/driver.h"

namespace quillet {

namespace {

int answer_request() {
  open_standard_streams();
  log_last_message();
  umask(2);  // new files: writable for the group, not for the world
  // A file that grows beyond the process's limit is an error of the write. Programs that are run get the
  // default back, which ignoring the signal would not give them.
  std::signal(SIGXFSZ, [](int) {});
  capture_environment();
  read_charsets();
  const int status = decode_form_input() ? run_request() : exit_undecodable;
  free_form_entries();
  return status;
}

}  // namespace

}  // namespace quillet

int main() { return quillet::answer_request(); }
