#include "dev/check/checker.h"

#include <fnmatch.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <utility>

#include "dev/check/ignore_comments.h"

namespace quillet::dev {

namespace fs = std::filesystem;

namespace {

std::string file_name(const std::string &path) { return path.substr(path.rfind('/') + 1); }

bool is_folder(const std::string &path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool is_below(const std::string &path, const std::string &folder) {
  return path.starts_with(folder) && path.size() > folder.size() && (folder == "/" || path[folder.size()] == '/');
}

// The documents to check, each once.
class targets {
 public:
  explicit targets(const std::vector<std::string> &paths) : paths_(paths) {}

  [[nodiscard]] bool names(const std::string &path) const {
    return std::any_of(paths_.begin(), paths_.end(),
                       [&](const std::string &each) { return path == each || is_below(path, each); });
  }
  void add(const document *file) {
    if (file == nullptr || !known_.insert(file).second) return;
    files_.push_back(file);
    file_paths_.insert(file->path());
  }
  void add_page(const page_files &page) {
    for (const document *each : page.evaluated()) add(each);
    for (const document *each : page.data) add(each);
  }
  [[nodiscard]] bool holds(const std::string &path) const { return file_paths_.contains(path); }
  [[nodiscard]] const std::vector<const document *> &files() const { return files_; }

 private:
  const std::vector<std::string> &paths_;
  std::vector<const document *> files_;
  std::set<const document *> known_;
  std::set<std::string> file_paths_;
};

// Those of a page that the targets name, though the page itself is none.
void add_named(const page_files &page, targets &to) {
  for (const document *each : page.evaluated()) {
    if (to.names(each->path())) to.add(each);
  }
  for (const document *each : page.data) {
    if (to.names(each->path())) to.add(each);
  }
}

// The folders of the pages and those above them, up to the root.
std::set<std::string> folders_of(const std::vector<const page_files *> &pages, const std::string &root) {
  std::set<std::string> folders;
  for (const page_files *page : pages) {
    std::string folder = page->page->path();
    do {
      folder.resize(folder.rfind('/'));
    } while (folders.insert(folder).second && is_below(folder, root));
  }
  return folders;
}

void drop_silenced(site &files, std::vector<finding> &found) {
  std::map<std::string, ignore_comments> comments;
  std::erase_if(found, [&](const finding &each) {
    auto at = comments.find(each.path);
    if (at == comments.end()) {
      const document *file = nullptr;
      for (const document_kind kind :
           {document_kind::page, document_kind::macros, document_kind::included, document_kind::data}) {
        if (file == nullptr) file = files.find(each.path, kind);
      }
      at = comments.try_emplace(each.path, file->source()).first;
    }
    return at->second.silence(each.rule, each.place.line);
  });
}

}  // namespace

document_kind kind_by_name(const std::string &path) {
  const std::string name = file_name(path);
  if (name == ".profile" || name == ".htaccess") return document_kind::data;
  if (!name.starts_with('_')) return document_kind::page;
  return name.ends_with(".cfg") ? document_kind::macros : document_kind::data;
}

checker::checker(site_folders folders, std::vector<std::string> page_patterns)
    : site_(std::move(folders)), patterns_(std::move(page_patterns)) {}

bool checker::is_page(const std::string &path) const {
  const std::string name = file_name(path);
  if (name.starts_with('_')) return false;
  if (name.ends_with(".html")) return true;
  const std::string &root = site_.folders().root;
  const std::string below = is_below(path, root) ? path.substr(root.size() + 1) : name;
  return std::any_of(patterns_.begin(), patterns_.end(), [&](const std::string &each) {
    return fnmatch(each.c_str(), name.c_str(), 0) == 0 || fnmatch(each.c_str(), below.c_str(), 0) == 0;
  });
}

checked_site checker::find_pages(const std::vector<std::string> &paths) {
  std::set<std::string> candidates;
  const auto add_below = [&](const std::string &folder) {
    for (std::string &each : files_below(folder)) {
      if (is_page(each)) candidates.insert(std::move(each));
    }
  };
  if (!site_.folders().is_guessed) add_below(site_.folders().root);
  for (const std::string &each : paths) {
    if (is_folder(each)) {
      add_below(each);
    } else if (is_page(each) || kind_by_name(each) == document_kind::page) {
      candidates.insert(each);
    }
  }
  checked_site in{.files = site_, .pages = {}, .is_whole = true};
  std::set<std::string> included;
  for (const std::string &each : candidates) {
    const document *const page = site_.find(each, document_kind::page);
    if (page == nullptr) continue;
    in.pages.push_back(site_.files_of(*page));
    for (const document *file : in.pages.back().included) included.insert(file->path());
  }
  // What is merely included is no page.
  std::erase_if(in.pages, [&](const page_files &each) {
    const std::vector<macro_block> &macros = each.page->macros();
    const bool has_main = std::any_of(macros.begin(), macros.end(), [&](const macro_block &defined) {
      return each.page->text(defined.name) == "main";
    });
    return !has_main && included.contains(each.page->path());
  });
  in.is_whole = !site_.folders().is_guessed || std::any_of(paths.begin(), paths.end(), [&](const std::string &each) {
    return each == site_.folders().root;
  });
  return in;
}

std::vector<finding> checker::check(const std::vector<std::string> &paths, std::vector<std::string> &problems) {
  checked_site in = find_pages(paths);
  targets to(paths);
  std::vector<const page_files *> &pages = in.checked;
  for (const page_files &each : in.pages) {
    if (to.names(each.page->path())) {
      pages.push_back(&each);
      to.add_page(each);
    } else {
      add_named(each, to);
    }
  }
  const std::string &work = site_.folders().work;
  if (!pages.empty() && !work.empty()) {
    to.add(site_.find(work + "/.profile", document_kind::data));
    to.add(site_.find(work + "/_macro.cfg", document_kind::macros));  // one without macros is not used, by mistake
  }
  for (const std::string &folder : folders_of(pages, site_.folders().root)) {
    to.add(site_.find(folder + "/.htaccess", document_kind::data));
  }
  // Files that no page uses.
  for (const std::string &each : paths) {
    if (is_folder(each)) {
      for (const std::string &file : files_below(each)) {
        if (file_name(file).starts_with('_') && !to.holds(file)) to.add(site_.find(file, kind_by_name(file)));
      }
    } else if (!to.holds(each)) {
      const document *const file = site_.find(each, kind_by_name(each));
      if (file == nullptr) problems.push_back("cannot read " + each);
      to.add(file);
    }
  }

  finding_list found;
  for (const rule &each : all_rules()) {
    if (each.check_file == nullptr) continue;
    for (const document *file : to.files()) each.check_file(*file, in, found);
  }
  for (const rule &each : all_rules()) {
    if (each.check_page == nullptr) continue;
    for (const page_files *page : pages) each.check_page(*page, in, found);
  }
  for (const rule &each : all_rules()) {
    if (each.check_site != nullptr) each.check_site(in, found);
  }
  std::vector<finding> findings = found.take();
  std::erase_if(findings, [&](const finding &each) { return !to.holds(each.path); });
  drop_silenced(site_, findings);
  return findings;
}

}  // namespace quillet::dev
