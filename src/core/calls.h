// The calls of operators that are under way, and what is counted of those that were made.
#pragma once

namespace quillet {

struct call_counts {
  int depth = 0;              // calls under way, and those that count for the rest of the process
  unsigned long effects = 0;  // see `effect_count`
};

inline call_counts calls;

}  // namespace quillet
