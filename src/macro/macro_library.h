// The macro library: named template texts with numbered arguments.
//
// A macro text holds definition blocks:
//
//     @name[first;second]
//     body, in which $first and $second are replaced by the arguments
//
// A header begins a line; the body runs up to the next line that begins with "@". In a stored body an
// argument reference is "$" and its number in decimal, "$$" a literal "$".
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "core/evaluator.h"
#include "core/keyed_hash.h"
#include "core/text.h"

namespace quillet {

struct macro {
  explicit macro(text &&numbered_body);

  // The body with its references replaced by the arguments as they are in the call; the first one is "$1".
  [[nodiscard]] text with_arguments(std::span<const std::string_view> arguments) const;
  // The same to be evaluated again and again; null when no more of them are kept.
  [[nodiscard]] repeated_text *body_for(std::span<const std::string_view> arguments);

  text body;
  bool refers_to_arguments;
  bool was_called = false;  // one that refers to no argument
  int running = 0;          // calls under way, which keep it alive when it is redefined
  repeated_text repeated;   // the body, for a macro that refers to no argument and is called again

 private:
  struct kept_body {
    explicit kept_body(text &&with_arguments) : body(std::move(with_arguments)), repeated(body) {}
    text body;
    repeated_text repeated;
  };
  std::unordered_map<std::string, std::unique_ptr<kept_body>, keyed_hasher> kept_bodies_;  // by the arguments
};

// A definition block of a macro text, both parts of it: the header, without its "@", up to the end of its line,
// and the body.
struct macro_definition {
  std::string_view header;
  std::string_view body;
};

// Takes the first definition off the front of a macro text; false when there is none. Text before its header
// is left out, and so are headers without a body.
[[nodiscard]] bool take_definition(std::string_view &rest, macro_definition &taken);

// A header in its parts: "greet[who;why]" has the parameter names "who;why".
struct macro_header {
  std::string_view name;
  std::string_view parameter_names;
};
[[nodiscard]] macro_header split_header(std::string_view header);

// The macro of that name, null when there is none. It lives until it is defined again or, when it is
// running then, as long as the process.
[[nodiscard]] macro *find_macro(std::string_view name);

// Changes whenever a macro is defined, removed, or set aside: as long as it stays the same, a name means the same
// macro.
[[nodiscard]] unsigned long macro_generation();

// Defines a macro, in place of an earlier one of that name. `header` is its name, optionally followed
// by parameter names in brackets: "greet[who;why]". A null body removes the macro.
void define_macro(std::string_view header, text body);

// Turns references by parameter name into numbers: with the names "who;why", "$why" becomes "$2". A
// name is matched as a prefix of what follows "$", the first in the list first. A reference that no
// name matches gets "[macro param name not found]" after its "$". Without names nothing changes.
[[nodiscard]] text name_parameters(std::string_view parameter_names, text body);

// The number of the name in the list that matches a reference, given without its "$", and the length of that name;
// 0 when none does.
[[nodiscard]] int find_parameter_name(std::string_view parameter_names, std::string_view reference,
                                      std::size_t &length);

// Defines the macros of a text and runs its `autoexec`; with an `output` also its `main`, whose output
// is appended. Neither stays defined: what had these names before gets them back. Gives the number of
// macros defined.
int define_macros(std::string_view source, text *output);

// Appends the macro's body, evaluated, with its arguments put in: template texts, evaluated where the body
// uses them, those that are missing empty. Without a macro of that name appends "[undefined macro name]".
void call_macro(std::string_view name, std::span<const std::string_view> arguments, text &out);

// Removes every macro; none may be running.
void forget_macros();

}  // namespace quillet
