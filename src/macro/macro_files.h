// Macro files: the site's configuration and the page itself.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// Loads the site's macros: those of "_macro.cfg" in the working directory or, when that defines none,
// of "/_macro.cfg" under the document root.
void load_configuration();

// The output of a page file: of its `main` macro when the page defines macros, otherwise its
// expansion. Empty when there is none.
[[nodiscard]] text process_page(std::string_view page_path);

// Reads the macro files that a name refers to and appends the output of their `main` macros:
//   "quillet.cfg"   "_quillet.cfg" of every directory on the page's path, outermost first
//   "lib/"          every file of the directory whose name does not begin with "."
//   "lib.cfg"       the file "_lib.cfg"
// Files that cannot be read are skipped.
void use_macro_files(std::string_view name, text &out);

}  // namespace quillet
