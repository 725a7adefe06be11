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

// A copy of the code, which can be run and not be written to; null without memory. The system makes large pages of an
// aligned range when it is first written to.
void *copy_code(const void *code, std::size_t size, std::size_t room) {
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
  std::memcpy(copy, code, size);
  if (mprotect(copy, room, PROT_READ | PROT_EXEC) == 0) return copy;
  munmap(copy, room);
  return nullptr;
}

// The segment ends before the next multiple of its alignment, so the room after it is nobody's.
void move_segment(const dl_phdr_info &program, const ElfW(Phdr) & segment) {
  const std::uintptr_t start = program.dlpi_addr + segment.p_vaddr;
  if (segment.p_align < large_page || start % large_page != 0) return;
  auto *const code = reinterpret_cast<void *>(start);  // NOLINT(performance-no-int-to-ptr): as the program was loaded
  const std::size_t room = round_up(segment.p_memsz);
  void *const copy = copy_code(code, segment.p_memsz, room);
  // The same bytes at the same address: the next instruction is found in the new pages.
  if (copy != nullptr && mremap(copy, room, room, MREMAP_MAYMOVE | MREMAP_FIXED, code) == MAP_FAILED)
    munmap(copy, room);
}

// Of the program itself, which is the first one.
int move_code(dl_phdr_info *program, std::size_t, void *) {
  for (int k = 0; k < program->dlpi_phnum; ++k) {
    const ElfW(Phdr) &segment = program->dlpi_phdr[k];
    if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) move_segment(*program, segment);
  }
  return 1;
}

}  // namespace

void use_large_pages() { dl_iterate_phdr(move_code, nullptr); }

}  // namespace quillet
