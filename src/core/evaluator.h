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
#include <memory>
#include <optional>
#include <string_view>

#include "core/operators.h"
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

// A template text that is evaluated again and again, and stays alive and unchanged as long as this
// object: what evaluating it, or a part of it, finds out about the calls in it is kept. Nothing but the
// time it takes depends on it.
class repeated_text {
 public:
  explicit repeated_text(std::string_view source);
  repeated_text(const repeated_text &) = delete;
  repeated_text &operator=(const repeated_text &) = delete;
  ~repeated_text();

 private:
  friend class repetition_scope;
  friend void evaluate(std::string_view source, text &out);
  struct prepared_texts;

  [[nodiscard]] bool holds(std::string_view part) const;
  // Expands the text or a part of it by what is kept of it; false when it is neither or nothing is.
  bool expand(std::string_view part, text &out);

  static repeated_text *innermost;
  std::string_view source_;
  std::unique_ptr<prepared_texts> prepared_;
};

// The time in which a repeated text is evaluated. A part of one that is being evaluated already shares
// what that one keeps.
class repetition_scope {
 public:
  explicit repetition_scope(repeated_text &repeated);
  repetition_scope(const repetition_scope &) = delete;
  repetition_scope &operator=(const repetition_scope &) = delete;
  ~repetition_scope();

 private:
  repeated_text *outer_;
};

// Both for the passes of a loop over its body.
class loop_scope {
 public:
  explicit loop_scope(std::string_view body) : body_(body), scope_(body_) {}

 private:
  repeated_text body_;
  repetition_scope scope_;
};

// Splits the parameter list that starts at the "[" at the front of `call`. Gives the offset of the
// matching "]", or 0 when the brackets do not balance or there are more than `max_parameters`; then
// `parameters` holds nothing of use. A parameter wholly inside backticks loses them; "^" escapes stay.
[[nodiscard]] std::size_t split_parameters(std::string_view call, parameters &parameters);

// Appends the result of calling the operator `name`: an unknown name gives "[invalid operator " name
// "]" (without "]" for an empty name), a wrong number of parameters "[invalid parameters to operator "
// name "]", after the parameters were evaluated.
void invoke_operator(std::string_view name, parameters &parameters, text &out);

// The calls under way, and those that count for the rest of the process.
[[nodiscard]] int call_depth();

// No call is under way, and none counts.
void forget_calls();

// How many calls so far may have changed something. While it stays the same, evaluating a text again
// gives what it gave before.
[[nodiscard]] unsigned long effect_count();

}  // namespace quillet
