// Matching and replacing by regular expressions: match.
#pragma once

namespace quillet {

void register_match_operators();

}  // namespace quillet
