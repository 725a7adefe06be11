// The variable store: the page's variables, from the start of the run to its end.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/text.h"

namespace quillet {

// A variable's name and, while it exists, its text. What the text is as a number is kept with it; a
// variable that was set to an integer makes its text when somebody asks for it.
class variable {
 public:
  explicit variable(std::string_view name) : name_(name) {}

  [[nodiscard]] std::string_view name() const { return name_; }
  [[nodiscard]] bool exists() const { return holds_ != holding::nothing; }
  // Its text; a view without data when it does not exist. It lives until the variable is set again.
  [[nodiscard]] std::string_view value() {
    if (holds_ == holding::integer) print_integer();
    return exists() ? value_.view() : std::string_view();
  }

  // Null removes the variable.
  void set(text value);
  // A copy of the bytes; none removes the variable.
  void assign(std::string_view bytes);
  // The decimal digits of the number.
  void assign_integer(int number) {
    integer_ = number;
    holds_ = holding::integer;
  }
  // In place; a variable that does not exist is made, unless there is nothing to append.
  void append(std::string_view bytes);
  void remove();

  // Whether the text is known to have the digits of an integer, and which one.
  [[nodiscard]] bool is_integer() const { return holds_ >= holding::integer; }
  [[nodiscard]] const int &integer() const { return integer_; }
  // The number that the text reads as, if `keep_number` has said it of this text, or it is an integer.
  [[nodiscard]] bool knows_number() const { return holds_ >= holding::text_and_number; }
  [[nodiscard]] double number() const { return is_integer() ? integer_ : number_; }
  // Also says that the text is an integer, when it has the digits of one.
  void keep_number(double number);

 private:
  // In one byte, so that a loop that counts writes little.
  enum class holding : std::uint8_t { nothing, text, text_and_number, integer, integer_and_text };

  void print_integer();

  text name_;
  text value_;
  double number_ = 0;
  int integer_ = 0;
  holding holds_ = holding::nothing;
};

// The variable of that name, case-sensitive; null when it was never set.
[[nodiscard]] variable *find_variable(std::string_view name);
// The same, made when it is not there. It stays in its place until `forget_variables`.
[[nodiscard]] variable &variable_named(std::string_view name);
// Removes all of them; nobody may keep one.
void forget_variables();

// The same by name: what is said at the members of `variable`.
[[nodiscard]] std::string_view variable_get(std::string_view name);
void variable_set(std::string_view name, text value);
void variable_assign(std::string_view name, std::string_view bytes);
void variable_append(std::string_view name, std::string_view bytes);

}  // namespace quillet
