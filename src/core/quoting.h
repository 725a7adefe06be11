// Quoting modes: how values from outside the page are escaped as they are put into it.
//
// One mode is current for the whole process. Operators that insert outside values pass them through
// `quote`; operators that build SQL, mail or configuration text switch the mode for the time they
// evaluate their parameters, with a `quoting_scope`.
#pragma once

#include <string_view>

#include "core/operators.h"
#include "core/text.h"

namespace quillet {

enum quoting_mode : int {
  quoting_none = 1,        // the value as it is
  quoting_config = 2,      // every tab and line feed becomes a space
  quoting_html = 3,        // tab, double quote, "<" and ">"
  quoting_sql = 4,         // tab becomes the byte 7; line breaks, quotes and backslash get a backslash
  quoting_javascript = 5,  // line breaks, quotes, backslash and the bytes 209 and 255 get a backslash
};

// Appends `value` escaped by the current mode. With `restore_tabs`, every byte 7 of the escaped value
// becomes a tab.
void quote(std::string_view value, bool restore_tabs, text &out);

// The same of a value after whose end a whole block of bytes can be read (`text::pad`), with every byte 7 of the
// escaped value turned into a tab.
void quote_padded(std::string_view value, text &out);

[[nodiscard]] int current_quoting_mode();

// The name of the mode of that number, 1 to 5; empty for any other number.
[[nodiscard]] std::string_view quoting_mode_name(int number);

// Stores the current mode in `saved` and makes `number` current, unless it is 0. Gives the mode in force.
int set_quoting_mode(int &saved, int number);

// The same by name ("none", "config", "html", "sql", "javascript", in lower case); any other name
// does not change the mode.
void set_quoting_mode_by_name(int &saved, std::string_view name);

void restore_quoting_mode(int saved);

// A switch of the mode that ends with the scope, on every way out.
class quoting_scope {
 public:
  explicit quoting_scope(quoting_mode mode) { set_quoting_mode(saved_, mode); }
  explicit quoting_scope(std::string_view name) { set_quoting_mode_by_name(saved_, name); }
  quoting_scope(const quoting_scope &) = delete;
  quoting_scope &operator=(const quoting_scope &) = delete;
  ~quoting_scope() { restore_quoting_mode(saved_); }

 private:
  int saved_ = 0;
};

// Evaluates every parameter in its place, in order, under `mode`.
void evaluate_parameters_quoted(quoting_mode mode, parameters &parameters);

}  // namespace quillet
