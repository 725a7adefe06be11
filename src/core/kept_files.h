// Files that a process has read already, for processes that answer many requests.
#pragma once

#include <ctime>
#include <memory>
#include <string_view>

#include "core/kept_directories.h"
#include "core/text.h"

namespace quillet {

// Inline, because every file that is read asks and most processes keep none.
namespace kept_files_door {
inline bool open = false;
}

// From now on files are kept, some megabytes of them. Until then the functions below do nothing.
inline void keep_files() { kept_files_door::open = true; }
[[nodiscard]] inline bool keeps_files() { return kept_files_door::open; }

// What was kept, if the file is still as it was; otherwise null.
[[nodiscard]] std::shared_ptr<const text> kept_file(std::string_view path, bool drop_empty_lines);

// Keeps a copy of what was made of the file's bytes. `descriptor` is the open file, `state` what it was before it was
// read, `seen` a time before that. Not kept is what another write within the resolution of the file's times could
// change unseen, and what is in a file system of which other machines or programs can change a file without this
// system's knowing.
void keep_file(std::string_view path, bool drop_empty_lines, int descriptor, const file_state &state, std::time_t seen,
               std::string_view bytes);

}  // namespace quillet
