#include "core/memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "core/end.h"

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

void *try_allocate_filled(std::size_t size) {
  if (size < huge_page / 2) return try_allocate(size);
  void *block = nullptr;
  // The last page is a huge one when at least half of it is used.
  const std::size_t huge = (size + huge_page / 2) / huge_page * huge_page;
  if (posix_memalign(&block, huge_page, std::max(size, huge)) != 0) return nullptr;
  madvise(block, huge, MADV_HUGEPAGE);
  if (size > huge) populate(static_cast<char *>(block) + huge, size - huge);
  return block;
}

void *try_allocate_growing(std::size_t size) {
  void *block = nullptr;
  if (posix_memalign(&block, huge_page, std::max(size, huge_page)) != 0) return nullptr;
  madvise(block, huge_page, MADV_HUGEPAGE);
  return block;
}

void populate(void *block, std::size_t size) {
  constexpr std::size_t worth_a_call = 256 * 1024;
  constexpr std::uintptr_t page = 4096;
  if (size < worth_a_call) return;
  const std::size_t before_page = -reinterpret_cast<std::uintptr_t>(block) % page;
  const std::size_t whole_pages = (size - before_page) / page * page;
  madvise(static_cast<char *>(block) + before_page, whole_pages, MADV_POPULATE_WRITE);
}

void release(void *block) { std::free(block); }

}  // namespace quillet

// The standard containers take their memory from the same place, so that they end the same way.
void *operator new(std::size_t size) { return quillet::allocate(size == 0 ? 1 : size); }
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
  return quillet::try_allocate(size == 0 ? 1 : size);
}
void operator delete(void *block) noexcept { quillet::release(block); }
void operator delete(void *block, std::size_t) noexcept { quillet::release(block); }
