#include <utility>

#include "core/evaluator.h"
#include "core/operators.h"
#include "macro/macro_files.h"
#include "macro/macro_library.h"

namespace quillet {

namespace {

// Reads the number of an argument reference, one digit or two, off the front of `rest`.
int take_number(std::string_view &rest) {
  int number = 0;
  for (int digits = 0; digits < 2 && !rest.empty() && is_digit(rest.front()); ++digits) {
    number = number * 10 + (rest.front() - '0');
    rest.remove_prefix(1);
  }
  return number;
}

// The body with its references replaced by the arguments as they are in the call. Argument k is
// parameter k of the call; the name, number 0, is none.
text insert_arguments(std::string_view body, const parameters &parameters) {
  std::size_t size = body.size();
  for (int i = 1; i < parameters.count(); ++i) size += parameters[i].size();
  text expanded;
  expanded.reserve(size);  // enough when each argument is used once
  for (std::size_t dollar; (dollar = body.find('$')) != std::string_view::npos;) {
    expanded.append(body.substr(0, dollar));
    body.remove_prefix(dollar + 1);
    if (!body.empty() && is_digit(body.front())) {
      const int number = take_number(body);
      if (number != 0) expanded.append(parameters[number]);
    } else {
      expanded.append('$');
      if (body.starts_with('$')) body.remove_prefix(1);
    }
  }
  expanded.append(body);
  return expanded;
}

// ^macro[name;argument;...]
//
// The macro's body, evaluated, with its arguments put in. An argument is evaluated where the body
// uses it, and as often as it does; one that is missing is empty.
//
// [undefined macro name]
void op_macro(parameters &parameters, text &out) {
  parameters.evaluate_in_place(0);
  macro *const called = find_macro(parameters[0]);
  // Deliberate: the message about a macro without a name has no closing bracket.
  if (called == nullptr) return out.append(concat({"[undefined macro ", parameters[0], "]"}));
  const macro_call_scope call(*called);
  if (called->refers_to_arguments) return evaluate(insert_arguments(called->body, parameters).view(), out);
  if (!std::exchange(called->was_called, true)) return evaluate(called->body, out);
  const repetition_scope scope(called->repeated);
  evaluate(called->body, out);
}

// ^macro_new[name[parameter;...];body]
//
// Defines a macro, in place of an earlier one of that name. An empty body removes it. Result: empty.
void op_macro_new(parameters &parameters, text &) {
  define_macro(parameters[0], copy_prefix(parameters[1], parameters[1].size()));
}

// ^macro_use[file]
//
// Defines the macros of the file `_file`, of every file in a directory (`dir/`) or, for the name
// `quillet.cfg`, of `_quillet.cfg` in every directory on the page's path, outermost first. The output
// of the `main` macros of these files. A file that cannot be read is skipped.
void op_macro_use(parameters &parameters, text &out) { use_macro_files(parameters[0], out); }

// ^macro_exists[name]
//
// "yes" when there is a macro of that name, otherwise no text.
void op_macro_exists(parameters &parameters, text &out) {
  if (find_macro(parameters[0]) != nullptr) out.append("yes");
}

constexpr operator_definition definitions[] = {
    {"macro", op_macro, 0, lazy, "^macro[name;argument;...]", "Calls a macro."},
    {"macro_new", op_macro_new, 2, lazy, "^macro_new[name[parameter;...];body]", "Defines a macro."},
    {"macro_use", op_macro_use, 1, evaluated, "^macro_use[file]", "Defines the macros of a file or a directory."},
    {"macro_exists", op_macro_exists, 1, evaluated, "^macro_exists[name]", "Whether a macro is defined."},
};

}  // namespace

void call_macro(std::string_view name, text &out) {
  parameters parameters;
  parameters.add(name);
  op_macro(parameters, out);
}

extern const operator_module macro_operators{"macro/macro_operators.cpp", definitions};

}  // namespace quillet
