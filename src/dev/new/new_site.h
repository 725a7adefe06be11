// A small site to start from.
#pragma once

#include <filesystem>

namespace quillet::dev {

// Writes the site into the folder, which is made when it is missing, with what a web server needs to serve it from
// there; `program` is the path of the program that the server runs. Throws std::runtime_error, with a message for the
// author, when the folder is not empty or a file cannot be written.
void make_new_site(const std::filesystem::path &folder, const std::filesystem::path &program);

}  // namespace quillet::dev
