#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/operators.h"
#include "language/prepared_choices.h"

namespace quillet {

namespace {

// Apart from `op_eq`, whose frame is on the stack once for each level of nesting.
[[gnu::noinline]] bool have_equal_values(std::string_view a, std::string_view b) {
  const expansion value = evaluate(a);
  return value.view() == evaluate(b).view();
}

// ^eq[a;b;then]
// ^eq[a;b;then;else]
//
// `then`, evaluated, when `a` and `b` are the same bytes, otherwise `else`.
//
// [eq: wrong params number]
void op_eq(parameters &parameters, text &out) {
  if (parameters.count() < 3 || parameters.count() > 4) return append_error(out, "eq", "wrong params number");
  evaluate(parameters[have_equal_values(parameters[0], parameters[1]) ? 2 : 3], out);
}

// ^ifdef[value;then]
// ^ifdef[value;then;else]
//
// `then`, evaluated, when `value` gives any text, otherwise `else`.
//
// [ifdef: wrong params number]
void op_ifdef(parameters &parameters, text &out) {
  if (parameters.count() < 2 || parameters.count() > 3) return append_error(out, "ifdef", "wrong params number");
  // Deliberate: a value that is empty in the page itself counts as defined.
  const bool defined = parameters[0].empty() || !evaluate(parameters[0]).is_empty();
  evaluate(parameters[defined ? 1 : 2], out);
}

// ^start[prefix;then;else]
//
// `then`, evaluated, when the URL of the page begins with `prefix`, otherwise, and for an empty
// prefix, `else`.
void op_start(parameters &parameters, text &out) {
  const expansion prefix = evaluate(parameters[0]);
  const bool starts = !prefix.is_empty() && request.request_uri.view().starts_with(prefix.view());
  evaluate(parameters[starts ? 1 : 2], out);
}

// ^default[value;fallback]
//
// `value`, or `fallback` when it is empty.
void op_default(parameters &parameters, text &out) {
  const std::size_t before = out.size();
  evaluate(parameters[0], out);
  if (out.size() == before) evaluate(parameters[1], out);
}

// ^cmp[a;b;less;equal;greater]
//
// One of the last three, evaluated, as the whole number `a` is less than, equal to or greater than
// `b`. Bytes after the digits are ignored; a text without a number is 0.
void op_cmp(parameters &parameters, text &out) {
  const int a = parse_int(evaluate(parameters[0]));
  const int b = parse_int(evaluate(parameters[1]));
  evaluate(parameters[a < b ? 2 : a == b ? 3 : 4], out);
}

constexpr operator_definition definitions[] = {
    {"eq", op_eq, 0, lazy, "^eq[a;b;then] ^eq[a;b;then;else]", "Chooses a text by whether two texts are equal.", !pure,
     prepare_eq},
    {"ifdef", op_ifdef, 0, lazy, "^ifdef[value;then] ^ifdef[value;then;else]",
     "Chooses a text by whether a value is empty."},
    {"start", op_start, 3, lazy, "^start[prefix;then;else]", "Chooses a text by how the URL of the page begins."},
    {"default", op_default, 2, lazy, "^default[value;fallback]", "A text, or another one if it is empty."},
    {"cmp", op_cmp, 5, lazy, "^cmp[a;b;less;equal;greater]", "Chooses a text by comparing two whole numbers."},
};

}  // namespace

extern const operator_module comparison_operators{"language/comparison.cpp", definitions};

}  // namespace quillet
