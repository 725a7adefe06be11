// Process entry: one process answers one request. Command-line arguments are ignored: a web server
// passes a query without "=" as arguments.

#include <sys/stat.h>

#include "cgi/charset.h"
#include "cgi/form.h"
#include "cgi/log.h"
#include "cgi/request.h"
#include "main/driver.h"

int main() {
  using namespace quillet;
  umask(2);  // new files: writable for the group, not for the world
  capture_environment();
  read_charsets();
  const int status = decode_form_input() ? run_request() : exit_undecodable;
  free_form_entries();
  return status;
}
