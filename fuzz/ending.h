// How a request ends in a process that goes on.
#pragma once

namespace quillet_fuzz {

// From now on what would end the process throws this instead. Memory of more than 32 MB at once is not to be had, so
// that a page whose text doubles again and again ends early.
struct request_end {};
void throw_at_end();

}  // namespace quillet_fuzz
