// Files that a process has read already, for processes that answer many requests.
#pragma once

#include <sys/stat.h>

#include <ctime>
#include <string_view>

#include "core/text.h"

namespace quillet {

// What tells one content of a file from another, as the system says it.
struct file_state {
  dev_t device;
  ino_t number;
  off_t size;
  timespec modified;  // the content
  timespec changed;   // the content or the status; nobody can set it
};
[[nodiscard]] file_state state_of(const struct stat &status);
[[nodiscard]] bool operator==(const file_state &left, const file_state &right);

// From now on files are kept, some megabytes of them. Until then the functions below do nothing.
void keep_files();
[[nodiscard]] bool keeps_files();

// A copy of what was kept, if the file is still as it was; otherwise null.
[[nodiscard]] text kept_file(std::string_view path, bool drop_empty_lines);

// Keeps a copy of what was made of the file's bytes. `descriptor` is the open file, `state` what it was before it was
// read, `seen` a time before that. Not kept is what another write within the resolution of the file's times could
// change unseen, and what is in a file system of which other machines or programs can change a file without this
// system's knowing.
void keep_file(std::string_view path, bool drop_empty_lines, int descriptor, const file_state &state, std::time_t seen,
               std::string_view bytes);

}  // namespace quillet
