#include "core/operators.h"

namespace quillet {

namespace {

int turn = 0;  // the parameter that the last call gave

// ^color[first;second]
//
// One of its two parameters, alternating from call to call, whichever calls they are.
void op_color(parameters &parameters, text &out) {
  // Deliberate: the first call gives the second parameter.
  turn = (turn + 1) % 2;
  out.append(parameters[turn]);
}

constexpr operator_definition definitions[] = {
    {"color", op_color, 2, evaluated, "^color[first;second]", "Alternates between its two parameters."},
};

}  // namespace

extern const operator_module color_operators{"language/color.cpp", definitions, [] { turn = 0; }};

}  // namespace quillet
