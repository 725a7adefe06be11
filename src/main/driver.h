// The request driver: from the captured request to the written response.
#pragma once

namespace quillet {

// What a process does once: its standard streams, its file creation mask (new files are writable for the group, not
// for the world), and the last message of a process that ends early, which goes to the log.
void prepare_process();

// Answers the request that the environment and the body describe; gives the process's exit status. `form_is_read` is
// called before the page is: what is left of the body is for programs that the page runs.
int answer_request(void (*form_is_read)() = nullptr);

// Answers the request of the request record; gives the process's exit status. Does not return when
// the request ends with the error page.
int run_request();

// Sets environment variables from the lines "name=value" of `.profile` in the working directory.
void load_profile();

}  // namespace quillet
