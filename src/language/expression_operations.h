// The operators and functions of expressions: how they are written, how tightly they bind.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace quillet {

enum class operation : std::uint8_t {
  multiply,
  divide,
  remainder,
  add,
  subtract,
  shift_left,
  shift_right,
  less,
  greater,
  less_or_equal,
  greater_or_equal,
  equal,
  not_equal,
  bit_and,
  bit_xor,
  bit_or,
  logical_and,
  logical_or,
  logical_not,
  complement,
  round,
  floor,
  ceiling,
  absolute,
  square_root,
  sign,
};

struct expression_token {
  std::string_view spelling;
  operation meaning;
  int precedence;  // of an infix operator; the higher, the tighter it binds
};

constexpr int prefix_operator = 0;  // in place of the precedence

// Tokens with the same first byte are adjacent, the longer ones first.
// Deliberate: a function is recognized at the front of a longer word, so that `roundup` is the
// function and the name `up`.
inline constexpr expression_token expression_tokens[] = {
    {"*", operation::multiply, 9},
    {"/", operation::divide, 9},
    {"%", operation::remainder, 9},
    {"+", operation::add, 8},
    {"-", operation::subtract, 8},
    {"<<", operation::shift_left, 7},
    {"<=", operation::less_or_equal, 6},
    {"<", operation::less, 6},
    {">>", operation::shift_right, 7},
    {">=", operation::greater_or_equal, 6},
    {">", operation::greater, 6},
    {"==", operation::equal, 6},
    {"!=", operation::not_equal, 6},
    {"!", operation::logical_not, prefix_operator},
    {"&&", operation::logical_and, 3},
    {"&", operation::bit_and, 5},
    {"^", operation::bit_xor, 4},
    {"||", operation::logical_or, 2},
    {"|", operation::bit_or, 4},
    {"~", operation::complement, prefix_operator},
    {"round", operation::round, prefix_operator},
    {"floor", operation::floor, prefix_operator},
    {"ceiling", operation::ceiling, prefix_operator},
    {"abs", operation::absolute, prefix_operator},
    {"sqrt", operation::square_root, prefix_operator},
    {"sign", operation::sign, prefix_operator},
};

// For each byte, the number of the first token that begins with it; the number of tokens for none.
inline constexpr std::array<std::uint8_t, 256> first_tokens = [] {
  std::array<std::uint8_t, 256> first{};
  first.fill(std::size(expression_tokens));
  for (std::size_t i = std::size(expression_tokens); i-- > 0;) {
    first[static_cast<unsigned char>(expression_tokens[i].spelling.front())] = static_cast<std::uint8_t>(i);
  }
  return first;
}();

// The token at the front of a text that is not empty; null when there is none.
[[nodiscard]] inline const expression_token *find_expression_token(std::string_view source) {
  std::size_t i = first_tokens[static_cast<unsigned char>(source.front())];
  for (; i < std::size(expression_tokens); ++i) {
    const std::string_view spelling = expression_tokens[i].spelling;
    if (spelling.front() != source.front()) break;
    if (spelling.size() == 1) return &expression_tokens[i];
    if (source.size() > 1 && source[1] == spelling[1] && source.starts_with(spelling)) return &expression_tokens[i];
  }
  return nullptr;
}

}  // namespace quillet
