// The rules: one row each, and the functions that find what they are about.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "dev/check/finding.h"
#include "dev/page/site.h"

namespace quillet::dev {

// What the rules look at.
struct checked_site {
  site &files;
  std::vector<page_files> pages;                 // all that are known, by path
  std::vector<const page_files *> checked = {};  // those of them that are checked
  bool is_whole;                                 // these are all pages of the site
};

// Called once for each file that is checked; one that is used in two ways is checked in both.
using file_rule = void(const document &file, const checked_site &in, finding_list &found);
// Called once for each page that is checked, after the rules for files. What a page finds in a file that many pages
// use is kept once.
using page_rule = void(const page_files &page, const checked_site &in, finding_list &found);
// Called once, after the rules for pages.
using site_rule = void(const checked_site &in, finding_list &found);

// A function may serve several rules; the first one of them has it.
struct rule {
  std::string_view name;
  severity level;
  std::string_view summary;  // a sentence, for `quillet-dev check --rules`, SARIF and editors
  file_rule *check_file = nullptr;
  page_rule *check_page = nullptr;
  site_rule *check_site = nullptr;
};

// In the order in which they run.
[[nodiscard]] std::span<const rule> all_rules();
// The rule of that name, which must exist.
[[nodiscard]] const rule &find_rule(std::string_view name);

}  // namespace quillet::dev
