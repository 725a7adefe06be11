#include "dev/lsp/workspace.h"

#include <algorithm>
#include <set>
#include <utility>

namespace quillet::dev {

namespace {

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool is_unreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~/").find(c) != std::string_view::npos;
}

// The folders of a site as one text.
std::string key_of(const site_folders &folders) { return folders.root + '\n' + folders.work; }

void add_once(std::vector<const document *> &to, const document *file) {
  if (file != nullptr && std::find(to.begin(), to.end(), file) == to.end()) to.push_back(file);
}

}  // namespace

std::string path_of_uri(std::string_view uri) {
  constexpr std::string_view scheme = "file://";
  if (!uri.starts_with(scheme)) return "/:" + std::string(uri);
  uri.remove_prefix(std::min(uri.find('/', scheme.size()), uri.size()));
  std::string path;
  for (std::size_t i = 0; i < uri.size(); ++i) {
    const int high = uri[i] == '%' && i + 2 < uri.size() ? hex_digit(uri[i + 1]) : -1;
    const int low = high < 0 ? -1 : hex_digit(uri[i + 2]);
    path += low < 0 ? uri[i] : static_cast<char>(high * 16 + low);
    if (low >= 0) i += 2;
  }
  return normal_path(path);
}

std::string uri_of_path(std::string_view path) {
  if (path.starts_with("/:")) return std::string(path.substr(2));
  std::string uri = "file://";
  for (const char c : path) {
    if (is_unreserved(c)) {
      uri += c;
      continue;
    }
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    uri += {'%', digits[byte >> 4U], digits[byte & 15U]};
  }
  return uri;
}

void workspace::open(const std::string &path, std::string text) {
  open_.try_emplace(path, key_of(find_site_folders(path, {}, {})));
  checker_of(path).files().set_bytes(path, std::move(text));
}

void workspace::close(const std::string &path) {
  checker_of(path).files().set_bytes(path, std::nullopt);
  open_.erase(path);
}

std::vector<std::string> workspace::open_paths() const {
  std::vector<std::string> paths;
  for (const auto &[path, key] : open_) paths.push_back(path);
  return paths;
}

void workspace::forget_files() {
  for (const auto &[key, each] : checkers_) each->files().forget_files();
}

checker &workspace::checker_of(const std::string &path) {
  if (const auto open = open_.find(path); open != open_.end()) {
    if (const auto known = checkers_.find(open->second); known != checkers_.end()) return *known->second;
  }
  site_folders folders = find_site_folders(path, {}, {});
  std::unique_ptr<checker> &known = checkers_[key_of(folders)];
  if (known == nullptr) known = std::make_unique<checker>(std::move(folders), std::vector<std::string>());
  return *known;
}

const document *workspace::find(const std::string &path) { return site_of(path).find(path, kind_by_name(path)); }

std::vector<finding> workspace::check(const std::string &path) {
  std::vector<std::string> problems;
  std::vector<finding> found = checker_of(path).check({path}, problems);
  std::erase_if(found, [&](const finding &each) { return each.path != path; });
  return found;
}

std::vector<const document *> workspace::templates_of_site(const std::string &path) {
  site &files = site_of(path);
  std::vector<const document *> found;
  add_once(found, find(path));
  std::set<std::string> paths;
  if (!files.folders().is_guessed) {
    for (const std::string &folder : {files.folders().root, files.folders().work}) {
      if (folder.empty()) continue;
      for (std::string &each : files_below(folder)) paths.insert(std::move(each));
    }
  }
  const std::string site_key = key_of(files.folders());
  for (const auto &[each, key] : open_) {
    if (key == site_key) paths.insert(each);
  }
  for (const std::string &each : paths) {
    const document_kind kind = kind_by_name(each);
    const bool is_page = kind == document_kind::page && (each.ends_with(".html") || is_open(each));
    if (is_page || kind == document_kind::macros) add_once(found, files.find(each, kind));
  }
  return found;
}

std::vector<page_files> workspace::linked_pages(const std::string &path) {
  site &files = site_of(path);
  std::vector<page_files> pages;
  const document *const file = find(path);
  if (file == nullptr) return pages;
  if (file->kind() == document_kind::page) {
    pages.push_back(files.files_of(*file));
    return pages;
  }
  for (const document *each : templates_of_site(path)) {
    if (each->kind() != document_kind::page) continue;
    page_files used = files.files_of(*each);
    const auto is_file = [&](const document *other) { return other->path() == path; };
    if (std::any_of(used.macros.begin(), used.macros.end(), is_file)) pages.push_back(std::move(used));
  }
  return pages;
}

std::vector<const document *> workspace::linked_templates(const std::string &path) {
  std::vector<const document *> found;
  add_once(found, find(path));
  for (const page_files &page : linked_pages(path)) {
    for (const document *each : page.evaluated()) add_once(found, each);
  }
  return found;
}

std::vector<const document *> workspace::linked_data(const std::string &path) {
  std::vector<const document *> found;
  for (const page_files &page : linked_pages(path)) {
    for (const document *each : page.data) add_once(found, each);
  }
  return found;
}

}  // namespace quillet::dev
