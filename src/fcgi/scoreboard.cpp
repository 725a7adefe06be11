#include "fcgi/scoreboard.h"

#include <sys/mman.h>

#include <ctime>
#include <new>

namespace quillet {

scoreboard *make_scoreboard(int processes) {
  const auto count = static_cast<std::size_t>(processes);
  const std::size_t size = sizeof(scoreboard) + count * sizeof(process_score);
  void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  auto *const board = new (memory) scoreboard{};
  board->processes = {new (board + 1) process_score[count]{}, count};
  return board;
}

std::int64_t milliseconds_now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * std::int64_t{1000} + now.tv_nsec / 1000000;
}

}  // namespace quillet
