// The rules that follow pages: name-macro, name-table, name-column, name-file, logic-number, logic-word,
// logic-message, visitor-pattern, visitor-name, visitor-quoting, walk-change.
#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "dev/check/near_name.h"
#include "dev/check/page_walk.h"
#include "dev/check/rules.h"

namespace quillet::dev {

site_rule follow_pages;

namespace {

// Whether some page writes one of the files.
bool is_written(const std::vector<std::string> &paths, const std::set<std::string> &written) {
  return std::any_of(paths.begin(), paths.end(), [&](const std::string &path) {
    return std::any_of(written.begin(), written.end(), [&](const std::string &each) { return may_be(each, path); });
  });
}

// Whether the page calls an operator that writes files.
bool can_write(const page_files &page) {
  const std::vector<const document *> files = page.evaluated();
  return std::any_of(files.begin(), files.end(), [](const document *file) {
    const auto has = [&](std::string_view call) { return file->text().find(call) != std::string_view::npos; };
    return has("^save[") || has("^upload[") || has("^counter[") || has("^gif_template[");
  });
}

// Whether a mistake that was found before is the reason for this one.
bool follows_from_another(const walk_finding &each, const finding_list &found) {
  const auto has_any = [&](const document &file, std::initializer_list<std::string_view> rules) {
    return std::any_of(rules.begin(), rules.end(), [&](std::string_view rule) { return found.has(rule, file.path()); });
  };
  // Blanks for tabs, or a byte order mark, change the names of columns; what is no call makes no table.
  if (each.data != nullptr && has_any(*each.data, {"text-cells", "text-bytes"})) return true;
  if (each.rule == "name-macro") return has_any(*each.file, {"text-bytes"});
  return each.rule == "name-table" && has_any(*each.file, {"call-unclosed", "call-backtick"});
}

}  // namespace

void follow_pages(const checked_site &in, finding_list &found) {
  walk_memory memory;
  std::vector<walk_finding> missing_files;
  std::set<std::string> written;
  std::set<const page_files *> followed;
  const auto add = [&](walk_finding &each) {
    if (follows_from_another(each, found)) return;
    found.add(each.rule, *each.file, each.part, std::move(each.message),
              fix_near_name(*each.file, each.replaced, each.replacement));
  };
  const auto follow = [&](const page_files &page, const auto &use) {
    page_walk walk(page, in, memory);
    walk.run();
    written.insert(walk.written().begin(), walk.written().end());
    for (walk_finding &each : walk.findings()) use(each);
    followed.insert(&page);
  };
  for (const page_files *page : in.checked) {
    follow(*page, [&](walk_finding &each) {
      if (each.paths.empty()) return add(each);
      missing_files.push_back(std::move(each));
    });
  }
  if (missing_files.empty()) return;
  // Another page may write what is missing.
  for (const page_files &page : in.pages) {
    if (!followed.contains(&page) && can_write(page)) follow(page, [](const walk_finding &) {});
  }
  for (walk_finding &each : missing_files) {
    if (!is_written(each.paths, written)) add(each);
  }
}

}  // namespace quillet::dev
