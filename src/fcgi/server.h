// The server: it keeps processes waiting for requests and answers none itself.
#pragma once

#include "fcgi/options.h"

namespace quillet {

// Serves until it is told to stop; gives the exit status. SIGTERM and SIGINT stop it after the running requests,
// SIGHUP starts the program afresh with the same sockets. `arguments` are those of the program.
int serve(const server_options &options, char **arguments);

}  // namespace quillet
