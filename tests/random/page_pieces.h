// The small pieces of random pages: words, names, numbers, expressions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace quillet_tests {

// The same numbers for the same seed, everywhere (splitmix64, Steele, Lea and Flood 2014).
class random_sequence {
 public:
  explicit random_sequence(std::uint64_t seed) : state_(seed) {}
  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
  }
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
  bool one_in(std::size_t n) { return below(n) == 0; }

 private:
  std::uint64_t state_;
};

class page_pieces {
 protected:
  using names = std::initializer_list<std::string_view>;

  explicit page_pieces(std::uint64_t seed) : random_(seed) {}

  std::size_t one_of_numbers(std::initializer_list<std::size_t> list);
  std::string one_of(names list);
  std::string number(std::size_t limit);
  std::string word();
  std::string variable();
  std::string macro_name();
  std::string table_name();
  std::string column();
  std::string format();
  // Bytes that stand for themselves, or break what is around them.
  std::string stray();
  std::string literal();

  // A number at the edge of something: of 32, 53 or 64 bits, of what a hole takes, of a reading of numbers.
  std::string edge_number();
  // What a variable can be set to: such a number, a text that is one only in part, a text.
  std::string edge_value();
  std::string any_format();

  std::string operand();
  std::string infix();
  std::string expression(std::size_t level);
  // An expression of the variables and of edge numbers.
  std::string edge_expression(std::size_t level);

  random_sequence random_;
  std::size_t stray_in_ = 1;  // one literal in so many is a stray
  std::vector<std::string_view> variables_ = {"i", "j", "n", "a", "b", "s", "word", "nothing", "sum"};
  std::vector<std::string_view> macros_ = {"m", "m1", "two", "list", "none", "down"};
  std::vector<std::string_view> tables_ = {"t", "u", "v", "t", "missing"};

 private:
  std::string edge_operand(std::size_t level);
  // Of what is mostly an integer.
  std::string integer_expression(std::size_t level);
};

}  // namespace quillet_tests
