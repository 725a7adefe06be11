// The function that one of a harness takes the place of.
#pragma once

#include <dlfcn.h>

namespace quillet_fuzz {

// The C library's function of this name and type.
template <class function>
function *next_function(const char *name) {
  return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace quillet_fuzz
