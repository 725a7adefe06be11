#include "dev/check/page_walk.h"

#include <algorithm>

#include "core/operators.h"
#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/walk_scopes.h"
#include "macro/macro_library.h"

namespace quillet::dev {

namespace {

constexpr int most_calls = 100000;  // of one page
constexpr int deepest_call = 60;

}  // namespace

void walk_output::literal(std::string_view bytes) {
  if (to == kind::nowhere) return;
  if (to == kind::page) {
    html.feed(bytes);
    return;
  }
  if (to == kind::statement) sql.feed(bytes);
  value.text += bytes;
}

void walk_output::unknown() {
  if (to == kind::nowhere) return;
  if (to == kind::page) {
    html.skip();
  } else {
    value.add_unknown();
  }
}

void walk_output::join(const walk_output &other, std::size_t common) {
  if (value.text != other.value.text) {
    value.text.resize(std::min(common, value.text.size()));
    value.add_unknown();
  }
  for (std::size_t i = 0; i < other.value.visitors.size(); ++i) {
    if (i >= value.visitors.size()) value.visitors.push_back(other.value.visitors[i]);
  }
  html_known = html_known && other.html_known && html.join(other.html);
  sql_known = sql_known && other.sql_known && sql == other.sql;
}

void page_walk::run() {
  quoting_ = quoting_html;
  calls_left_ = most_calls;
  load_configuration();
  walk_output page(walk_output::kind::page);
  if (define_macros(*page_.page, &page) > 0) return;
  for (const template_text *whole : page_.page->templates()) evaluate(*whole, {page_.page}, page);
}

void page_walk::load_configuration() {
  if (page_.macros.empty()) return;
  const site_folders &folders = in_.files.folders();
  const document &first = *page_.macros.front();
  for (const std::string &folder : {folders.work, folders.root}) {
    if (!folder.empty() && first.path() == folder + "/_macro.cfg") {
      define_macros(first, nullptr);
      return;
    }
  }
}

int page_walk::define_macros(const document &file, walk_output *out) {
  const known_macro *const outer_autoexec = state_->macros.find("autoexec");
  const known_macro *const outer_main = state_->macros.find("main");
  const known_macro saved[] = {outer_autoexec == nullptr ? known_macro{} : *outer_autoexec,
                               outer_main == nullptr ? known_macro{} : *outer_main};
  walk_state &state = state_.change();
  state.macros.remove("autoexec");
  state.macros.remove("main");
  for (const macro_block &each : file.macros()) {
    const std::string_view names = each.parameters.empty()
                                       ? std::string_view()
                                       : file.text({each.parameters.front().begin, each.parameters.back().end});
    state.macros.put({std::string(file.text(each.name)), &file, names, &each.body});
  }
  if (const known_macro *autoexec = state_->macros.find("autoexec"); autoexec != nullptr) {
    walk_output lost(walk_output::kind::nowhere);
    call_macro(known_macro(*autoexec), {}, {&file}, lost);
  }
  if (const known_macro *main = out == nullptr ? nullptr : state_->macros.find("main"); main != nullptr) {
    call_macro(known_macro(*main), {}, {&file}, *out);
  }
  for (const known_macro &each : saved) {
    const std::string_view name = &each == saved ? "autoexec" : "main";
    if (each.file == nullptr) {
      state_.change().macros.remove(name);
    } else {
      state_.change().macros.put(each);
    }
  }
  return static_cast<int>(file.macros().size());
}

void page_walk::evaluate(const template_text &part, const frame &in, walk_output &out) {
  auto call = part.calls.begin();
  for (const text_range &each : part.literals) {
    for (; call != part.calls.end() && call->range.begin < each.begin; ++call) make_call(*call, in, out);
    literal(each, in, out);
  }
  for (; call != part.calls.end(); ++call) make_call(*call, in, out);
}

// Escapes become their characters, and references what their arguments are.
void page_walk::literal(text_range range, const frame &in, walk_output &out) {
  std::string_view rest = in.file->text(range);
  const std::string_view special = in.called == nullptr ? "^" : "^$";
  while (!rest.empty()) {
    const std::size_t at = std::min(rest.find_first_of(special), rest.size());
    if (at > 0) out.literal(rest.substr(0, at));
    rest.remove_prefix(at);
    if (rest.empty()) return;
    std::size_t length = 1;
    if (rest.front() == '$') {
      length += reference(rest.substr(1), in, out);
    } else if (rest.size() > 1 && (rest[1] == '^' || rest[1] == ';')) {
      out.literal(rest.substr(1, 1));
      length = 2;
    } else {
      out.literal("^");
    }
    rest.remove_prefix(length);
  }
}

// Gives the length of the reference that the text after a "$" is.
std::size_t page_walk::reference(std::string_view rest, const frame &in, walk_output &out) {
  if (rest.starts_with('$')) {
    out.literal("$");
    return 1;
  }
  std::size_t length = 0;
  std::size_t number = 0;
  if (!rest.empty() && is_digit(rest.front())) {
    while (length < 2 && length < rest.size() && is_digit(rest[length])) {
      number = number * 10 + static_cast<std::size_t>(rest[length++] - '0');
    }
  } else if (!in.called->parameter_names.empty()) {
    number = static_cast<std::size_t>(find_parameter_name(in.called->parameter_names, rest, length));
  }
  if (length == 0) {
    out.literal("$");
  } else if (number >= 1 && number <= in.arguments.size()) {
    const argument &given = in.arguments[number - 1];
    evaluate(*given.bytes, *given.of, out);
  }
  return length;
}

void page_walk::make_call(const call &each, const frame &in, walk_output &out) {
  if (--calls_left_ < 0 || depth_ >= deepest_call) {
    state_.change().forget_all();
    return out.unknown();
  }
  const depth_scope deeper(depth_);
  const std::string_view name = in.file->text(each.name);
  const operator_entry *const called = find_operator(name);
  const auto count = static_cast<int>(each.parameters.size());
  if (called == nullptr || (called->parameter_count != 0 && called->parameter_count != count)) {
    // The call is refused; only the calls inside it are made.
    if (called == nullptr || (called->flags & lazy) == 0) values_of(each, in);
    return out.unknown();
  }
  const std::span<const operator_row> rows = operators();
  const auto row = std::lower_bound(rows.begin(), rows.end(), name,
                                    [](const operator_row &a, std::string_view b) { return a.name < b; });
  if (row != rows.end() && row->name == name) return (this->*row->function)(each, in, out);
  values_of(each, in);
  out.unknown();
}

void page_walk::call_macro(const known_macro &called, std::span<const template_text> arguments, const frame &in,
                           walk_output &out) {
  frame inner{called.file, &called};
  for (const template_text &each : arguments) inner.arguments.push_back({&each, &in});
  if (called.body != nullptr) evaluate(*called.body, inner, out);
}

walk_value page_walk::value_of(const template_text &part, const frame &in) {
  walk_output kept(walk_output::kind::value);
  evaluate(part, in, kept);
  return std::move(kept.value);
}

walk_value page_walk::value_of(const call &each, std::size_t index, const frame &in) {
  return index < each.parameters.size() ? value_of(each.parameters[index], in) : walk_value();
}

std::vector<walk_value> page_walk::values_of(const call &each, const frame &in) {
  std::vector<walk_value> values;
  for (const template_text &parameter : each.parameters) values.push_back(value_of(parameter, in));
  return values;
}

// The value as an operator gives it.
void page_walk::put(const walk_value &value, walk_output &out) {
  if (out.to == walk_output::kind::nowhere) return;
  if (out.to == walk_output::kind::value) {
    out.value.text += value.text;
  } else if (value.is_known() && value.visitors.empty()) {
    out.literal(value.text);
  } else {
    out.unknown();
  }
  for (const visitor_part &part : value.visitors) {
    check_place(part, out);
    if (out.to != walk_output::kind::page) out.value.visitors.push_back(part);
  }
}

void page_walk::report(walk_finding found) { findings_.push_back(std::move(found)); }

// An editor can put the right name where the call has the wrong one.
void page_walk::replace(walk_finding &found, const call &each, std::string_view wrong, std::string_view right) {
  for (const template_text &parameter : each.parameters) {
    if (right.empty() || found.file->text(parameter.range) != wrong) continue;
    found.replaced = parameter.range;
    found.replacement = std::string(right);
    return;
  }
}

void page_walk::report(std::string_view rule, const call &each, const frame &in, std::string message) {
  report({.rule = rule, .file = in.file, .part = {each.caret(), each.name.end}, .message = std::move(message)});
}

std::vector<walk_finding> page_walk::findings() {
  if (calls_left_ < 0) return {};
  std::erase_if(findings_, [this](const walk_finding &each) {
    const auto is_checked = [this](const visitor_part &part) { return checked_sources_.contains(part.source); };
    if (!each.visitors.empty() && std::all_of(each.visitors.begin(), each.visitors.end(), is_checked)) return true;
    if (each.table && (asks_any_table_ || asked_tables_.contains(*each.table))) return true;
    if (!each.macro.empty() && (asks_any_macro_ || asked_macros_.contains(each.macro))) return true;
    if (each.is_about_html && !is_html_) return true;
    const auto is_asked = [this](const std::string &path) {
      return std::any_of(asked_paths_.begin(), asked_paths_.end(),
                         [&](const std::string &asked) { return may_be(asked, path); });
    };
    if (std::any_of(each.paths.begin(), each.paths.end(), is_asked)) return true;
    return !each.variable.empty() && (set_variables_.contains(each.variable) || state_->variables_unknown);
  });
  // A word is missing once.
  std::set<std::string> words;
  std::erase_if(findings_, [&](const walk_finding &each) {
    return each.rule == "logic-word" && !each.variable.empty() && !words.insert(each.variable).second;
  });
  return std::move(findings_);
}

}  // namespace quillet::dev
