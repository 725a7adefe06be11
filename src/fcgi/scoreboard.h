// What the server and its processes tell each other, in memory that they share.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace quillet {

enum class process_state : int { none, idle, busy, ended };

constexpr std::size_t address_size = 160;

struct process_score {
  std::atomic<process_state> state;
  std::atomic<std::int64_t> since;  // when the state began, in milliseconds of the monotonic clock
  std::atomic<std::uint64_t> served;
  char address[address_size];  // of the request that is running, cut, without control bytes; read while it may change
};

struct scoreboard {
  std::atomic<int> idle;               // processes that wait for a request
  std::atomic<int> waiting;            // requests that the server holds for the next process
  std::atomic<std::uint64_t> served;   // requests that were answered
  std::atomic<std::uint64_t> failed;   // of those, the ones that ended with another status than 0
  std::atomic<std::uint64_t> refused;  // requests that got status 503
  std::atomic<std::uint64_t> died;     // requests whose process died
  std::span<process_score> processes;
};

// One that the process shares with its children, with room for so many processes; null without memory.
[[nodiscard]] scoreboard *make_scoreboard(int processes);

[[nodiscard]] std::int64_t milliseconds_now();

}  // namespace quillet
