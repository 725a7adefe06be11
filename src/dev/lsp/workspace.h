// The files that an editor has open, and the sites that they belong to.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "dev/check/checker.h"
#include "dev/page/document.h"

namespace quillet::dev {

// The path that a URI names, and back. A URI of another scheme than "file" gives a path that names no file.
[[nodiscard]] std::string path_of_uri(std::string_view uri);
[[nodiscard]] std::string uri_of_path(std::string_view path);

class workspace {
 public:
  // Takes the text of a file from the editor from now on, or with `close` from the disk again.
  void open(const std::string &path, std::string text);
  void close(const std::string &path);
  [[nodiscard]] bool is_open(const std::string &path) const { return open_.contains(path); }
  [[nodiscard]] std::vector<std::string> open_paths() const;
  // Files on the disk have changed: all of them are read again when they are needed.
  void forget_files();

  // The file as what its name says; null when there is none. It lives until it changes.
  [[nodiscard]] const document *find(const std::string &path);
  // The site that a file belongs to.
  [[nodiscard]] site &site_of(const std::string &path) { return checker_of(path).files(); }
  // What `check` finds in an open file.
  [[nodiscard]] std::vector<finding> check(const std::string &path);

  // The pages and macro files of a file's site, the file itself first.
  [[nodiscard]] std::vector<const document *> templates_of_site(const std::string &path);
  // The files whose definitions count in a file: those that a page uses, of a macro file those of the pages that use
  // it.
  [[nodiscard]] std::vector<const document *> linked_templates(const std::string &path);
  // The data files that belong to them in the same way.
  [[nodiscard]] std::vector<const document *> linked_data(const std::string &path);

 private:
  [[nodiscard]] checker &checker_of(const std::string &path);
  [[nodiscard]] std::vector<page_files> linked_pages(const std::string &path);

  std::map<std::string, std::string> open_;                   // the sites of the open files, by path
  std::map<std::string, std::unique_ptr<checker>> checkers_;  // by the site's folders
};

}  // namespace quillet::dev
