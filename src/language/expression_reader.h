// How expressions are read: the rules of their form, for a machine that works with what is read.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/text.h"
#include "language/expression.h"
#include "language/expression_operations.h"
#include "language/number_reading.h"

namespace quillet {

[[nodiscard]] constexpr bool is_name_start(char c) { return is_letter(c) || c == '_' || c == ':'; }

inline constexpr std::array<bool, 256> expression_name_bytes = [] {
  std::array<bool, 256> belongs{};
  for (std::size_t i = 0; i < belongs.size(); ++i) {
    const char c = static_cast<char>(i);
    belongs[i] = is_name_start(c) || is_digit(c);
  }
  return belongs;
}();

[[nodiscard]] inline bool is_name_byte(char c) { return expression_name_bytes[static_cast<unsigned char>(c)]; }

// One pass over an expression. Nested levels are kept on a stack of their own, so that no depth of
// parentheses or prefix operators is too deep.
//
// The machine has a type `value`, which is 0 when it is made, and
//   value number(double number, std::string_view read)                     of the bytes that were read
//   expression_status name(std::string_view name, value &value)            of a variable or table item
//   value infix(operation meaning, const value &x, const value &y)
//   value prefix(operation meaning, const value &x)
//   void replaced()                                                        the value that was there is dropped
template <class machine>
class expression_reader {
 public:
  using value = typename machine::value;
  struct reading {
    value result;
    expression_status status;
    std::string_view rest;  // after a failure, what follows the token at which it was found
  };

  expression_reader(std::string_view expression, machine &to) : rest_(expression), machine_(to) {}

  reading run() {
    while (status_ == expression_status::ok) {
      if (level_.end == ending::operand && level_.has_value) {
        leave_level();
      } else if (rest_.empty()) {
        if (end_of_text()) return {total(), status_, {}};
      } else {
        step();
      }
    }
    return {value(), status_, rest_};
  }

 private:
  // What ends a level.
  enum class ending : std::uint8_t {
    text_end,     // the expression itself
    parenthesis,  // a group
    operand,      // a single operand: the first value
  };

  // One level of nesting: the expression, a group, or the single operand of an operator.
  struct level {
    ending end;
    bool has_value;
    bool value_read;                     // some value was read here; then "+" and "-" are no signs
    const expression_token *pending;     // the infix operator that waits for its right side
    const expression_token *operand_of;  // for a single operand, the operator that it belongs to
    value left;                          // the left side of `pending`
    value current;
  };

  // The levels around the current one. A few of them, as expressions have, need no heap.
  class outer_levels {
   public:
    void push(const level &outer) {
      if (count_ < near_.size()) {
        near_[count_] = outer;
      } else {
        far_.push_back(outer);
      }
      ++count_;
    }
    level pop() {
      if (--count_ < near_.size()) return near_[count_];
      const level outer = far_.back();
      far_.pop_back();
      return outer;
    }

   private:
    std::size_t count_ = 0;
    std::array<level, 8> near_;  // the first `count_` mean something
    std::vector<level> far_;
  };

  // Whether the expression is complete.
  bool end_of_text() {
    if (level_.end == ending::parenthesis) {
      status_ = expression_status::missing_parenthesis;
    } else if (level_.end == ending::operand || lacks_operand()) {
      status_ = expression_status::syntax_error;
    }
    return status_ == expression_status::ok;
  }

  // Reads the next token.
  void step() {
    const char c = rest_.front();
    if (c == ')' && level_.end == ending::parenthesis) {
      close_group();
    } else if (c == '(') {
      rest_.remove_prefix(1);
      if (level_.has_value) return fail(expression_status::syntax_error);
      enter_level(ending::parenthesis, nullptr);
    } else if (!step_over_number()) {
      if (const expression_token *found = find_expression_token(rest_); found != nullptr) {
        rest_.remove_prefix(found->spelling.size());
        take_operator(*found);
      } else {
        step_over_name();
      }
    }
  }

  void close_group() {
    if (lacks_operand()) return fail(expression_status::syntax_error);
    rest_.remove_prefix(1);
    leave_level();
  }

  bool step_over_number() {
    const char c = rest_.front();
    // Deliberate: a sign belongs to a number only while no value was read at this level.
    const bool sign = c == '+' || c == '-';
    if (!is_digit(c) && c != '.' && !(sign && !level_.value_read)) return false;
    const number_reading number = read_number(rest_);
    if (number.length == 0) return false;
    const value read = machine_.number(number.value, rest_.substr(0, number.length));
    rest_.remove_prefix(number.length);
    // Deliberate: it replaces a value that is there already, so that `0.5`, read as `0` and `.5`, is 0.5.
    take_value(read);
    return true;
  }

  void step_over_name() {
    if (!is_name_start(rest_.front())) {
      rest_.remove_prefix(1);
      return fail(expression_status::syntax_error);
    }
    std::size_t length = 1;
    while (length < rest_.size() && is_name_byte(rest_[length])) ++length;
    value read{};
    const expression_status status = machine_.name(rest_.substr(0, length), read);
    rest_.remove_prefix(length);
    if (status != expression_status::ok) return fail(status);
    take_value(read);
  }

  // Deliberate: there is one place for an operator that waits. An operator that binds tighter than the
  // waiting one takes the value before it and the single operand after it at once, so that
  // `1<2+3*4` is `1<((2+3)*4)`.
  void take_operator(const expression_token &found) {
    if (found.precedence == prefix_operator) return enter_level(ending::operand, &found);
    if (!level_.has_value) return fail(expression_status::syntax_error);
    if (level_.pending != nullptr && level_.pending->precedence < found.precedence) {
      return enter_level(ending::operand, &found);
    }
    level_.left = total();
    level_.pending = &found;
    level_.has_value = false;
  }

  void take_value(const value &read) {
    if (level_.has_value) machine_.replaced();
    set_value(read);
  }
  void set_value(const value &result) {
    level_.current = result;
    level_.has_value = level_.value_read = true;
  }

  void enter_level(ending end, const expression_token *operand_of) {
    outer_.push(level_);
    level_ = {};
    level_.end = end;
    level_.operand_of = operand_of;
  }

  // Hands the level's result to the one around it.
  void leave_level() {
    const expression_token *operand_of = level_.operand_of;
    const value result = total();
    level_ = outer_.pop();
    if (operand_of == nullptr) {
      take_value(result);
    } else if (operand_of->precedence == prefix_operator) {
      take_value(machine_.prefix(operand_of->meaning, result));
    } else {
      set_value(machine_.infix(operand_of->meaning, level_.current, result));
    }
  }

  [[nodiscard]] bool lacks_operand() const { return level_.pending != nullptr && !level_.has_value; }

  // What the level has come to; 0 when it is empty.
  [[nodiscard]] value total() {
    return level_.pending == nullptr ? level_.current
                                     : machine_.infix(level_.pending->meaning, level_.left, level_.current);
  }

  void fail(expression_status status) { status_ = status; }

  std::string_view rest_;
  machine &machine_;
  expression_status status_ = expression_status::ok;
  level level_{};
  outer_levels outer_;
};

}  // namespace quillet
