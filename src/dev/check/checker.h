// Checks files of a site with all rules.
#pragma once

#include <string>
#include <vector>

#include "dev/check/finding.h"
#include "dev/check/rules.h"
#include "dev/page/site.h"

namespace quillet::dev {

class checker {
 public:
  // Pages are the files below the root that end with ".html" and those that one of the patterns (fnmatch(3),
  // on the file's name or its path below the root) matches.
  checker(site_folders folders, std::vector<std::string> page_patterns);

  // The files: bytes that are set there are checked instead of those on the disk.
  [[nodiscard]] site &files() { return site_; }

  // What is found in these files and folders, which are normal paths, and in the files of macros, included files and
  // data files that the pages among them use. A path that cannot be read adds a message to `problems`.
  [[nodiscard]] std::vector<finding> check(const std::vector<std::string> &paths, std::vector<std::string> &problems);

 private:
  [[nodiscard]] bool is_page(const std::string &path) const;
  [[nodiscard]] checked_site find_pages(const std::vector<std::string> &paths);

  site site_;
  std::vector<std::string> patterns_;
};

// What a file seems to be by its name alone: "_x.cfg" a file of macros, "_x" data, anything else a page.
[[nodiscard]] document_kind kind_by_name(const std::string &path);

}  // namespace quillet::dev
