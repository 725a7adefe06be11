#include "core/position_automaton.h"

#include <vector>

#include "core/byte_set.h"

namespace quillet {

namespace {

constexpr position_set bit(std::size_t position) { return position_set{1} << position; }

// Reads an expression from the left to the right and connects its positions.
class automaton_reader {
 public:
  explicit automaton_reader(std::string_view expression) : rest_(expression) {}

  // False when it is none of the expressions that an automaton is made for.
  bool read(position_automaton &automaton) {
    const part whole = read_alternatives();
    if (failed_ || !rest_.empty() || whole.nullable) return false;
    made_.first = whole.first;
    made_.last = whole.last;
    for (std::size_t i = 0; i < made_.count; ++i) {
      for_each_position(made_.after[i], [&](std::size_t next) { made_.before[next] |= bit(i); });
    }
    made_.groups_are_certain = groups_are_simple_;
    automaton = made_;
    return true;
  }

 private:
  // What has been read of the expression, connected inside.
  struct part {
    position_set first = 0;
    position_set last = 0;
    bool nullable = true;
  };

  part read_alternatives() {
    part all = read_sequence();
    while (!failed_ && rest_.starts_with('|')) {
      rest_.remove_prefix(1);
      const part one = read_sequence();
      all = {all.first | one.first, all.last | one.last, all.nullable || one.nullable};
    }
    return all;
  }

  part read_sequence() {
    part sequence = read_repeated();
    while (!failed_ && !rest_.empty() && rest_.front() != '|' && rest_.front() != ')') {
      const part next = read_repeated();
      connect(sequence.last, next.first);
      if (sequence.nullable) sequence.first |= next.first;
      sequence.last = next.nullable ? sequence.last | next.last : next.last;
      sequence.nullable = sequence.nullable && next.nullable;
    }
    return sequence;
  }

  part read_repeated() {
    const std::size_t groups_before = made_.group_count;
    part atom = read_atom();
    if (failed_ || rest_.empty()) return atom;
    const char sign = rest_.front();
    if (sign != '*' && sign != '+' && sign != '?') return atom;
    rest_.remove_prefix(1);
    if (sign != '?') {
      connect(atom.last, atom.first);
      groups_are_simple_ = groups_are_simple_ && made_.group_count == groups_before;
    }
    atom.nullable = atom.nullable || sign != '+';
    return atom;
  }

  part read_atom() {
    if (rest_.empty()) return fail();
    const char c = rest_.front();
    rest_.remove_prefix(1);
    if (c == '(') return read_group();
    byte_set set;
    if (c == '[') {
      const std::optional<byte_set> bytes = take_byte_set(rest_);
      if (!bytes) return fail();
      set = *bytes;
    } else if (c == '.') {
      set.set();
    } else if (c == '\\') {
      constexpr std::string_view escaped = ".[]()|*+?{}^$\\/-,:;=\"#%&!@~_";
      if (rest_.empty() || escaped.find(rest_.front()) == std::string_view::npos) return fail();
      set.set(static_cast<unsigned char>(rest_.front()));
      rest_.remove_prefix(1);
    } else {
      constexpr std::string_view special = "|)*+?{^$";
      if (special.find(c) != std::string_view::npos) return fail();
      set.set(static_cast<unsigned char>(c));
    }
    return add_position(set);
  }

  part read_group() {
    if (made_.group_count == max_groups) return fail();
    const std::size_t number = made_.group_count++;
    const std::size_t begin = made_.count;
    const part inside = read_alternatives();
    if (failed_ || !rest_.starts_with(')')) return fail();
    rest_.remove_prefix(1);
    for (std::size_t position = begin; position < made_.count; ++position) made_.groups_around[position] |= bit(number);
    groups_are_simple_ = groups_are_simple_ && !inside.nullable;
    return inside;
  }

  part add_position(const byte_set &set) {
    if (made_.count == max_positions) return fail();
    const position_set position = bit(made_.count++);
    for (std::size_t byte = 0; byte < set.size(); ++byte) {
      if (set[byte]) made_.taking[byte] |= position;
    }
    return {position, position, false};
  }

  void connect(position_set from, position_set to) {
    for_each_position(from, [&](std::size_t position) { made_.after[position] |= to; });
  }

  part fail() {
    failed_ = true;
    return {};
  }

  std::string_view rest_;
  position_automaton made_;
  bool groups_are_simple_ = true;
  bool failed_ = false;
};

// Looks for two different ways to go through the positions by the same bytes, from the same beginning to the same
// end: all pairs of positions that can be reached together, and among them those that can end together.
class ambiguity_search {
 public:
  explicit ambiguity_search(const position_automaton &automaton) : automaton_(automaton) {
    for (const position_set taking : automaton.taking) {
      for_each_position(taking, [&](std::size_t position) { sharing_[position] |= taking; });
    }
  }

  bool finds_one() {
    reach(automaton_.first, automaton_.first);
    while (!pending_.empty()) {
      const auto [one, other] = pending_.back();
      pending_.pop_back();
      reach(automaton_.after[one], automaton_.after[other]);
    }
    // Backwards from the pairs that are one position or may both be last.
    for (std::size_t one = 0; one < automaton_.count; ++one) {
      const position_set together = bit(one) | ((automaton_.last & bit(one)) != 0 ? automaton_.last : 0);
      for_each_position(together & reached_[one], [&](std::size_t other) { pending_.push_back({one, other}); });
      ending_[one] = together & reached_[one];
      if ((ending_[one] & ~bit(one)) != 0) return true;
    }
    while (!pending_.empty()) {
      const auto [one, other] = pending_.back();
      pending_.pop_back();
      if (step_back(one, other)) return true;
    }
    return false;
  }

 private:
  struct pair {
    std::size_t one;
    std::size_t other;
  };

  void reach(position_set ones, position_set others) {
    for_each_position(ones, [&](std::size_t one) {
      const position_set fresh = others & sharing_[one] & ~reached_[one];
      reached_[one] |= fresh;
      for_each_position(fresh, [&](std::size_t other) { pending_.push_back({one, other}); });
    });
  }

  // Whether two different positions lead to the pair.
  bool step_back(std::size_t one, std::size_t other) {
    bool differ = false;
    for_each_position(automaton_.before[one], [&](std::size_t earlier) {
      const position_set fresh = automaton_.before[other] & reached_[earlier] & ~ending_[earlier];
      ending_[earlier] |= fresh;
      differ |= (fresh & ~bit(earlier)) != 0;
      for_each_position(fresh, [&](std::size_t other_earlier) { pending_.push_back({earlier, other_earlier}); });
    });
    return differ;
  }

  const position_automaton &automaton_;
  std::array<position_set, max_positions> sharing_{};  // the positions that take a byte which each position takes
  std::array<position_set, max_positions> reached_{};
  std::array<position_set, max_positions> ending_{};
  std::vector<pair> pending_;
};

}  // namespace

std::optional<position_automaton> read_automaton(std::string_view expression) {
  position_automaton automaton;
  if (!automaton_reader(expression).read(automaton)) return {};
  if (automaton.groups_are_certain && automaton.group_count > 0) {
    automaton.groups_are_certain = !ambiguity_search(automaton).finds_one();
  }
  return automaton;
}

}  // namespace quillet
