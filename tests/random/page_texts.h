// The texts of random pages: calls of every operator that stays on this machine and in its folder, nested, in loops
// and macros, with the mistakes that authors make.
#pragma once

#include "page_pieces.h"

namespace quillet_tests {

// Pages end: loops are short, what recurses or grows spends one of the variables `g` and `h`, which nothing
// else sets, and a variable is put into another one only in part.
class page_texts : protected page_pieces {
 protected:
  explicit page_texts(std::uint64_t seed) : page_pieces(seed) {}

  std::string text(std::size_t level);
  // A text that holds no more than a few bytes of a variable.
  std::string short_text();
  std::string list(std::size_t count, std::size_t level);
  std::string call(std::size_t level);

  // An expression that is a template text as well.
  std::string condition(std::size_t level);
  std::string macro_call(std::size_t level);
  std::string macro_body(std::size_t level);
  std::string switch_call(std::size_t level);
  std::string loop(std::size_t level);
  std::string table_body(std::size_t level);
  std::string rows();
  // What changes the state that other texts look at.
  std::string change(std::size_t level);
  // Unknown names, wrong counts, lists that are no lists.
  std::string mistake(std::size_t level);

 private:
  // A call without template texts in it.
  std::string leaf();
  std::string option_call();
  std::string text_call();
  std::string world_call();
  std::string choice(std::size_t level);
  std::string wrapped(std::size_t level);
};

}  // namespace quillet_tests
