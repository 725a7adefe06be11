// A folder in memory for what a harness writes.
#pragma once

#include <string>

namespace quillet_fuzz {

// Makes it; it is removed at the end of the process.
[[nodiscard]] std::string new_folder();

}  // namespace quillet_fuzz
