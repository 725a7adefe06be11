// The output optimizer: removes redundant white space from the finished page.
#pragma once

#include "core/text.h"

namespace quillet {

// Shrinks the text in place. Every run of spaces, tabs and line breaks becomes its first byte. When
// the page chose its content type, only runs of line breaks do, and those at the start go entirely.
// After `^optimize[no]` nothing changes.
void optimize_output(text &page);

}  // namespace quillet
