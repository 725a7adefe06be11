// A stack with room for calls nested as deep as the language allows.
#pragma once

namespace quillet {

// Calls the function and gives its result: on the process's own stack, or on one of 8 MB where that is limited to less
// and there is memory for another.
int call_with_enough_stack(int (*function)());

}  // namespace quillet
