#include "core/linear_matcher.h"

#include <algorithm>

namespace quillet {

namespace {

constexpr std::uint16_t unknown = 0xFFFF;
constexpr std::size_t most_states = 4096;

}  // namespace

linear_matcher::linear_matcher(const position_automaton &automaton) : automaton_(automaton) {
  for (std::size_t byte = 0; byte < 256; ++byte) {
    const auto found = std::find(taking_.begin(), taking_.end(), automaton_.taking[byte]);
    kinds_[byte] = static_cast<std::uint8_t>(found - taking_.begin());
    if (found == taking_.end()) taking_.push_back(automaton_.taking[byte]);
  }
  number_of(0);
}

std::uint16_t linear_matcher::number_of(position_set set) {
  const auto [place, is_new] = numbers_.try_emplace(set, static_cast<std::uint16_t>(sets_.size()));
  if (is_new) {
    sets_.push_back(set);
    earlier_.resize(sets_.size() * taking_.size(), unknown);
  }
  return place->second;
}

// The positions that can take a byte of this kind and then either end the match or go on into the state.
std::uint16_t linear_matcher::state_before(std::uint16_t state, std::uint8_t byte_kind) {
  position_set set = automaton_.last;
  for_each_position(sets_[state], [&](std::size_t position) { set |= automaton_.before[position]; });
  const std::uint16_t number = number_of(set & taking_[byte_kind]);
  earlier_[state * taking_.size() + byte_kind] = number;
  return number;
}

bool linear_matcher::mark(std::string_view subject, mark_list &marks) {
  marks.resize(subject.size() + 1);
  std::uint16_t *const out = marks.data();
  const std::size_t kinds = taking_.size();
  const std::uint16_t *earlier = earlier_.data();
  std::uint16_t state = 0;
  out[subject.size()] = state;
  for (std::size_t i = subject.size(); i-- > 0;) {
    const std::uint8_t kind = kinds_[static_cast<unsigned char>(subject[i])];
    const std::uint16_t known = earlier[state * kinds + kind];
    if (known != unknown) {
      state = known;
    } else {
      state = state_before(state, kind);
      if (sets_.size() > most_states) return false;
      earlier = earlier_.data();
    }
    out[i] = state;
  }
  return true;
}

position_set linear_matcher::after(position_set set) const {
  position_set all = 0;
  for_each_position(set, [&](std::size_t position) { all |= automaton_.after[position]; });
  return all;
}

bool linear_matcher::find(const mark_list &marks, std::size_t offset, regmatch_t &whole) const {
  const std::size_t end = marks.size() - 1;
  const position_set *const sets = sets_.data();
  const position_set first = automaton_.first;
  while (offset < end && (sets[marks[offset]] & first) == 0) ++offset;
  if (offset == end) return false;
  whole.rm_so = static_cast<regoff_t>(offset);
  position_set going = sets_[marks[offset]] & automaton_.first;
  while (going != 0) {
    ++offset;
    if ((going & automaton_.last) != 0) whole.rm_eo = static_cast<regoff_t>(offset);
    going = after(going) & sets_[marks[offset]];
  }
  return true;
}

void linear_matcher::find_groups(const mark_list &marks, const regmatch_t &whole, std::span<regmatch_t> groups,
                                 std::vector<position_set> &scratch) const {
  // The positions that the match may be at after each byte; from its end backwards just one of them.
  const auto start = static_cast<std::size_t>(whole.rm_so);
  scratch.resize(static_cast<std::size_t>(whole.rm_eo) - start);
  position_set next = automaton_.first;
  for (std::size_t i = 0; i < scratch.size(); ++i) {
    scratch[i] = next & sets_[marks[start + i]];
    next = after(scratch[i]);
  }
  std::uint64_t inside = 0;
  const auto move_to = [&](std::size_t place, std::uint64_t around) {
    const auto here = static_cast<regoff_t>(place);
    for_each_position(inside & ~around, [&](std::size_t group) { groups[group].rm_so = here; });
    for_each_position(around & ~inside, [&](std::size_t group) { groups[group].rm_eo = here; });
    inside = around;
  };
  position_set earlier = automaton_.last;
  for (std::size_t i = scratch.size(); i-- > 0;) {
    const auto position = static_cast<std::size_t>(__builtin_ctzll(scratch[i] & earlier));
    earlier = automaton_.before[position];
    if (automaton_.groups_around[position] != inside) move_to(start + i + 1, automaton_.groups_around[position]);
  }
  move_to(start, 0);
}

}  // namespace quillet
