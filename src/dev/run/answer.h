// A request answered by a process of its own, and watched.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "dev/run/observation.h"

namespace quillet::dev {

struct page_request {
  std::vector<std::pair<std::string, std::string>> environment;  // all of it, as a web server gives it
  std::string body;
  std::string working_directory;  // empty where the site has none
  int seconds = 0;                // that the process may take; 0 for any number
};

struct page_answer {
  int status = 0;  // the exit status of the process
  int signal = 0;  // that ended it; 0 for none
  bool took_too_long = false;
  std::string output;  // headers and body
  std::string errors;  // what it wrote to standard error
  observation seen;
};

// Starts this program again, in that working directory, for the request, and waits for its end. Throws
// std::runtime_error when no process can be started.
[[nodiscard]] page_answer answer(const page_request &asked);

// The other side: answers the request of the environment, watched, as the program itself does, and writes what was
// seen to the descriptor. Gives the exit status.
int answer_watched(int descriptor);

}  // namespace quillet::dev
