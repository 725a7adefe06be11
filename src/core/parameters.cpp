#include "core/parameters.h"

#include <memory>
#include <utility>

#include "core/evaluator.h"

namespace quillet {

// Room for every call that can be under way, and for the one that is refused. A call that calls a macro
// itself makes parameters for that, too, but has only two of its own. Memory that no call has used costs
// nothing.
struct parameters::slot_stack {
  static constexpr std::size_t capacity = (max_call_depth + 2) * (max_parameters + 1);
  alignas(slot) static inline char memory[capacity * sizeof(slot)];
};

parameters::slot *parameters::stack_top = reinterpret_cast<slot *>(slot_stack::memory);
parameters::slot *const parameters::stack_end = reinterpret_cast<slot *>(slot_stack::memory) + slot_stack::capacity;

void parameters::evaluate_in_place(int index) {
  if (index >= count_) return;
  slot &parameter = slots_[index];
  if (parameter.state == slot::is_plain || !has_markup(parameter.bytes)) return;
  text value;
  evaluate(parameter.bytes, value);
  if (parameter.state == slot::has_value) {  // it was its own source
    parameter.value = std::move(value);
  } else {
    std::construct_at(&parameter.value, std::move(value));
    parameter.state = slot::has_value;
    has_values_ = true;
  }
  parameter.bytes = parameter.value;
}

void parameters::evaluate_all_in_place() {
  for (int i = 0; i < count_; ++i) evaluate_in_place(i);
}

void parameters::destroy_values() {
  for (slot *at = slots_; at < slots_ + count_; ++at) {
    if (at->state == slot::has_value) std::destroy_at(&at->value);
  }
  has_values_ = false;
}

}  // namespace quillet
