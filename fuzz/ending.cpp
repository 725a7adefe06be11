#include "ending.h"

#include "core/end.h"

namespace quillet_fuzz {

void throw_at_end() {
  quillet::set_last_message_writer([](const char *, std::va_list) {});
  quillet::set_before_end([](int) { throw request_end{}; });
}

}  // namespace quillet_fuzz

// The name is the sanitizer's.
#pragma clang diagnostic ignored "-Wreserved-identifier"
extern "C" const char *__asan_default_options() {
  return "max_allocation_size_mb=32:allocator_may_return_null=1:quarantine_size_mb=16";
}
