// Expressions: infix arithmetic over double-precision numbers, variables and table items.
//
//   infix operators, tightest first    * / %    + -    << >>    < > <= >= == !=    &    ^ |    &&    ||
//   prefix operators and functions     ! ~ round floor ceiling abs sqrt sign
//
// A group is in parentheses. How operators of different precedence combine is described at `take_operator`
// in expression_reader.h.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/text.h"

namespace quillet {

// A longer name of a variable or table item is a bad one.
constexpr std::size_t longest_expression_name = 127;

enum class expression_status { ok, syntax_error, missing_parenthesis, string_value, bad_name };

struct expression_result {
  double value;  // 0 after a failure
  expression_status status;
  std::string_view rest;  // after a failure, the text after the token at which it was found
};

// The value of an expression. White space has no meaning here: see `without_white_space`.
[[nodiscard]] expression_result evaluate_expression(std::string_view expression);

// The value of a variable or table item in an expression.
[[nodiscard]] expression_status read_expression_name(std::string_view name, double &value);

// The expression as it is read: without white space, so that `1 2` is 12 and `a b` the name `ab`. A
// view of `source` when there is none to remove, otherwise of `storage`.
[[nodiscard]] std::string_view without_white_space(std::string_view source, text &storage);

// The value of an expression that may hold white space; on failure its error text is appended instead, and false
// given.
[[nodiscard]] bool compute_expression(std::string_view operator_name, std::string_view expression, double &value,
                                      text &out);

// Appends "[" operator name ": " message " near '" rest "']".
//
// Syntax error
// Missing ')'
// Variable has string value
// Bad variable or table item name
void append_expression_error(text &out, std::string_view operator_name, const expression_result &failure);

}  // namespace quillet
