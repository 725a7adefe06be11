// Process entry: one process answers one request. Command-line arguments are ignored: a web server
// passes a query without "=" as arguments.

#include "main/driver.h"

int main() {
  quillet::prepare_process();
  return quillet::answer_request();
}
