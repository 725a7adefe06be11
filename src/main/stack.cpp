#include "main/stack.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <ucontext.h>

#include <cstddef>

namespace quillet {

namespace {

// What a process has by default. 999 levels that each read a macro file take 1.3 MB, with the sanitizers more.
constexpr std::size_t enough = std::size_t{8} << 20;
// Below it nothing can be written, as below the process's own.
constexpr std::size_t guard = std::size_t{64} << 10;

// A context starts a function without parameters or result.
struct stack_call {
  int (*function)();
  int result;
};
constinit stack_call current_call{};

void make_current_call() { current_call.result = current_call.function(); }

}  // namespace

int call_with_enough_stack(int (*function)()) {
  rlimit limit{};
  if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= enough) return function();
  constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK;
  void *const memory = mmap(nullptr, guard + enough, PROT_READ | PROT_WRITE, flags, -1, 0);
  if (memory == MAP_FAILED || mprotect(memory, guard, PROT_NONE) != 0) return function();
  ucontext_t before{};
  ucontext_t inside{};
  if (getcontext(&inside) != 0) return function();
  inside.uc_stack.ss_sp = static_cast<char *>(memory) + guard;
  inside.uc_stack.ss_size = enough;
  inside.uc_link = &before;
  makecontext(&inside, make_current_call, 0);
  current_call = {function, 0};
  return swapcontext(&before, &inside) == 0 ? current_call.result : function();
}

}  // namespace quillet
