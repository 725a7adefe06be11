// The rules about pages and macro files as a whole: page-main, page-autoexec, macro-unused, server-error.
#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "dev/check/rules.h"
#include "dev/page/literal.h"

namespace quillet::dev {

page_rule check_page_main;
file_rule check_autoexec;
site_rule check_unused_macros;
page_rule check_server_errors;

namespace {

bool defines(const document &file, std::string_view name) {
  return std::any_of(file.macros().begin(), file.macros().end(),
                     [&](const macro_block &each) { return file.text(each.name) == name; });
}

// Whether a macro of that name may be defined while the page runs.
bool defines_while_running(const document &file, std::string_view name) {
  bool found = false;
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      if (!is_call_of(file, each, "macro_new")) return;
      const auto header = literal_parameter(file, each, 0);
      if (!header || header->substr(0, header->find('[')) == name) found = true;
    });
  }
  return found;
}

bool is_defined_for(const page_files &page, std::string_view name) {
  const std::vector<const document *> files = page.evaluated();
  return std::any_of(files.begin(), files.end(), [&](const document *each) {
    const bool is_included = std::find(page.included.begin(), page.included.end(), each) != page.included.end();
    return (!is_included && defines(*each, name)) || defines_while_running(*each, name);
  });
}

}  // namespace

void check_page_main(const page_files &page, const checked_site & /*in*/, finding_list &found) {
  const document &file = *page.page;
  if (file.macros().empty() || defines(file, "main") || defines_while_running(file, "main")) return;
  if (found.has("text-line", file.path())) return;  // a line that was not meant to define anything
  found.add("page-main", file, file.macros().front().header,
            "this page defines macros and no main, so it shows nothing; begin its text with a line @main");
}

// --- page-autoexec ---

namespace {

// Operators whose parameters, from that one on, become part of their result as they are.
struct branching {
  std::string_view name;
  std::size_t first;
};
constexpr std::array<branching, 8> branchings = {
    {{"if", 1}, {"ifdef", 1}, {"eq", 2}, {"cmp", 2}, {"level", 1}, {"context", 1}, {"empty", 0}, {"start", 1}}};

void check_lost_output(const document &file, const template_text &part, finding_list &found) {
  for (const text_range &literal : part.literals) {
    const std::string_view text = file.text(literal);
    const auto shown = std::find_if_not(text.begin(), text.end(), is_white_space);
    if (shown == text.end()) continue;
    const std::size_t begin = literal.begin + static_cast<std::size_t>(shown - text.begin());
    found.add("page-autoexec", file, {begin, literal.end},
              "the output of autoexec is dropped; this text is never shown");
    return;
  }
  for (const call &each : part.calls) {
    const auto branching_call = std::find_if(branchings.begin(), branchings.end(), [&](const branching &known) {
      return known.name == file.text(each.name);
    });
    if (branching_call == branchings.end()) continue;
    for (std::size_t i = branching_call->first; i < each.parameters.size(); ++i) {
      check_lost_output(file, each.parameters[i], found);
    }
  }
}

}  // namespace

void check_autoexec(const document &file, const checked_site & /*in*/, finding_list &found) {
  for (const macro_block &each : file.macros()) {
    if (file.text(each.name) != "autoexec" || found.has_within("call-unclosed", file, each.body.range)) continue;
    check_lost_output(file, each.body, found);
  }
}

// --- macro-unused ---

namespace {

// What the program calls by itself.
constexpr std::array<std::string_view, 5> called_by_program = {"main", "autoexec", "SERVER_ERROR", "MIME_TYPES",
                                                               "font"};

// The names that calls can have: words that are written somewhere, and patterns of those that are put together.
class used_names {
 public:
  void add_file(const document &file) {
    for (const template_text *body : file.templates()) {
      for_each_call(file.text(), *body, [&](const call &each, auto) {
        for (std::size_t i = 0; i < each.parameters.size(); ++i) add(file, each, i);
      });
    }
  }

  [[nodiscard]] bool has(const std::string &name) const {
    return all_ || words_.contains(name) || std::any_of(parts_.begin(), parts_.end(), [&](const auto &each) {
             return name.starts_with(each.first) && name.ends_with(each.second);
           });
  }

 private:
  void add(const document &file, const call &each, std::size_t index) {
    const template_text &parameter = each.parameters[index];
    // A name may be an argument of any call, and become a macro's name there.
    if (auto word = literal_value(file, parameter)) {
      words_.insert(std::move(*word));
      return;
    }
    const bool is_name = index == 0 && (is_call_of(file, each, "macro") || is_call_of(file, each, "macro_exists"));
    if (is_name) add_pattern(file, parameter);
  }

  // "row_^form[kind]" can be every name that begins with "row_".
  void add_pattern(const document &file, const template_text &name) {
    const std::string_view text = file.text(name.range);
    const std::size_t first = text.find_first_of("^$");
    std::string_view last;
    if (!name.calls.empty() && !name.literals.empty() && name.literals.back().end == name.range.end) {
      last = file.text(name.literals.back());
    }
    if (last.find('$') != std::string_view::npos) last = {};
    const std::string_view before = text.substr(0, first);
    // What a macro is given as a whole was found where it is called; anything else may be any name.
    if (before.empty() && last.empty() && text.find('^') == std::string_view::npos) return;
    if (before.empty() && last.empty()) all_ = true;
    parts_.insert({std::string(before), std::string(last)});
  }

  bool all_ = false;
  std::set<std::string> words_;
  std::set<std::pair<std::string, std::string>> parts_;
};

}  // namespace

void check_unused_macros(const checked_site &in, finding_list &found) {
  if (!in.is_whole) return;
  std::set<const document *> files;
  for (const page_files &page : in.pages) {
    if (page.uses_unknown_files) return;  // there are calls that nobody can see
    for (const document *each : page.evaluated()) files.insert(each);
  }
  used_names used;
  for (const document *each : files) used.add_file(*each);
  for (const document *each : files) {
    if (each->kind() == document_kind::included) continue;
    for (const macro_block &defined : each->macros()) {
      const std::string name(each->text(defined.name));
      if (std::find(called_by_program.begin(), called_by_program.end(), name) != called_by_program.end()) continue;
      if (used.has(name) || found.has_within("text-line", *each, defined.header)) continue;
      if (found.has("page-main", each->path()) || found.says("name-macro", "did you mean " + name + "?")) continue;
      found.add("macro-unused", *each, defined.header, "nothing calls the macro " + name);
    }
  }
}

// --- server-error ---

void check_server_errors(const page_files &page, const checked_site & /*in*/, finding_list &found) {
  if (page.uses_unknown_files) return;
  bool is_known = false;
  for (const document *file : page.evaluated()) {
    for (const template_text *body : file->templates()) {
      for_each_call(file->text(), *body, [&](const call &each, auto) {
        if (is_known || !is_call_of(*file, each, "server")) return;
        is_known = is_defined_for(page, "SERVER_ERROR");
        if (is_known) return;
        found.add("server-error", *file, {each.caret(), each.name.end},
                  "without a macro SERVER_ERROR visitors see [undefined macro SERVER_ERROR] when the server is down");
      });
    }
  }
}

}  // namespace quillet::dev
