// Which parameters of a call are expressions.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "dev/page/document.h"

namespace quillet::dev {

// The parameters that are computed.
[[nodiscard]] std::vector<const template_text *> expressions_of_call(const document &file, const call &each);

// The number of the parameter that formats the result.
[[nodiscard]] std::optional<std::size_t> format_of_call(const document &file, const call &each);

}  // namespace quillet::dev
