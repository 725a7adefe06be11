#include "language/prepared_integers.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdlib>
#include <iterator>

#include "language/expression_arithmetic.h"

namespace quillet {

namespace {

// Every operand has 32 bits, and so have the sides of a product. With these limits no sum can reach 2^53, from where
// on doubles are not exact.
constexpr std::size_t most_steps = 128;
constexpr long long largest_product = 1LL << 45;

bool fits(long long number) { return number == static_cast<int>(number); }

}  // namespace

// What the step does with integers; `none` when it may give something else.
integer_program::action integer_program::action_of(const expression_step &of) {
  if (of.what == step_action::load) return action::load;
  struct row {
    operation meaning;
    action infix;
    action reversed;
  };
  constexpr row rows[] = {
      {operation::add, action::add, action::add},
      {operation::subtract, action::subtract, action::subtract_from},
      {operation::multiply, action::multiply, action::multiply},
      {operation::remainder, action::remainder, action::none},
      {operation::less, action::less, action::greater},
      {operation::greater, action::greater, action::less},
      {operation::less_or_equal, action::less_or_equal, action::greater_or_equal},
      {operation::greater_or_equal, action::greater_or_equal, action::less_or_equal},
      {operation::equal, action::equal, action::equal},
      {operation::not_equal, action::not_equal, action::not_equal},
      {operation::logical_and, action::logical_and, action::logical_and},
      {operation::logical_or, action::logical_or, action::logical_or},
      {operation::logical_not, action::logical_not, action::none},
  };
  const auto *const found =
      std::find_if(std::begin(rows), std::end(rows), [&](const row &each) { return each.meaning == of.meaning; });
  if (found == std::end(rows)) return action::none;
  return of.what == step_action::reversed_infix ? found->reversed : found->infix;
}

bool integer_program::add(const expression_step &added, std::span<const variable *const> shown) {
  const action what = action_of(added);
  step made{what, what == action::load || added.from == step_source::stack, 0, 0, nullptr, 0};
  if (made.what == action::none) return false;
  if (added.from == step_source::constant) {
    made.constant = truncate_to_int(added.constant);
    if (added.constant != made.constant) return false;
  } else if (added.from != step_source::stack) {
    const bool is_hole = added.from == step_source::hole;
    const variable *const named = is_hole ? shown[added.hole] : added.named;
    if (named == nullptr) return false;
    needed_.push_back({named, is_hole ? 0 : INT_MIN});
    made.operand = &named->integer();
  }
  // Torbjörn Granlund and Peter L. Montgomery, Division by Invariant Integers using Multiplication, 1994: signed
  // division rounded toward zero. The processor's own division takes four times as long.
  const int divisor = std::abs(std::max(made.constant, -INT_MAX));
  if (made.what == action::remainder && made.operand == nullptr && divisor > 1 && made.constant != INT_MIN) {
    made.what = action::remainder_by_constant;
    made.constant = divisor;
    made.shift = static_cast<std::uint8_t>(31 + std::bit_width(static_cast<unsigned>(divisor - 1)));
    made.multiplier = 1 + (1LL << made.shift) / divisor;
  }
  steps_.push_back(made);
  return true;
}

integer_program::integer_program(std::span<const expression_step> steps, std::span<const variable *const> shown) {
  const bool only_integers =
      steps.size() <= most_steps &&
      std::all_of(steps.begin(), steps.end(), [&](const auto &each) { return add(each, shown); });
  if (!only_integers) steps_.clear();
  for (step &each : steps_) {
    if (each.operand == nullptr) each.operand = &each.constant;
  }
}

// Whether the result is one that a double would be, too.
[[gnu::always_inline]] inline bool integer_program::apply(const step &next, long long &result, long long right) {
  switch (next.what) {
    case action::add:
      result += right;
      return true;
    case action::subtract:
      result -= right;
      return true;
    case action::subtract_from:
      result = right - result;
      return true;
    case action::less:
      result = result < right;
      return true;
    case action::greater:
      result = result > right;
      return true;
    case action::less_or_equal:
      result = result <= right;
      return true;
    case action::greater_or_equal:
      result = result >= right;
      return true;
    case action::equal:
      result = result == right;
      return true;
    case action::not_equal:
      result = result != right;
      return true;
    case action::remainder_by_constant:
      if (!fits(result)) return false;
      result -= ((result * next.multiplier >> next.shift) + (result < 0)) * right;
      return true;
    default:
      if (!fits(result) || !fits(right)) return false;
      result = apply_narrow(next.what, result, right);
      return result != none;
  }
}

// The same for sides of 32 bits; gives the result, or `none`.
long long integer_program::apply_narrow(action what, long long a, long long b) {
  switch (what) {
    case action::multiply: {
      // A double may be -0 here; nothing that these actions or their users do tells it from 0.
      const long long product = a * b;
      return product < largest_product && product > -largest_product ? product : none;
    }
    case action::remainder:
      return b == 0 || b == -1 ? 0 : static_cast<int>(a) % static_cast<int>(b);
    case action::logical_and:
      return a != 0 && b != 0;
    case action::logical_or:
      return a != 0 || b != 0;
    default:
      return a == 0;
  }
}

long long integer_program::compute() const {
  for (const needed &each : needed_) {
    if (!each.named->is_integer() || each.named->integer() < each.least) return none;
  }
  if (steps_.empty()) return none;
  static long long stack[deepest_expression_stack];  // not in the frame, which so needs no guard
  long long *top = stack;
  long long result = *steps_.front().operand;
  for (const step *at = steps_.data() + 1; at != steps_.data() + steps_.size(); ++at) {
    long long right = *at->operand;
    if (at->uses_stack) {
      if (at->what == action::load) {
        *top++ = result;
        result = right;
        continue;
      }
      right = result;
      result = *--top;
    }
    if (!apply(*at, result, right)) return none;
  }
  return result;
}

}  // namespace quillet
