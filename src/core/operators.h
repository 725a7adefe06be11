// Operators: what a module registers, and how a call of one is described to its handler.
//
// An operator is a function that appends its result to the text under construction:
//
//     void op_example(parameters &parameters, text &out);
//
// Appending nothing is the empty result. A handler may look at what it appended itself (everything
// after the size that `out` had on entry) and cut it off again, never at the earlier text.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "core/parameters.h"
#include "core/text.h"

namespace quillet {

class prepared_call;
class repeated_text;

// How an operator prepares a call of it in a text that is evaluated again and again (see prepared_text.h); null when
// it does not for this one. The parameters are template text, and their bytes the keeper's.
using operator_preparation = std::unique_ptr<prepared_call> (*)(const parameters &call, repeated_text &keeper);

using operator_handler = void (*)(parameters &parameters, text &out);

enum operator_flags : unsigned {
  evaluated = 0,  // each parameter is evaluated before the call
  lazy = 1,       // the parameters are passed as they are in the page
};

// Says of an operator that it changes nothing, and that its text depends only on its parameters and on
// what other operators change.
constexpr bool pure = true;

// One row of a module's table: all that is said of an operator outside its own function.
struct operator_definition {
  std::string_view name;
  operator_handler handler;
  int parameter_count;  // 0: any number; otherwise exactly this many
  unsigned flags;
  // For the manual, the page checker and the editors; evaluation never reads them.
  std::string_view synopsis;
  std::string_view summary;
  bool is_pure = false;
  operator_preparation prepare = nullptr;
};

// The operators of one source file.
struct operator_module {
  std::string_view source;  // "apps/chat.cpp"
  std::span<const operator_definition> definitions;
  void (*forget)() = nullptr;  // gives what the operators keep from call to call its beginning back
};

// One registered operator.
struct operator_entry {
  operator_handler handler;
  std::string_view name;
  int parameter_count;
  unsigned flags;
  bool is_pure;
  operator_preparation prepare;
};

// Adds an operator at the end of the registry. An empty name is ignored, and so is a name that is
// already there: the first registration wins. `name` must live as long as the process.
void register_operator(std::string_view name, operator_handler handler, int parameter_count, unsigned flags,
                       bool is_pure = false, operator_preparation prepare = nullptr);

// Registers the rows of a module's table in their order.
void register_operators(std::span<const operator_definition> definitions);

// The operator of that name, case-sensitive; null when there is none.
[[nodiscard]] const operator_entry *find_operator(std::string_view name);

// Every registered operator, in the order of registration.
[[nodiscard]] std::span<const operator_entry> registered_operators();

// Appends an operator's error text, "[" name ": " message "]".
void append_error(text &out, std::string_view operator_name, std::string_view message);

}  // namespace quillet
