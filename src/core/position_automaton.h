// An everyday regular expression as an automaton whose states are its positions, one for each byte or set of bytes
// that it is written with (V. M. Glushkov, "The abstract theory of automata", 1961).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quillet {

constexpr std::size_t max_positions = 64;
constexpr std::size_t max_groups = 64;

// Bit n is position n.
using position_set = std::uint64_t;

// Calls `use` with the number of each position in the set.
template <typename Use>
void for_each_position(position_set set, Use use) {
  for (; set != 0; set &= set - 1) use(static_cast<std::size_t>(__builtin_ctzll(set)));
}

struct position_automaton {
  position_set first = 0;                            // where a match may begin
  position_set last = 0;                             // where it may end
  std::array<position_set, max_positions> after{};   // what may follow each position
  std::array<position_set, max_positions> before{};  // what each position may follow
  std::array<position_set, 256> taking{};            // the positions that take each byte
  std::size_t count = 0;

  // The parenthesized groups, numbered by their opening parentheses.
  std::size_t group_count = 0;
  std::array<std::uint64_t, max_positions> groups_around{};  // bit n: the position is inside group n
  // Whether the positions that a match goes through tell where each group is: no group is repeated or may be
  // nothing, and each match goes through its positions in one way only.
  bool groups_are_certain = false;
};

// The automaton of an expression of at most 64 positions and 64 groups made of bytes, ".", sets, groups, "|", "*", "+"
// and "?" that does not match nothing. No automaton for any other expression, a wrong one included.
[[nodiscard]] std::optional<position_automaton> read_automaton(std::string_view expression);

}  // namespace quillet
