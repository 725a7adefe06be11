// Files that must not be taken for missing when the system fails.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// Whether errno, after a file could not be read, says that the system failed (a disk error, no descriptors, no memory)
// and not that there is no such file.
[[nodiscard]] bool is_system_failure();

// `read_text_file` for a file that says what a visitor may do. When the system fails the process ends, "unable to read
// PATH: MESSAGE": without the file everybody would be admitted.
[[nodiscard]] text read_deciding_file(std::string_view path, bool drop_empty_lines, bool lock);

}  // namespace quillet
