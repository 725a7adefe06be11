// What looks at a prepared form, and what makes the form wrong: both work with the same few names.
#pragma once

#include "page_texts.h"

namespace quillet_tests {

// The prepared form, or the rule behind it, that a page is about.
enum class trap_subject { expressions, holes, macros, tables, rows, texts, choices, matches };
constexpr std::size_t trap_subjects = 8;

class trap_probes : protected page_texts {
 protected:
  explicit trap_probes(std::uint64_t seed) : page_texts(seed) {}

  // A piece of text whose result shows what the form gives.
  std::string probe(trap_subject subject);
  // What such a form may depend on is changed.
  std::string disturb(trap_subject subject);

  // The body of a macro with arguments, which may stand anywhere in it.
  std::string body_with_arguments();
  // The lines of a table whose columns have names; the same names as variables among them.
  std::string named_rows(std::size_t count);

 private:
  std::string integer_probe();
  std::string expression_probe();
  std::string value_probe();
  std::string hole_probe();
  std::string holed_condition();
  std::string hole();
  std::string macro_probe();
  std::string argument();
  std::string arguments_alike();
  std::string table_probe();
  std::string sort_probe();
  std::string row_probe();
  std::string text_probe();
  std::string nested_lists();
  std::string choice_probe();
  std::string match_probe();
  std::string set_variable();
  std::string change_macro();
  std::string change_table();
};

}  // namespace quillet_tests
