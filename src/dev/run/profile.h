// Where the time of a request went.
#pragma once

#include <string>

#include "dev/run/observation.h"

namespace quillet::dev {

// Tables by operator and by line of the source, those first that took the most time themselves.
[[nodiscard]] std::string shown_profile(const observation &seen);

// A line for each stack of calls: names with places, separated by ";", and the microseconds that the innermost one
// took itself; the format that flame graphs are drawn from.
[[nodiscard]] std::string folded_profile(const observation &seen);

}  // namespace quillet::dev
