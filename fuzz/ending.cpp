#include "ending.h"

#include <new>

#include "core/end.h"

namespace quillet_fuzz {

void throw_at_end() {
  quillet::set_last_message_writer([](const char *, std::va_list) {});
  quillet::set_before_end([](int) { throw request_end{}; });
}

}  // namespace quillet_fuzz

// As the standard library's; the sanitizer's own would end the process without memory.
void *operator new[](std::size_t size) { return operator new(size); }
void operator delete[](void *block) noexcept { operator delete(block); }
void operator delete[](void *block, std::size_t) noexcept { operator delete(block); }

// The name is the sanitizer's.
#pragma clang diagnostic ignored "-Wreserved-identifier"
extern "C" const char *__asan_default_options() {
  return "max_allocation_size_mb=32:allocator_may_return_null=1:quarantine_size_mb=16";
}
