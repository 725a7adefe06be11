#include "fcgi/large_pages.h"

#include <link.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quillet {

namespace {

constexpr std::uintptr_t large_page = 2097152;

std::uintptr_t round_up(std::uintptr_t address) { return (address + large_page - 1) & ~(large_page - 1); }

// A copy with that protection; null without memory. The system makes large pages of an aligned range when it is first
// written to.
void *copy_bytes(const void *bytes, std::size_t size, std::size_t room, int protection) {
  const std::size_t reserved = room + large_page;
  void *const memory = mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  const auto start = reinterpret_cast<std::uintptr_t>(memory);
  const std::size_t before = round_up(start) - start;
  auto *const copy = static_cast<char *>(memory) + before;
  if (before > 0) munmap(memory, before);
  if (before < large_page) munmap(copy + room, large_page - before);
  if (madvise(copy, room, MADV_HUGEPAGE) != 0) {
    munmap(copy, room);
    return nullptr;
  }
  std::memcpy(copy, bytes, size);
  if (mprotect(copy, room, protection) == 0) return copy;
  munmap(copy, room);
  return nullptr;
}

// The segment ends before the next multiple of its alignment, so the room after it is nobody's.
void move_segment(const dl_phdr_info &program, const ElfW(Phdr) & segment) {
  const std::uintptr_t start = program.dlpi_addr + segment.p_vaddr;
  constexpr std::size_t least = 65536;  // below that large pages are a waste
  if (segment.p_align < large_page || start % large_page != 0 || segment.p_memsz < least) return;
  auto *const bytes = reinterpret_cast<void *>(start);  // NOLINT(performance-no-int-to-ptr): as the program was loaded
  const std::size_t room = round_up(segment.p_memsz);
  const int protection = (segment.p_flags & PF_X) != 0 ? PROT_READ | PROT_EXEC : PROT_READ;
  void *const copy = copy_bytes(bytes, segment.p_memsz, room, protection);
  // The same bytes at the same address: the next instruction is found in the new pages.
  if (copy != nullptr && mremap(copy, room, room, MREMAP_MAYMOVE | MREMAP_FIXED, bytes) == MAP_FAILED)
    munmap(copy, room);
}

// Of the program itself, which is the first one.
int move_segments(dl_phdr_info *program, std::size_t, void *) {
  for (int k = 0; k < program->dlpi_phnum; ++k) {
    const ElfW(Phdr) &segment = program->dlpi_phdr[k];
    if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) == 0) move_segment(*program, segment);
  }
  return 1;
}

}  // namespace

void use_large_pages() { dl_iterate_phdr(move_segments, nullptr); }

}  // namespace quillet
