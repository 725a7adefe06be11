// What it may cost the C library to compile a regular expression, read from the expression alone.
#pragma once

#include <string_view>

namespace quillet {

enum class expression_cost {
  small,      // compiled in milliseconds, and matching ends
  large,      // nested deeply, or long once its repetitions are written out
  unbounded,  // repeats what is not safe to repeat: compiling and matching may recurse without an end
};

// Takes every text for an expression; whether it is one is for the C library to say. An estimate from above:
// what is called small is; much of what is called large or unbounded is harmless.
[[nodiscard]] expression_cost estimate_cost(std::string_view expression);

}  // namespace quillet
