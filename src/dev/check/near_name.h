// "Did you mean".
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "dev/check/finding.h"

namespace quillet::dev {

// The one of the names that is nearest to the word: a letter or two missing, added, replaced or changed places, a
// third of the word at most; upper and lower case do not count. Empty when none is near.
[[nodiscard]] std::string_view find_near_name(std::string_view word, std::span<const std::string_view> names);

// "; did you mean form?", or nothing when none is near.
[[nodiscard]] std::string ask_for_near_name(std::string_view word, std::span<const std::string_view> names);

// The change of that part of a document to the name that is near; nothing when none is.
[[nodiscard]] std::vector<quick_fix> fix_near_name(const document &file, text_range part, std::string_view near);

}  // namespace quillet::dev
