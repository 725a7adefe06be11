// The request driver: from the captured request to the written response.
#pragma once

namespace quillet {

// Answers the request that the environment describes and standard input completes: all that the program does. Gives
// the process's exit status. Does not return when the request ends with the error page.
int answer_request();

// The same once the request record is filled and the form decoded.
int run_request();

// Sets environment variables from the lines "name=value" of `.profile` in the working directory.
void load_profile();

}  // namespace quillet
