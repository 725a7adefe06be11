// The parameters of one call.
#pragma once

#include <cassert>
#include <cstddef>
#include <string_view>

#include "core/text.h"
#include "core/viewed.h"

namespace quillet {

// A call has at most this many parameters; one with more stays in the page as literal text.
constexpr int max_parameters = 19;

// A parameter is a view into the template text until it is evaluated, then a view of its value. A value
// is empty or has bytes; there is no difference between an empty and an absent parameter.
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
  // text as it is in the page, for others its value.
  [[nodiscard]] std::string_view operator[](int index) const QUILLET_VIEWED {
    return index < count_ ? slots_[index].bytes : std::string_view();
  }
  // The last parameter.
  [[nodiscard]] std::string_view last() const QUILLET_VIEWED { return (*this)[count_ - 1]; }
  // Puts the value of the template text in its place.
  void evaluate_in_place(int index);
  void evaluate_all_in_place();

  // Adds a parameter at the end; the caller has checked the count. The bytes stay the caller's. A plain
  // one is known to be its own value.
  void add(std::string_view bytes, bool plain = false) {
    assert(is_youngest() && "parameters of an outer call cannot be added to");
    assert(stack_top < stack_end && "more parameters than calls under way can have");
    slot &added = *stack_top++;
    added.bytes = bytes;
    added.state = plain ? slot::is_plain : slot::is_source;
    ++count_;
  }
  void clear() {
    assert(is_youngest() && "parameters of an inner call outlive their call");
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

  [[nodiscard]] bool is_youngest() const { return stack_top == slots_ + count_; }
  void destroy_values();

  static slot *stack_top;  // the first free slot
  static slot *const stack_end;
  slot *slots_;
  int count_ = 0;
  bool has_values_ = false;
};

}  // namespace quillet
