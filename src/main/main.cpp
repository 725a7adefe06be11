// Process entry: one process answers one request. Command-line arguments are ignored: a web server
// passes a query without "=" as arguments.

#include "cgi/request.h"
#include "cgi/streams.h"
#include "core/end.h"
#include "main/driver.h"
#include "main/stack.h"

namespace {

// Some web servers take it for an error when the program ends before it has read the body.
void read_rest_of_body(int) {
  const int length = quillet::request.content_length;
  if (length > 0) quillet::drop_input(static_cast<std::size_t>(length));
}

int answer() {
  quillet::prepare_process();
  quillet::set_before_end(read_rest_of_body);
  const int status = quillet::answer_request();
  read_rest_of_body(status);
  return status;
}

}  // namespace

int main() { return quillet::call_with_enough_stack(answer); }
