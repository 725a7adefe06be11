// What the server is told when it starts.
#pragma once

#include <string>

namespace quillet {

struct server_options {
  std::string socket;      // a path, a port of this machine, or ADDRESS:PORT; empty: the one that was handed over
  int socket_mode = 0660;  // of a path
  std::string directory = ".";
  std::string status;  // as `socket`; empty: nobody is told

  int processes = 64;  // that answer at the same time
  int spare = 16;      // that wait for a request, as long as there are fewer than `processes`
  int requests_per_process = 1;
  int waiting = 64;  // requests that wait while all processes are busy; those beyond it get status 503

  // What one request may use.
  int time = 300;           // seconds
  int processor_time = 20;  // seconds
  int memory = 512;         // MiB of addresses
  int body = 128;           // MiB
  int file = 256;           // MiB of each file it writes

  int stop_time = 30;  // seconds that running requests get when the server stops
};

}  // namespace quillet
