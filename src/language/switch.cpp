#include <utility>

#include "core/evaluator.h"
#include "core/operators.h"
#include "language/prepared_choices.h"
#include "language/switch_state.h"

namespace quillet {

namespace {

// ^switch[value;body]
//
// Evaluates the body for its `case` calls, and gives the branch of the one whose label is `value`,
// else of the one labeled "DEFAULT", else no text. Only that branch is evaluated; what else the body
// gives is dropped.
void op_switch(parameters &parameters, text &out) {
  const switch_scope scope;
  const expansion value = evaluate(parameters[0]);
  current_switch = {value, text(), text()};
  const std::size_t before = out.size();
  evaluate(parameters[1], out);
  out.truncate(before);
  // Out of the state's hands: a `case` in the branch may record there.
  const text branch = std::move(current_switch.matched_branch.is_null() ? current_switch.default_branch
                                                                        : current_switch.matched_branch);
  evaluate(branch, out);
}

// ^case[label;...;branch]
//
// A branch of the `switch` around it, for each of the labels; "DEFAULT" labels the branch for all
// other values. An empty branch counts as none. Result: empty.
//
// [case: not enough params]
void op_case(parameters &parameters, text &out) {
  if (parameters.count() < 2) return append_error(out, "case", "not enough params");
  const auto branch = [&parameters] { return text_or_null(parameters.last()); };
  for (int i = 0; i + 1 < parameters.count(); ++i) {
    const expansion label = evaluate(parameters[i]);
    // Deliberate: of several cases that match, or are the default, the last one wins.
    if (label.view() == current_switch.value) {
      current_switch.matched_branch = branch();
      return;
    }
    if (label.view() == "DEFAULT") {
      current_switch.default_branch = branch();
      return;
    }
  }
}

constexpr operator_definition definitions[] = {
    {"switch", op_switch, 2, lazy, "^switch[value;body]", "Chooses one of the cases in the body.", !pure,
     prepare_switch},
    {"case", op_case, 0, lazy, "^case[label;...;branch]", "A branch of a switch."},
};

}  // namespace

extern const operator_module switch_operators{"language/switch.cpp", definitions};

}  // namespace quillet
