// How many parameters an operator reads.
#pragma once

#include <cstddef>
#include <string_view>

namespace quillet::dev {

struct parameter_counts {
  std::size_t least;
  std::size_t most;
  // What becomes of those after `most`: a message, or the call's silence.
  bool is_refused;
  // The last parameter is read whatever their number; those in the middle are not.
  bool reads_last = false;
};

// An operator that exists. An empty list is one parameter.
[[nodiscard]] parameter_counts counts_of(std::string_view operator_name);

}  // namespace quillet::dev
