// Running programs: exec.
#pragma once

namespace quillet {

void register_exec_operator();

}  // namespace quillet
