// Operators: what a module registers, and how a call of one is described to its handler.
//
// An operator is a function that appends its result to the text under construction:
//
//     void op_example(parameters &parameters, text &out);
//
// Appending nothing is the empty result. A handler may look at what it appended itself (everything
// behind the size that `out` had on entry) and cut it off again, never at what stood there before.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "core/text.h"

namespace quillet {

// A call has at most this many parameters; one with more stays in the page as literal text.
constexpr int max_parameters = 19;

// Calls may be nested this deep; one level more yields "[infinite operator recursion detected]".
// Calls of unknown names, and calls refused at the limit, count for the rest of the process.
constexpr int max_call_depth = 999;

// The parameters of one call. A parameter is a view into the template text until it is evaluated,
// then a view of its value. A value is empty or has bytes; there is no difference between an empty
// and an absent parameter.
//
// Calls are nested, and so are their parameters: they live on a stack of their own, and only the
// youngest object may be added to.
class parameters {
 public:
  parameters() noexcept : slots_(stack_top) {}
  parameters(const parameters &) = delete;
  parameters &operator=(const parameters &) = delete;
  ~parameters() { clear(); }

  [[nodiscard]] int count() const { return count_; }
  // Parameter `index`, counted from 0; empty past the last one. For a lazy operator this is template
  // text as it stands in the page, for others its value.
  [[nodiscard]] std::string_view operator[](int index) const {
    return index < count_ ? slots_[index].bytes : std::string_view();
  }
  // The last parameter.
  [[nodiscard]] std::string_view last() const { return (*this)[count_ - 1]; }
  // The template text from the start of one parameter to the end of a later one, which must both be as
  // they stand in the page.
  [[nodiscard]] std::string_view spanning(int first, int last) const {
    const std::string_view from = slots_[first].bytes;
    const std::string_view to = slots_[last].bytes;
    return {from.data(), static_cast<std::size_t>(to.data() + to.size() - from.data())};
  }
  // Puts the value of the template text in its place.
  void evaluate_in_place(int index);
  void evaluate_all_in_place();

  // Adds a parameter at the end; the caller has checked the count. The bytes stay the caller's. A plain
  // one is known to be its own value.
  void add(std::string_view bytes, bool plain = false) {
    slot &added = *stack_top++;
    added.bytes = bytes;
    added.state = plain ? slot::is_plain : slot::is_source;
    ++count_;
  }
  void clear() {
    if (has_values_) destroy_values();
    stack_top = slots_;
    count_ = 0;
  }

 private:
  struct slot {
    std::string_view bytes;
    enum : char { is_source, is_plain, has_value } state;
    union {
      text value;  // holds `bytes` where evaluation made new ones
    };
  };
  struct slot_stack;

  void destroy_values();

  static slot *stack_top;  // the first free slot
  slot *slots_;
  int count_ = 0;
  bool has_values_ = false;
};

using operator_handler = void (*)(parameters &parameters, text &out);

enum operator_flags : unsigned {
  evaluated = 0,  // each parameter is evaluated before the call
  lazy = 1,       // the parameters are handed over as they stand in the page
};

// Says of an operator that it changes nothing, and that its text depends only on its parameters and on
// what other operators change.
constexpr bool pure = true;

// One row of a module's table.
struct operator_definition {
  std::string_view name;
  operator_handler handler;
  int parameter_count;  // 0: any number; otherwise exactly this many
  unsigned flags;
  // For the manual, the page checker and the editors; evaluation never reads them.
  std::string_view synopsis;
  std::string_view summary;
  bool is_pure = false;
};

// One registered operator.
struct operator_entry {
  operator_handler handler;
  std::string_view name;
  int parameter_count;
  unsigned flags;
  bool is_pure;
};

// Adds an operator at the end of the registry. An empty name is ignored, and so is a name that is
// already there: the first registration wins. `name` must live as long as the process.
void register_operator(std::string_view name, operator_handler handler, int parameter_count, unsigned flags,
                       bool is_pure = false);

// Registers the rows of a module's table in their order.
void register_operators(std::span<const operator_definition> module);

// The operator of that name, in the letter case given; null when there is none.
[[nodiscard]] const operator_entry *find_operator(std::string_view name);

// Every registered operator, in the order of registration.
[[nodiscard]] std::span<const operator_entry> registered_operators();

// Appends an operator's error text, "[" name ": " message "]".
void append_error(text &out, std::string_view operator_name, std::string_view message);

}  // namespace quillet
