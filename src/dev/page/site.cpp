#include "dev/page/site.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unordered_set>

#include "cgi/file_names.h"
#include "cgi/request.h"
#include "core/file.h"
#include "dev/page/literal.h"

namespace quillet::dev {

namespace fs = std::filesystem;

namespace {

bool is_folder(const fs::path &path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

// While it lives, the program's own functions resolve names for a page.
class page_scope {
 public:
  page_scope(const std::string &page, const std::string &root)
      : page_path_(std::move(request.page_path)), root_(request.document_root) {
    request.page_path = text(page);
    request.document_root = root;
  }
  page_scope(const page_scope &) = delete;
  page_scope &operator=(const page_scope &) = delete;
  ~page_scope() {
    request.page_path = std::move(page_path_);
    request.document_root = root_;
  }

 private:
  text page_path_;
  std::string_view root_;
};

bool names_a_file(std::string_view name) { return name == "macro_use" || name == "include" || name == "load"; }

// "asis": nothing in the included text is evaluated, so that it calls nothing and changes nothing.
bool includes_as_is(const document &file, const call &each) {
  return is_call_of(file, each, "include") && each.parameters.size() == 2 && literal_parameter(file, each, 0) == "asis";
}

std::vector<file_reference> find_references(const document &file) {
  std::vector<file_reference> found;
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      const std::string_view name = file.text(each.name);
      if (!names_a_file(name)) return;
      std::optional<std::string> path = literal_parameter(file, each, each.parameters.size() - 1);
      if (path || !includes_as_is(file, each)) found.push_back({&each, name, std::move(path)});
    });
  }
  return found;
}

}  // namespace

std::string normal_path(std::string_view path) {
  std::error_code error;
  std::string normal = fs::absolute(fs::path(path), error).lexically_normal().string();
  if (normal.size() > 1 && normal.ends_with('/')) normal.pop_back();
  return normal;
}

site_folders find_site_folders(std::string_view path, std::string_view root, std::string_view work) {
  const fs::path start = normal_path(path);
  site_folders found;
  fs::path folder = start;
  while (!(is_folder(folder / "www") && is_folder(folder / "run")) && folder.has_relative_path()) {
    folder = folder.parent_path();
  }
  if (!folder.has_relative_path() && is_folder(start / "www")) folder = start;
  if (folder.has_relative_path()) {
    found = {folder / "www", folder / "run", false};
  } else {
    found.root = is_folder(start) ? start : start.parent_path();
  }
  if (!root.empty()) found = {normal_path(root), {}, false};
  if (!work.empty()) found.work = normal_path(work);
  return found;
}

std::vector<const document *> page_files::evaluated() const {
  std::vector<const document *> all{page};
  all.insert(all.end(), macros.begin(), macros.end());
  all.insert(all.end(), included.begin(), included.end());
  return all;
}

void site::set_bytes(const std::string &path, std::optional<std::string> bytes) {
  for (auto at = files_.lower_bound({path, document_kind{}}); at != files_.end() && at->first.first == path;) {
    at = files_.erase(at);
  }
  if (bytes) {
    bytes_[path] = std::move(*bytes);
  } else {
    bytes_.erase(path);
  }
}

void site::forget_files() { files_.clear(); }

std::optional<std::string> site::read(const std::string &path) const {
  if (const auto set = bytes_.find(path); set != bytes_.end()) return set->second;
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

const document *site::find(const std::string &path, document_kind kind) {
  const auto [at, is_new] = files_.try_emplace({path, kind});
  if (is_new) {
    std::optional<std::string> bytes = read(path);
    if (bytes) at->second.file = std::make_unique<document>(path, std::move(*bytes), kind);
  }
  return at->second.file.get();
}

const std::vector<file_reference> &site::references(const document &file) {
  entry &known = files_[{file.path(), file.kind()}];
  if (!known.references) known.references = find_references(file);
  return *known.references;
}

std::string site::resolve(const document &page, std::string_view name) const {
  const page_scope scope(page.path(), folders_.root);
  return fs::path(resolve_file(name).view()).lexically_normal().string();
}

std::string site::resolve_macro_file(const document &page, std::string_view name) const {
  const page_scope scope(page.path(), folders_.root);
  return fs::path(underscore_path(resolve_file(name)).view()).lexically_normal().string();
}

std::vector<const document *> site::macro_files(const document &page, std::string_view name) {
  std::vector<const document *> used;
  const auto add = [&](const std::string &path) {
    if (const document *file = find(path, document_kind::macros); file != nullptr) used.push_back(file);
  };
  if (name == "quillet.cfg") {
    const std::string &path = page.path();
    for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
      add(path.substr(0, slash) + "/_quillet.cfg");
    }
  } else if (name.ends_with('/')) {
    const std::string folder = resolve(page, name);
    directory_reader reader;
    for (bool ended = open_directory(folder, reader); !ended; ended = next_entry(reader)) {
      if (!reader.name.view().starts_with('.')) add(folder + std::string(reader.name.view()));
    }
  } else if (!name.empty()) {
    add(resolve_macro_file(page, name));
  }
  return used;
}

const document *site::find_data(const document &page, std::string_view name) {
  const document *found = nullptr;
  std::string_view folder = page.path();
  for (text path; found == nullptr && !(path = next_data_file(folder, name)).is_null();) {
    found = find(fs::path(path.view()).lexically_normal().string(), document_kind::data);
  }
  return found;
}

// Follows the references of a page.
class site::collector {
 public:
  collector(site &of, const document &page) : site_(of) { files_.page = &page; }

  page_files collect() {
    add_configuration();
    follow(*files_.page);
    // What is found while following is followed in its turn.
    for (std::size_t i = 0, j = 0; i < files_.macros.size() || j < files_.included.size();) {
      follow(i < files_.macros.size() ? *files_.macros[i++] : *files_.included[j++]);
    }
    return std::move(files_);
  }

 private:
  void add_configuration() {
    const document *own =
        site_.folders_.work.empty() ? nullptr : site_.find(site_.folders_.work + "/_macro.cfg", document_kind::macros);
    if (own == nullptr || own->macros().empty())
      own = site_.find(site_.folders_.root + "/_macro.cfg", document_kind::macros);
    add(own, files_.macros);
  }

  void follow(const document &file) {
    for (const file_reference &each : site_.references(file)) {
      if (!each.name) {
        if (each.operator_name != "load") files_.uses_unknown_files = true;
      } else if (each.operator_name == "macro_use") {
        for (const document *used : site_.macro_files(*files_.page, *each.name)) add(used, files_.macros);
      } else if (each.operator_name == "include") {
        add(site_.find(site_.resolve(*files_.page, *each.name), document_kind::included), files_.included);
      } else {
        add(site_.find_data(*files_.page, *each.name), files_.data);
      }
    }
  }

  void add(const document *file, std::vector<const document *> &to) {
    if (file != nullptr && known_.insert(file).second) to.push_back(file);
  }

  site &site_;
  page_files files_;
  std::unordered_set<const document *> known_;
};

page_files site::files_of(const document &page) { return collector(*this, page).collect(); }

std::vector<std::string> files_below(const std::string &folder) {
  std::vector<std::string> found;
  std::error_code error;
  fs::recursive_directory_iterator at(folder, fs::directory_options::skip_permission_denied, error);
  for (const fs::recursive_directory_iterator end; !error && at != end; at.increment(error)) {
    if (at->path().filename().string().starts_with('.')) {
      at.disable_recursion_pending();
    } else if (std::error_code unreadable; at->is_regular_file(unreadable)) {
      found.push_back(at->path().string());
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace quillet::dev
