// Files around the page: name, -f, stat, find, include, index.
#pragma once

namespace quillet {

void register_file_operators();

}  // namespace quillet
