// The request driver: from the captured request to the written response.
#pragma once

namespace quillet {

// Answers the request of the request record; gives the process's exit status. Does not return when
// the request ends with the error page.
int run_request();

// Sets environment variables from the lines "name=value" of `.profile` in the working directory.
void load_profile();

}  // namespace quillet
