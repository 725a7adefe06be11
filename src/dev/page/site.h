// The files of a site, read once each, and which of them a page uses.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dev/page/document.h"

namespace quillet::dev {

// Where a site is: absolute paths without a "/" at their end.
struct site_folders {
  std::string root;        // the document root
  std::string work;        // the program's working directory; empty when it is not known
  bool is_guessed = true;  // no folder is known to be the root; this is where the first path is
};

// The folders that are given or, where they are not, those found from a path: the nearest folder above that has
// both "www" and "run", or the path itself when it has "www".
[[nodiscard]] site_folders find_site_folders(std::string_view path, std::string_view root, std::string_view work);

// The path made absolute, without "." and ".." in it; symbolic links stay.
[[nodiscard]] std::string normal_path(std::string_view path);

// A call that names a file: macro_use, include, load, ... An `include` with "asis" is one only when its name is known.
struct file_reference {
  const call *where;
  std::string_view operator_name;
  std::optional<std::string> name;  // nothing when only the run of the page says it
};

// A page and all that it can be seen to use, directly or through other files, each file once.
struct page_files {
  const document *page = nullptr;
  std::vector<const document *> macros;    // the site's configuration first, then in the order of their use
  std::vector<const document *> included;  // by `include`
  std::vector<const document *> data;      // by `load`
  bool uses_unknown_files = false;         // the name of a file of macros, or of one to evaluate, is computed

  // The page itself, its macro files and what is included.
  [[nodiscard]] std::vector<const document *> evaluated() const;
};

class site {
 public:
  explicit site(site_folders folders) : folders_(std::move(folders)) {}

  [[nodiscard]] const site_folders &folders() const { return folders_; }

  // From now on the file is taken to have these bytes, whatever the disk says; without bytes, what the disk says.
  void set_bytes(const std::string &path, std::optional<std::string> bytes);
  // Forgets what was read from the disk.
  void forget_files();

  // The file, as what it is used for; null when it cannot be read. It lives until its bytes are set or forgotten.
  [[nodiscard]] const document *find(const std::string &path, document_kind kind);
  // The references to files in a document of this site.
  [[nodiscard]] const std::vector<file_reference> &references(const document &file);

  // What a page uses. It lives as long as its documents.
  [[nodiscard]] page_files files_of(const document &page);

  // Where a name in a page leads, as the program finds it: with `resolve_file`, and for macro files with "_" before
  // the last component. The paths are normal.
  [[nodiscard]] std::string resolve(const document &page, std::string_view name) const;
  [[nodiscard]] std::string resolve_macro_file(const document &page, std::string_view name) const;
  // The files that `^macro_use[name]` reads for the page, in their order; those that are not there are left out.
  [[nodiscard]] std::vector<const document *> macro_files(const document &page, std::string_view name);
  // The data file of that name nearest to the page; null when there is none.
  [[nodiscard]] const document *find_data(const document &page, std::string_view name);

 private:
  struct entry {
    std::unique_ptr<document> file;
    std::optional<std::vector<file_reference>> references;
  };
  class collector;

  [[nodiscard]] std::optional<std::string> read(const std::string &path) const;

  site_folders folders_;
  std::map<std::string, std::string> bytes_;  // set by hand
  std::map<std::pair<std::string, document_kind>, entry> files_;
};

// The files below a folder, sorted, without those whose name begins with ".".
[[nodiscard]] std::vector<std::string> files_below(const std::string &folder);

}  // namespace quillet::dev
