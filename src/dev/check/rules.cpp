#include "dev/check/rules.h"

#include <algorithm>
#include <cassert>

namespace quillet::dev {

file_rule check_brackets;
file_rule check_call_names;
file_rule check_call_counts;
page_rule check_macro_arguments;
file_rule check_text_lines;
file_rule check_marks;
page_rule check_charset;
file_rule check_config_cells;
page_rule check_data_cells;
file_rule check_case_order;
page_rule check_page_main;
file_rule check_autoexec;
site_rule check_unused_macros;
page_rule check_server_errors;

file_rule check_references;
file_rule check_words;
file_rule check_expression_order;
file_rule check_formats;
site_rule follow_pages;

namespace {

constexpr rule rules[] = {
    {"call-unclosed", severity::error, "A bracket is missing, closes too late, or closes nothing.", check_brackets},
    {"call-backtick", severity::error, "A single backtick hides a bracket."},
    {"call-unknown", severity::error, "The operator does not exist.", check_call_names},
    {"call-count", severity::error, "The call has a wrong number of parameters.", check_call_counts},
    {"call-ignored", severity::warning, "A parameter, or a part of the text, has no effect.", nullptr,
     check_macro_arguments},
    {"text-line", severity::warning, "A line vanishes or defines a macro, or a text is never shown.", check_text_lines},
    {"text-bytes", severity::error, "A byte order mark, or bytes that are none of the page's charset.", check_marks,
     check_charset},
    {"text-cells", severity::warning, "A row has other cells than the table's header.", check_config_cells,
     check_data_cells},
    {"case-order", severity::warning, "A case can never be chosen.", check_case_order},
    {"page-main", severity::error, "A page with definitions has no macro main.", nullptr, check_page_main},
    {"page-autoexec", severity::warning, "The output of autoexec is lost.", check_autoexec},
    {"server-error", severity::warning, "No macro says what to show when the database server is down.", nullptr,
     check_server_errors},
    {"name-reference", severity::error, "A reference matches no parameter of the macro, or another one.",
     check_references},
    {"name-word", severity::error, "A word means nothing to the operator.", check_words},
    {"logic-order", severity::warning, "An expression is computed in another order than it reads.",
     check_expression_order},
    {"logic-number", severity::warning, "A number loses its fraction.", check_formats},
    {"name-macro", severity::error, "Nothing defines the macro.", nullptr, nullptr, follow_pages},
    {"name-table", severity::error, "Nothing makes the table before it is read."},
    {"name-column", severity::error, "The table has no column of that name."},
    {"name-file", severity::warning, "The file is not there."},
    {"logic-word", severity::error, "A word where an expression needs a number."},
    {"logic-message", severity::warning, "A message makes the condition true."},
    {"visitor-pattern", severity::warning, "A visitor's value is a regular expression."},
    {"visitor-name", severity::error, "A visitor's value is a name, or evaluated."},
    {"visitor-quoting", severity::error, "A visitor's value is inserted without the escaping of its place."},
    {"walk-change", severity::error, "A table is changed inside its own walk."},
    {"macro-unused", severity::warning, "Nothing calls the macro.", nullptr, nullptr, check_unused_macros},
};

}  // namespace

std::span<const rule> all_rules() { return rules; }

const rule &find_rule(std::string_view name) {
  const rule *const found =
      std::find_if(std::begin(rules), std::end(rules), [&](const rule &each) { return each.name == name; });
  assert(found != std::end(rules) && "a rule that has no row");
  return *found;
}

}  // namespace quillet::dev
