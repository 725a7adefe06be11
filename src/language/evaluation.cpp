#include "core/evaluator.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

// ^rem[...]
//
// A comment: nothing in it is evaluated. Result: empty.
void op_rem(parameters &, text &) {}

// ^process[text]
//
// The text evaluated twice: operator calls that the first evaluation yields are made. The first one
// escapes nothing.
void op_process(parameters &parameters, text &out) {
  evaluate_parameters_quoted(quoting_none, parameters);
  evaluate(parameters[0], out);
}

// ^level[mode;text]
//
// The text evaluated in a quoting mode: `none`, `config`, `html`, `sql` or `javascript`. Any other
// name does not change the mode.
void op_level(parameters &parameters, text &out) {
  const quoting_scope scope(evaluate(parameters[0]).view());
  evaluate(parameters[1], out);
}

constexpr operator_definition definitions[] = {
    {"rem", op_rem, 0, lazy, "^rem[...]", "A comment."},
    {"process", op_process, 1, lazy, "^process[text]", "Evaluates a text twice."},
    {"level", op_level, 2, lazy, "^level[mode;text]", "Evaluates a text in another quoting mode."},
};

}  // namespace

extern const operator_module evaluation_operators{"language/evaluation.cpp", definitions};

}  // namespace quillet
