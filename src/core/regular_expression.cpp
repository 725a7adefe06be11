#include "core/regular_expression.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace quillet {

namespace {

// --- what an expression costs ---
// The C library compiles whatever it is given: it recurses for every level of nesting, writes out every
// repetition, and takes time and memory that grow with the square or the cube of the choices in it. Where
// an assertion, a back reference or the endless repetition of what may be nothing is repeated twice more,
// it runs forever or out of its stack. An expression may hold a visitor's bytes all the same, so this cost
// is estimated first. What matching costs is not: back references can make it exponential.

struct weight {
  long long atoms = 0;          // single bytes to match, every repetition written out
  long long choices = 0;        // groups, alternatives, repetitions, assertions
  int fragile = 0;              // how often something is repeated that must not be repeated too often, plus 1
  bool nullable = true;         // may match nothing
  bool other_nullable = false;  // of a sequence: an alternative before it may

  void add(const weight &other) {
    atoms += other.atoms;
    choices += other.choices;
    fragile = std::max(fragile, other.fragile);
    nullable = nullable && other.nullable;
  }
};

constexpr long long max_atoms = 100000;
constexpr long long max_choices = 3000;
constexpr int max_fragile = 2;
constexpr std::size_t max_nesting = 3000;

constexpr weight plain_atom = {1, 0, 0, false};
constexpr weight assertion = {1, 6, 1};
constexpr long long endless = -1;

// Estimates an expression from the left to the right. It takes every text for an expression; whether
// it is one is for the C library to say.
class weigher {
 public:
  explicit weigher(std::string_view expression) : rest_(expression) {}

  bool is_too_heavy() {
    while (!rest_.empty() && !too_heavy_) take();
    while (!open_groups_.empty() && !too_heavy_) close_group();
    next_atom({});
    return too_heavy_;
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
    constexpr std::string_view fragile_escapes = "bB<>`'123456789";
    const bool fragile = !rest_.empty() && fragile_escapes.find(rest_.front()) != std::string_view::npos;
    if (!rest_.empty()) rest_.remove_prefix(1);
    next_atom(fragile ? assertion : plain_atom);
  }

  // A set of bytes: "]" stands for itself at its front, and behind "[:", "[." and "[=" until their end.
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
    too_heavy_ |= open_groups_.size() > max_nesting;
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
      number = std::min(std::max(number, 0LL) * 10 + (digits.front() - '0'), 2 * max_atoms);
    }
    return number;
  }

  // The C library writes out `most` copies, or, without an end, `least` and one that repeats.
  void repeat(long long least, long long most) {
    const bool is_endless = most == endless;
    const long long copies = is_endless ? least + 1 : std::max(most, 1LL);
    last_.atoms *= copies;
    last_.choices *= copies;
    if (last_.fragile > 0 && (is_endless || copies > 1)) ++last_.fragile;
    if (!is_endless) {
      last_.choices += std::max(most - least, 0LL);
    } else if (!last_.nullable) {
      last_.choices += 3;
    } else {
      last_.choices += 20;
      last_.fragile = std::max(last_.fragile, 1);
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
    too_heavy_ |= part.atoms > max_atoms || part.choices > max_choices || part.fragile > max_fragile;
  }

  std::string_view rest_;
  std::vector<weight> open_groups_;  // what stands before each open group, in the group around it
  weight sequence_;                  // what stands before the last atom in its group
  weight last_;                      // the last atom
  bool too_heavy_ = false;
};

// --- the expressions used last ---

struct kept_expression {
  text source;
  int flags = 0;
  std::shared_ptr<const regular_expression> compiled;
};

constexpr std::size_t kept_count = 8;
kept_expression kept_expressions[kept_count];
std::size_t next_kept = 0;

}  // namespace

regular_expression::regular_expression(std::string_view expression, int flags) {
  if (expression.empty()) {
    error_ = REG_BADPAT;
  } else if (weigher(expression).is_too_heavy()) {
    error_ = REG_ESPACE;
  } else {
    error_ = regcomp(&compiled_, text(expression).c_str(), REG_EXTENDED | flags);
  }
}

regular_expression::~regular_expression() {
  if (error_ == 0) regfree(&compiled_);
}

int regular_expression::match(std::string_view subject, std::size_t start, std::span<regmatch_t> pieces) const {
  // REG_STARTEND: the C library need not look for the end of the subject.
  pieces[0].rm_so = static_cast<regoff_t>(start);
  pieces[0].rm_eo = static_cast<regoff_t>(subject.size());
  return regexec(&compiled_, subject.data(), pieces.size(), pieces.data(), REG_STARTEND);
}

void regular_expression::append_error(int error, text &out) const {
  char message[1024];
  regerror(error, &compiled_, message, sizeof message);
  out.append("[regex error: ");
  out.append(message);
  out.append(']');
}

std::shared_ptr<const regular_expression> compile_expression(std::string_view expression, int flags) {
  for (const kept_expression &kept : kept_expressions) {
    if (kept.compiled && kept.flags == flags && kept.source.view() == expression) return kept.compiled;
  }
  kept_expression &kept = kept_expressions[next_kept++ % kept_count];
  kept = {text(expression), flags, std::make_shared<regular_expression>(expression, flags)};
  return kept.compiled;
}

}  // namespace quillet
