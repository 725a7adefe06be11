// Where names are defined and used, and their new names.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dev/lsp/symbols.h"
#include "dev/lsp/workspace.h"

namespace quillet::dev {

// A part of a file; of a file that is named, its beginning.
struct found_place {
  std::string path;
  const document *file;  // null for the beginning of a file that is no page, macro file or data file
  text_range range;      // in the document's text
};

// Where the name is defined: in the files that belong to the same pages or, where none of those defines it, in the
// site. For the name of a file, that file.
[[nodiscard]] std::vector<found_place> find_definitions(workspace &files, const document &file, const symbol &name);

// Where the name is in the site; an argument's in its macro. Without operators and files.
[[nodiscard]] std::vector<found_place> find_uses(workspace &files, const document &file, const symbol &name,
                                                 bool with_definitions);

// Whether a name can be changed, and why a text can be no name of its kind; empty when it can.
[[nodiscard]] bool can_rename(const symbol &name);
[[nodiscard]] std::string why_no_name(const symbol &old_name, std::string_view new_name);

}  // namespace quillet::dev
