#include <utility>

#include "core/onlooker.h"
#include "core/operators.h"
#include "macro/macro_files.h"
#include "macro/macro_library.h"
#include "macro/prepared_macro_call.h"

namespace quillet {

namespace {

// ^macro[name;argument;...]
//
// The macro's body, evaluated, with its arguments put in. An argument is evaluated where the body
// uses it, and as often as it does; one that is missing is empty.
//
// [undefined macro name]
void op_macro(parameters &parameters, text &out) {
  std::string_view arguments[max_parameters];
  const int count = parameters.count() - 1;
  for (int i = 0; i < count; ++i) arguments[i] = parameters[i + 1];
  parameters.evaluate_in_place(0);
  call_macro(parameters[0], {arguments, static_cast<std::size_t>(count)}, out);
}

// ^macro_new[name[parameter;...];body]
//
// Defines a macro, in place of an earlier one of that name. An empty body removes it. Result: empty.
void op_macro_new(parameters &parameters, text &) {
  text body = text_or_null(parameters[1]);
  tell_copy(body, parameters[1]);
  define_macro(parameters[0], std::move(body));
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
    {"macro", op_macro, 0, lazy, "^macro[name;argument;...]", "Calls a macro.", !pure, prepare_macro},
    {"macro_new", op_macro_new, 2, lazy, "^macro_new[name[parameter;...];body]", "Defines a macro."},
    {"macro_use", op_macro_use, 1, evaluated, "^macro_use[file]", "Defines the macros of a file or a directory."},
    {"macro_exists", op_macro_exists, 1, evaluated, "^macro_exists[name]", "Whether a macro is defined."},
};

}  // namespace

extern const operator_module macro_operators{"macro/macro_operators.cpp", definitions};

}  // namespace quillet
