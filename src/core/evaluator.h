// The evaluator: expands `^name[parameter;parameter;...]` in a template text.
//
//   ^^  and  ^;    a literal "^" and ";"
//   ^name[...]     replaced by the operator's result
//
// Deliberate: a result is never scanned again.
// A "^" that starts neither stays as it is, except as the last byte of a text, where it is removed.
// The name is everything between "^" and the first "[" after it. Inside the brackets ";" separates
// parameters; nested brackets, a "^" before a byte, and backticks protect it.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/operators.h"
#include "core/preparation.h"
#include "core/prepared_text.h"
#include "core/text.h"
#include "core/viewed.h"

namespace quillet {

// Calls may be nested this deep; one level more yields "[infinite operator recursion detected]".
// Calls of unknown names, and calls refused at the limit, count for the rest of the process.
constexpr int max_call_depth = 999;

// Whether evaluating the text can change it.
[[nodiscard]] inline bool has_markup(std::string_view source) { return source.find('^') != std::string_view::npos; }

// Appends the expansion of `source` to `out`. `source` must stay alive and unchanged until the end,
// whatever the operators in it do, and must not be a part of `out`.
void evaluate(std::string_view source, text &out);

// What evaluating a text gives: its own bytes when there was something to expand, otherwise a view of
// the source, which must live as long.
class expansion {
 public:
  explicit expansion(std::string_view source QUILLET_VIEWED) : source_(source) {
    if (has_markup(source)) {
      source_ = {};
      evaluate(source, value_);
    }
  }
  [[nodiscard]] std::string_view view() const QUILLET_VIEWED { return value_.is_null() ? source_ : value_.view(); }
  operator std::string_view() const QUILLET_VIEWED { return view(); }  // NOLINT(google-explicit-constructor)
  [[nodiscard]] bool is_empty() const { return view().empty(); }

 private:
  std::string_view source_;
  text value_;
};

[[nodiscard]] inline expansion evaluate(std::string_view source QUILLET_VIEWED) { return expansion(source); }

// The expansion as a text of its own, which may be changed and outlives the source; null when empty.
[[nodiscard]] text evaluate_copy(std::string_view source);

// The passes of a loop over its body: while this lives, what evaluating the body finds out is kept.
class loop_scope {
 public:
  explicit loop_scope(std::string_view body) : body_(body) {
    if (preparation_enabled() && has_markup(body)) body_.keep_parts();
  }
  // One pass.
  void evaluate(text &out) { body_.evaluate(out); }

 private:
  repeated_text body_;
};

// Splits the parameter list that starts at the "[" at the front of `call`. Gives the offset of the
// matching "]", or 0 when the brackets do not balance or there are more than `max_parameters`; then
// `parameters` holds nothing of use. A parameter wholly inside backticks loses them; "^" escapes stay.
[[nodiscard]] std::size_t split_parameters(std::string_view call, parameters &parameters);

// Appends the result of calling the operator `name`: an unknown name gives "[invalid operator " name
// "]" (without "]" for an empty name), a wrong number of parameters "[invalid parameters to operator "
// name "]", after the parameters were evaluated.
void invoke_operator(std::string_view name, parameters &parameters, text &out);

// The same for an operator that is known already; `entry` is null when none has that name.
void call_operator(const operator_entry *entry, std::string_view name, parameters &parameters, text &out);

// The calls under way, and those that count for the rest of the process.
[[nodiscard]] int call_depth();

// No call is under way, and none counts.
void forget_calls();

// How many calls so far may have changed something. While it stays the same, evaluating a text again
// gives what it gave before.
[[nodiscard]] unsigned long effect_count();

}  // namespace quillet
