// Text files of the repository that are part of the program.
#pragma once

#include <span>
#include <string_view>

namespace quillet::dev {

struct embedded_file {
  std::string_view name;  // relative to the folder
  std::string_view bytes;
};

// The site that `quillet-dev new` makes: the files below src/dev/new/site.
[[nodiscard]] std::span<const embedded_file> new_site_files();
// What Apache httpd includes and runs: the files below packaging.
[[nodiscard]] std::span<const embedded_file> server_files();
// The manual's chapters on the operators: the files of docs/operators.
[[nodiscard]] std::span<const embedded_file> manual_files();

}  // namespace quillet::dev
