// Process entry of quillet-database. A page's process starts it for the first `server`; called by anybody else, as by
// a web server that found it in a folder of programs, it does nothing.

#include <sys/prctl.h>

#include <csignal>
#include <cstdlib>
#include <new>
#include <string>

#include "database/page_channel.h"
#include "database/session.h"

namespace quillet {

namespace {

[[noreturn]] void answer_page() {
  if (std::getenv("GATEWAY_INTERFACE") != nullptr) refuse();
  // However the page's process ends, this one ends with it, in the middle of a statement, too.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (!is_started_by_page()) refuse();
  std::set_new_handler([] { refuse(); });
  page_channel channel;
  session session(channel);
  for (std::string bytes;; channel.send_window()) {
    switch (channel.receive(bytes)) {
      case database_request_kind::connect:
        session.connect(bytes);
        break;
      case database_request_kind::statement:
        session.run(bytes);
        break;
      case database_request_kind::close:
        session.close();
        break;
      default:
        refuse();
    }
  }
}

}  // namespace

}  // namespace quillet

int main() { quillet::answer_page(); }
