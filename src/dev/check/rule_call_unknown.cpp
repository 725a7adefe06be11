// call-unknown: calls of operators that do not exist.
#include <algorithm>
#include <string>
#include <vector>

#include "core/operators.h"
#include "dev/check/near_name.h"
#include "dev/check/rules.h"

namespace quillet::dev {

file_rule check_call_names;

namespace {

bool is_word(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(),
                                      [](char c) { return is_letter(c) || is_digit(c) || c == '_' || c == '-'; });
}

std::string_view nearest_operator(std::string_view name) {
  std::vector<std::string_view> names;
  for (const operator_entry &each : registered_operators()) names.push_back(each.name);
  return find_near_name(name, names);
}

bool is_macro(std::string_view name, const checked_site &in) {
  for (const page_files &page : in.pages) {
    for (const document *file : page.evaluated()) {
      for (const macro_block &each : file->macros()) {
        if (file->text(each.name) == name) return true;
      }
    }
  }
  return false;
}

void report(const document &file, const call &each, const checked_site &in, finding_list &found) {
  const std::string name(file.text(each.name));
  const text_range range = file.source_range(each.name);
  const auto add = [&](std::string message, std::vector<quick_fix> fixes) {
    found.add("call-unknown", file, {each.caret(), each.name.end}, std::move(message), std::move(fixes));
  };
  const quick_fix literal{"Write ^^ for a ^", {{{range.begin, range.begin}, "^"}}};
  if (!is_word(name)) {
    return add(name.empty() ? "^[ is a call without a name; a ^ in the text, as in a regular expression, is written ^^"
                            : "this ^ begins a call, as a [ follows; a ^ in the text is written ^^",
               {literal});
  }
  if (is_macro(name, in)) {
    return add("there is no operator " + name + "; the macro is called with ^macro[" + name + "]",
               {{"Call the macro", {{{range.begin, range.end + 1}, "macro[" + name + ";"}}}});
  }
  const std::string nearest(nearest_operator(name));
  if (nearest.empty()) return add("there is no operator " + name, {});
  add("there is no operator " + name + "; did you mean " + nearest + "?",
      {{"Change to " + nearest, {{range, nearest}}}});
}

}  // namespace

void check_call_names(const document &file, const checked_site &in, finding_list &found) {
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      if (find_operator(file.text(each.name)) != nullptr || found.has_within("call-backtick", file, each.range)) return;
      report(file, each, in, found);
    });
  }
}

}  // namespace quillet::dev
