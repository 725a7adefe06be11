#include "core/memory.h"

#include <cstdlib>
#include <new>

#include "cgi/log.h"

namespace quillet {

void *try_allocate(std::size_t size) { return size == 0 ? nullptr : std::malloc(size); }

void *allocate(std::size_t size) {
  if (size == 0) return nullptr;
  void *block = std::malloc(size);
  if (block == nullptr) fatal("unable to malloc %zu bytes", size);
  return block;
}

void *reallocate(void *block, std::size_t size) {
  if (size == 0) {
    release(block);
    return nullptr;
  }
  void *resized = std::realloc(block, size);
  if (resized == nullptr) fatal("unable to realloc %zu bytes", size);
  return resized;
}

void release(void *block) { std::free(block); }

}  // namespace quillet

// The standard containers take their memory from the same place, so that they end the same way.
void *operator new(std::size_t size) { return quillet::allocate(size == 0 ? 1 : size); }
void operator delete(void *block) noexcept { quillet::release(block); }
void operator delete(void *block, std::size_t) noexcept { quillet::release(block); }
