// What the `case` calls in the body of a `switch` find and leave there.
#pragma once

#include <string_view>
#include <utility>

#include "core/text.h"

namespace quillet {

// The branches are copies: a `case` may be in a macro whose text is gone when the branch is evaluated.
struct switch_state {
  std::string_view value;
  text matched_branch;
  text default_branch;
};

inline switch_state current_switch;

// A state of its own for one `switch`; the outer one is back when it ends.
class switch_scope {
 public:
  switch_scope() : saved_(std::move(current_switch)) {}
  switch_scope(const switch_scope &) = delete;
  switch_scope &operator=(const switch_scope &) = delete;
  ~switch_scope() { current_switch = std::move(saved_); }

 private:
  switch_state saved_;
};

}  // namespace quillet
