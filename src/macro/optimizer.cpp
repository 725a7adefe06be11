#include "macro/optimizer.h"

#include "cgi/request.h"
#include "core/operators.h"

namespace quillet {

namespace {

bool optimize = true;

bool is_line_break(char c) { return c == '\n' || c == '\r'; }
bool is_redundant_space(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

// Drops every byte of the class that follows another one; `previous` says whether the text begins as
// if one stood before it.
template <bool in_class(char)>
void shrink_runs(text &page, bool previous) {
  char *kept = page.data();
  for (const char c : page.view()) {
    const bool current = in_class(c);
    *kept = c;
    kept += !(current && previous);
    previous = current;
  }
  page.truncate(static_cast<std::size_t>(kept - page.data()));
}

// ^optimize[no]
//
// `no` switches the optimizer off, anything else on. The last call in the run decides. No text.
void op_optimize(parameters &parameters, text &) { optimize = parameters[0] != "no"; }

constexpr operator_definition module[] = {
    {"optimize", op_optimize, 1, evaluated, "^optimize[no]", "Switches the removal of white space off or on."},
};

}  // namespace

void optimize_output(text &page) {
  if (!optimize) return;
  if (request.content_type_set) {
    // Deliberate: of a carriage return and line feed only the carriage return stays.
    shrink_runs<is_line_break>(page, true);
  } else {
    shrink_runs<is_redundant_space>(page, false);
  }
}

void register_optimizer_operators() { register_operators(module); }

}  // namespace quillet
