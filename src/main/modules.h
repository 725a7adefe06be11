// The operator modules and their order.
#pragma once

#include <span>

#include "core/operators.h"

namespace quillet {

// Every module, in the order of registration. Of two operators of the same name the first one registered
// is in force.
[[nodiscard]] std::span<const operator_module *const> operator_modules();

// Registers the operators of every module. Needed once in a process, before the configuration and the page
// are read; later calls do nothing.
void register_all_operators();

// Gives everything that the process keeps of its request its beginning back, for whoever serves several in one
// process: tests, fuzzers, a server. The operators stay registered. What `.profile` put into the environment
// stays there: restoring it is the caller's.
void forget_request();

}  // namespace quillet
