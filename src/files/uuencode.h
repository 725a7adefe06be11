// The operator uuencode.
#pragma once

namespace quillet {

void register_uuencode_operator();

}  // namespace quillet
