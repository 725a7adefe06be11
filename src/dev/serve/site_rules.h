// What an address of the site means: the rules of packaging/apache/quillet.conf.
#pragma once

#include <string>
#include <string_view>

namespace quillet::dev {

// An address as a file of the site.
struct addressed {
  enum kind { page, file, folder_without_slash, refused, missing, wrong };
  kind what = missing;
  std::string address;      // decoded, without "." and "..": of a folder that of its index page
  std::string path;         // of the file, where there is one
  std::string why;          // of what is refused, missing or wrong: a sentence for the author
  bool is_program = false;  // refused as an address of the program itself
};

// `target`: as in the request, without its query.
[[nodiscard]] addressed find_addressed(const std::string &root, std::string_view target);

// The content type of a file by the last extension of its name.
[[nodiscard]] std::string_view content_type_of(std::string_view path);

}  // namespace quillet::dev
