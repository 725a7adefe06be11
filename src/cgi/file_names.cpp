#include "cgi/file_names.h"

#include "cgi/request.h"

namespace quillet {

text page_directory_file(std::string_view name) {
  std::string_view directory = request.page_path;
  cut_at_last_char(directory, '/');
  text path;
  path.reserve(directory.size() + 1 + name.size());
  path.append(directory);
  path.append('/');
  path.append(name);
  return path;
}

text resolve_file(std::string_view name) {
  if (name.empty() || name.front() != '/') return page_directory_file(name);
  text path;
  path.reserve(request.document_root.size() + name.size());
  path.append(request.document_root);
  path.append(name);
  return path;
}

text underscore_path(std::string_view path) {
  text result(path);
  insert_at(result, path.rfind('/') + 1, "_");  // without a slash, npos + 1 is 0
  return result;
}

text next_data_file(std::string_view &directory, std::string_view name) {
  if (cut_at_last_char(directory, '/').data() == nullptr) return {};
  text candidate(directory);
  candidate.append('/');
  candidate.append(name);
  return underscore_path(candidate);
}

text cache_entry_path(std::string_view key) {
  constexpr char hexadecimal[] = "0123456789ABCDEF";
  text path("./cache/");
  for (const char c : key) {
    if (is_letter(c) || is_digit(c) || c == '_' || c == '/') {
      path.append(c);
    } else if (c == ' ') {
      path.append('~');
    } else {
      const auto byte = static_cast<unsigned char>(c);
      path.append('-');
      path.append(hexadecimal[byte >> 4]);
      path.append(hexadecimal[byte & 15]);
    }
  }
  path.append('_');
  return path;
}

text count_file_path(std::string_view path) {
  text count_file(path);
  count_file.append(".count");
  return count_file;
}

text access_file_path(std::string_view directory) {
  text path(directory);
  path.append("/.htaccess");
  return path;
}

}  // namespace quillet
