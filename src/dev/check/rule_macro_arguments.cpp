// call-ignored, for macros: arguments that no definition of the macro uses.
#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "dev/check/rules.h"
#include "dev/page/literal.h"

namespace quillet::dev {

page_rule check_macro_arguments;

namespace {

// The highest number of an argument that the body refers to, "$2", or its parameters have.
std::size_t arguments_of(const document &file, const macro_block &defined) {
  const std::string_view body = file.text(defined.body.range);
  std::size_t most = defined.parameters.size();
  for (std::size_t at = 0; (at = body.find('$', at)) != std::string_view::npos;) {
    ++at;
    if (at < body.size() && body[at] == '$') ++at;
    std::size_t number = 0;
    for (int digits = 0; digits < 2 && at < body.size() && is_digit(body[at]); ++digits, ++at) {
      number = number * 10 + static_cast<std::size_t>(body[at] - '0');
    }
    most = std::max(most, number);
  }
  return most;
}

// The names of the macros that a page can call, and how many arguments the definition with the most of them takes.
using argument_counts = std::map<std::string_view, std::size_t>;

argument_counts count_arguments(const page_files &page) {
  argument_counts counts;
  for (const document *file : page.evaluated()) {
    if (file->kind() == document_kind::included) continue;
    for (const macro_block &each : file->macros()) {
      std::size_t &most = counts[file->text(each.name)];
      most = std::max(most, arguments_of(*file, each));
    }
  }
  return counts;
}

void check_call(const document &file, const call &each, const argument_counts &counts, finding_list &found) {
  const auto name = literal_parameter(file, each, 0);
  const auto taken = name ? counts.find(*name) : counts.end();
  if (taken == counts.end() || each.parameters.size() <= taken->second + 1) return;
  const template_text &first = each.parameters[taken->second + 1];
  const std::string_view text = file.text(first.range);
  if (std::all_of(text.begin(), text.end(), is_white_space)) return;
  const std::size_t start = first.range.begin;
  const std::size_t separator = file.text()[start - 1] == ';' ? start - 1 : start - 2;  // a backtick is between
  const std::size_t at = file.source_offset(separator);
  const std::string number = taken->second == 0 ? "no argument" : std::to_string(taken->second) + " arguments";
  found.add("call-ignored", file, {separator, separator + 1},
            "the macro " + *name + " takes " + (taken->second == 1 ? "1 argument" : number) +
                ", and what follows this ; is ignored; a ; in the text is written ^;",
            {{"Write ^;", {{{at, at}, "^"}}}});
}

bool makes_macros(const document &file) {
  bool found = false;
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) { found |= is_call_of(file, each, "macro_new"); });
  }
  return found;
}

}  // namespace

void check_macro_arguments(const page_files &page, const checked_site & /*in*/, finding_list &found) {
  if (page.uses_unknown_files) return;
  const std::vector<const document *> files = page.evaluated();
  if (std::any_of(files.begin(), files.end(), [](const document *each) { return makes_macros(*each); })) return;
  const argument_counts counts = count_arguments(page);
  for (const document *file : files) {
    for (const template_text *body : file->templates()) {
      for_each_call(file->text(), *body, [&](const call &each, auto) {
        if (is_call_of(*file, each, "macro")) check_call(*file, each, counts, found);
      });
    }
  }
}

}  // namespace quillet::dev
