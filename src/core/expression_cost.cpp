#include "core/expression_cost.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/text.h"

namespace quillet {

namespace {

// The C library recurses for every level of nesting, writes out every repetition, and takes time and memory that
// grow with the square or the cube of the choices in an expression. It may run forever or out of its stack, while it
// compiles or while it matches, where what may be nothing is repeated without an end, where a back reference is, and
// where the repetition of an assertion is.

// What is small: at most
constexpr long long small_atoms = 10000;
constexpr long long small_choices = 400;
constexpr std::size_t small_nesting = 100;
constexpr int small_fragile = 2;
// What is counted ends there, so that no product overflows.
constexpr long long most_counted = 1000000000;

struct weight {
  long long atoms = 0;          // single bytes to match, every repetition written out
  long long choices = 0;        // groups, alternatives, repetitions, assertions
  int fragile = 0;              // of an assertion: how often it is repeated, plus 1; of a back reference, plus 2
  bool nullable = true;         // may match nothing
  bool other_nullable = false;  // of a sequence: an alternative before it may

  void add(const weight &other) {
    atoms = std::min(atoms + other.atoms, most_counted);
    choices = std::min(choices + other.choices, most_counted);
    fragile = std::max(fragile, other.fragile);
    nullable = nullable && other.nullable;
  }
};

constexpr weight plain_atom = {1, 0, 0, false};
constexpr weight assertion = {1, 6, 1};
constexpr weight back_reference = {1, 6, 2};
constexpr long long endless = -1;

// Reads an expression from the left to the right.
class weigher {
 public:
  explicit weigher(std::string_view expression) : rest_(expression) {}

  expression_cost weigh() {
    while (!rest_.empty() && !is_unbounded_) take();
    while (!open_groups_.empty() && !is_unbounded_) close_group();
    next_atom({});
    if (is_unbounded_) return expression_cost::unbounded;
    return is_large_ ? expression_cost::large : expression_cost::small;
  }

 private:
  void take() {
    const char c = rest_.front();
    rest_.remove_prefix(1);
    switch (c) {
      case '\\':
        return take_escape();
      case '[':
        return take_bracket();
      case '(':
        return open_group();
      case ')':
        return open_groups_.empty() ? next_atom(plain_atom) : close_group();
      case '|':
        return next_alternative();
      case '*':
        return repeat(0, endless);
      case '+':
        return repeat(1, endless);
      case '?':
        return repeat(0, 1);
      case '{':
        return take_interval();
      case '^':
      case '$':
        return next_atom(assertion);
      default:
        return next_atom(plain_atom);
    }
  }

  void take_escape() {
    constexpr std::string_view assertions = "bB<>`'";
    const char escaped = rest_.empty() ? '\0' : rest_.front();
    if (!rest_.empty()) rest_.remove_prefix(1);
    if (escaped >= '1' && escaped <= '9') return next_atom(back_reference);
    next_atom(escaped != '\0' && assertions.find(escaped) != std::string_view::npos ? assertion : plain_atom);
  }

  // A set of bytes: "]" means itself at its front, and after "[:", "[." and "[=" until their end.
  void take_bracket() {
    if (rest_.starts_with('^')) rest_.remove_prefix(1);
    if (rest_.starts_with(']')) rest_.remove_prefix(1);
    while (!rest_.empty() && rest_.front() != ']') {
      if (rest_.starts_with("[:") || rest_.starts_with("[.") || rest_.starts_with("[=")) {
        const char end[] = {rest_[1], ']'};
        const std::size_t at = rest_.find(std::string_view(end, 2), 2);
        if (at != std::string_view::npos) rest_.remove_prefix(at + 1);
      }
      rest_.remove_prefix(1);
    }
    if (!rest_.empty()) rest_.remove_prefix(1);
    next_atom(plain_atom);
  }

  void open_group() {
    next_atom({});
    open_groups_.push_back(std::exchange(sequence_, {}));
    is_large_ |= open_groups_.size() > small_nesting;
  }

  void next_alternative() {
    next_atom({0, 1});
    sequence_.other_nullable |= sequence_.nullable;
    sequence_.nullable = true;
  }

  void close_group() {
    next_atom({});
    last_ = sequence_;
    last_.choices += 1;
    last_.nullable |= last_.other_nullable;
    sequence_ = open_groups_.back();
    open_groups_.pop_back();
  }

  // "{m}", "{m,}", "{,n}" or "{m,n}"; anything else is a brace.
  void take_interval() {
    std::string_view interval = rest_;
    const long long least = take_number(interval, 0);
    long long most = least;
    if (interval.starts_with(',')) {
      interval.remove_prefix(1);
      most = take_number(interval, endless);
    }
    if (!interval.starts_with('}')) return next_atom(plain_atom);
    rest_ = interval.substr(1);
    repeat(least, most);
  }

  static long long take_number(std::string_view &digits, long long none) {
    long long number = none;
    for (; !digits.empty() && is_digit(digits.front()); digits.remove_prefix(1)) {
      number = std::min(std::max(number, 0LL) * 10 + (digits.front() - '0'), most_counted);
    }
    return number;
  }

  // The C library writes out `most` copies, or, without an end, `least` and one that repeats.
  void repeat(long long least, long long most) {
    const bool is_endless = most == endless;
    const long long copies = is_endless ? least + 1 : std::max(most, 1LL);
    last_.atoms = std::min(last_.atoms * copies, most_counted);
    last_.choices = std::min(last_.choices * copies, most_counted);
    if (last_.fragile > 0 && (is_endless || copies > 1)) ++last_.fragile;
    if (!is_endless) {
      last_.choices += std::max(most - least, 0LL);
    } else if (!last_.nullable) {
      last_.choices += 3;
    } else {
      last_.choices += 20;
      last_.fragile = small_fragile + 1;
    }
    last_.nullable |= least == 0;
    check(last_);
  }

  void next_atom(const weight &atom) {
    sequence_.add(last_);
    last_ = atom;
    check(sequence_);
  }

  void check(const weight &part) {
    is_large_ |= part.atoms > small_atoms || part.choices > small_choices;
    is_unbounded_ |= part.fragile > small_fragile;
  }

  std::string_view rest_;
  std::vector<weight> open_groups_;  // what is before each open group, in the group around it
  weight sequence_;                  // what is before the last atom in its group
  weight last_;                      // the last atom
  bool is_large_ = false;
  bool is_unbounded_ = false;
};

}  // namespace

expression_cost estimate_cost(std::string_view expression) { return weigher(expression).weigh(); }

}  // namespace quillet
