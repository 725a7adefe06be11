// The rules about pages as a whole: page-main.
#include "dev/check/rules.h"

namespace quillet::dev {

page_rule check_page_main;

namespace {

bool defines(const document &file, std::string_view name) {
  for (const macro_block &each : file.macros()) {
    if (file.text(each.name) == name) return true;
  }
  return false;
}

}  // namespace

void check_page_main(const page_files &page, const checked_site &, finding_list &found) {
  const document &file = *page.page;
  if (file.macros().empty() || defines(file, "main")) return;
  found.add("page-main", file, file.macros().front().header, "this page defines macros, but no main: it shows nothing");
}

}  // namespace quillet::dev
