// Following a page: the operators that choose, repeat, or pass on what they are given.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>

#include "core/quoting.h"
#include "core/text.h"
#include "dev/check/page_walk.h"
#include "dev/check/walk_scopes.h"

namespace quillet::dev {

namespace {

// The mode of that name; `otherwise` when there is none.
int quoting_mode_of(std::string_view name, int otherwise) {
  for (int number = quoting_none; number <= quoting_javascript; ++number) {
    if (quoting_mode_name(number) == name) return number;
  }
  return otherwise;
}

}  // namespace

// One of the texts is evaluated; a null one is nothing.
void page_walk::branches(std::span<const template_text *const> alternatives, const frame &in, walk_output &out) {
  const shared_walk_state before = state_;
  const walk_output start = out;
  const std::size_t common = out.value.text.size();
  std::optional<shared_walk_state> after;
  for (const template_text *each : alternatives) {
    state_ = before;
    walk_output branch = start;
    if (each != nullptr) evaluate(*each, in, branch);
    if (after) {
      after->join(state_);
      out.join(branch, common);
    } else {
      after = state_;
      out = std::move(branch);
    }
  }
  if (after) state_ = *after;
}

// One of the parameters from `first` on, as many as there can be.
void page_walk::choose(const call &each, std::size_t first, std::size_t count, const frame &in, walk_output &out) {
  std::array<const template_text *, 4> alternatives{};
  for (std::size_t i = 0; i < count; ++i) {
    alternatives[i] = first + i < each.parameters.size() ? &each.parameters[first + i] : nullptr;
  }
  branches(std::span(alternatives).first(count), in, out);
}

// Any number of times. When something is changed for the next time, what the first time found does not count.
void page_walk::loop(const template_text *condition, const template_text &body, const frame &in, walk_output &out) {
  const auto run_once = [&] {
    if (condition != nullptr) value_of(*condition, in);
    walk_output once = out;
    evaluate(body, in, once);
    out.join(once, out.value.text.size());
  };
  const shared_walk_state before = state_;
  const std::size_t found = findings_.size();
  run_once();
  if (state_.is_same(before)) return;
  findings_.resize(found, {"", nullptr, {}, ""});
  state_.join(before);
  run_once();
  state_.join(before);
}

void page_walk::note_checked(const walk_value &value) {
  for (const visitor_part &each : value.visitors) checked_sources_.insert(each.source);
}

// A visitor's value that is equal to a certain text is that text.
void page_walk::note_comparison(const walk_value &a, const walk_value &b) {
  if (b.visitors.empty() && !b.text.empty()) note_checked(a);
  if (a.visitors.empty() && !a.text.empty()) note_checked(b);
}

void page_walk::on_eq(const call &each, const frame &in, walk_output &out) {
  {
    const depth_scope guarded(guards_);
    const walk_value first = value_of(each, 0, in);
    note_comparison(first, value_of(each, 1, in));
  }
  choose(each, 2, 2, in, out);
}

void page_walk::on_ifdef(const call &each, const frame &in, walk_output &out) {
  {
    const depth_scope guarded(guards_);
    value_of(each, 0, in);
  }
  if (!each.parameters.empty()) check_message(each, each.parameters[0], in);
  choose(each, 1, 2, in, out);
}

void page_walk::on_start(const call &each, const frame &in, walk_output &out) {
  value_of(each, 0, in);
  choose(each, 1, 2, in, out);
}

void page_walk::on_default(const call &each, const frame &in, walk_output &out) {
  if (each.parameters.size() < 2) return;
  check_message(each, each.parameters[0], in);
  walk_output otherwise = out;
  const std::size_t common = out.value.text.size();
  {
    const depth_scope guarded(guards_);
    evaluate(each.parameters[0], in, out);
  }
  const shared_walk_state after = state_;
  evaluate(each.parameters[1], in, otherwise);
  state_.join(after);
  out.join(otherwise, common);
}

void page_walk::on_cmp(const call &each, const frame &in, walk_output &out) {
  for (std::size_t i = 0; i < 2 && i < each.parameters.size(); ++i) {
    const walk_value compared = value_of(each, i, in);
    if (!compared.is_known() || !compared.visitors.empty() || compared.text.empty()) continue;
    std::string_view digits = compared.text;
    digits.remove_prefix(std::min(digits.find_first_not_of(" \t\n"), digits.size()));
    if (digits.starts_with('-') || digits.starts_with('+')) digits.remove_prefix(1);
    if (!digits.empty() && is_digit(digits.front())) continue;
    report({.rule = "logic-word",
            .file = in.file,
            .part = each.parameters[i].range,
            .message = "cmp compares whole numbers, and \"" + compared.text + "\" is 0; eq compares texts"});
  }
  choose(each, 2, 3, in, out);
}

void page_walk::on_if(const call &each, const frame &in, walk_output &out) {
  value_of(each, 0, in);
  check_message(each, each.parameters[0], in);
  check_expression(each.parameters[0], in);
  // A field that is a number here is one as a whole.
  for (const call &inner : each.parameters[0].calls) {
    if (in.file->text(inner.name) == "number") checked_sources_.insert("form " + value_of(inner, 0, in).text);
  }
  choose(each, 1, each.parameters.size() == 4 ? 3 : 2, in, out);
}

void page_walk::on_while(const call &each, const frame &in, walk_output &out) {
  if (each.parameters.size() != 2) return;
  value_of(each, 0, in);
  loop(&each.parameters[0], each.parameters[1], in, out);
  check_expression(each.parameters[0], in);
}

void page_walk::on_for(const call &each, const frame &in, walk_output &out) {
  const walk_value name = value_of(each, 0, in);
  for (const std::size_t i : {1UL, 2UL, 4UL}) value_of(each, i, in);
  known_variable counter;
  counter.value.add_unknown();
  set_variable(name, counter);
  for (const std::size_t i : {1UL, 2UL}) {
    if (i < each.parameters.size()) check_expression(each.parameters[i], in);
  }
  if (each.parameters.size() > 3) loop(nullptr, each.parameters[3], in, out);
  set_variable(name, counter);
}

void page_walk::on_switch(const call &each, const frame &in, walk_output &out) {
  if (each.parameters.size() != 2) return;
  {
    const depth_scope guarded(guards_);
    note_checked(value_of(each, 0, in));
  }
  switches_.push_back(&out);
  walk_output lost(walk_output::kind::nowhere);
  evaluate(each.parameters[1], in, lost);
  switches_.pop_back();
}

void page_walk::on_case(const call &each, const frame &in, walk_output &) {
  if (switches_.empty() || each.parameters.size() < 2) return;
  for (std::size_t i = 0; i + 1 < each.parameters.size(); ++i) value_of(each, i, in);
  walk_output *const out = switches_.back();
  switches_.pop_back();  // a `case` in the branch belongs to an outer one
  const template_text *const alternatives[] = {&each.parameters.back(), nullptr};
  branches(alternatives, in, *out);
  switches_.push_back(out);
}

void page_walk::on_cache(const call &each, const frame &in, walk_output &out) {
  {
    const number_scope plain(quoting_, quoting_none);
    value_of(each, 0, in);
  }
  if (each.parameters.size() > 1) choose(each, 1, 2, in, out);
}

void page_walk::on_validate(const call &each, const frame &in, walk_output &out) {
  std::vector<const template_text *> alternatives;
  for (const template_text &parameter : each.parameters) alternatives.push_back(&parameter);
  branches(alternatives, in, out);
  checked_sources_.insert("form login");
}

void page_walk::on_userlist(const call &each, const frame &in, walk_output &out) {
  for (const template_text &parameter : each.parameters) loop(nullptr, parameter, in, out);
  out.unknown();
}

void page_walk::on_server(const call &each, const frame &in, walk_output &out) {
  if (each.parameters.size() != 2) return;
  value_of(each, 0, in);
  const shared_walk_state before = state_;
  evaluate(each.parameters[1], in, out);
  shared_walk_state without = before;
  std::swap(state_, without);
  if (const known_macro *error = state_->macros.find("SERVER_ERROR"); error != nullptr) {
    call_macro(known_macro(*error), {}, in, out);
  }
  state_.join(without);
}

void page_walk::on_level(const call &each, const frame &in, walk_output &out) {
  if (each.parameters.size() != 2) return;
  const walk_value name = value_of(each, 0, in);
  check_name(name, "mode", each, in);
  const number_scope mode(quoting_, name.is_known() ? quoting_mode_of(name.text, quoting_) : 0);
  evaluate(each.parameters[1], in, out);
}

void page_walk::on_process(const call &each, const frame &in, walk_output &out) {
  if (each.parameters.size() != 1) return;
  {
    const number_scope plain(quoting_, quoting_none);
    const walk_value value = value_of(each, 0, in);
    check_name(value, "template text", each, in);
  }
  state_.change().forget_all();
  out.unknown();
}

void page_walk::on_optionset(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  if (values.size() == 2 && values[0].visitors.empty() && !values[0].text.empty()) note_checked(values[1]);
  out.unknown();
}

// The members of every set: those of one that the page decides on.
void page_walk::on_optionand(const call &each, const frame &in, walk_output &out) {
  const std::vector<walk_value> values = values_of(each, in);
  const bool is_chosen =
      std::any_of(values.begin(), values.end(), [](const walk_value &value) { return value.visitors.empty(); });
  walk_value result;
  result.add_unknown();
  for (const walk_value &value : values) {
    if (!is_chosen) result.add_visitors(value.visitors);
  }
  put(result, out);
}

// A text made of the parameters' texts.
void page_walk::on_pass(const call &each, const frame &in, walk_output &out) {
  walk_value result;
  result.add_unknown();
  for (const walk_value &value : values_of(each, in)) result.add_visitors(value.visitors);
  put(result, out);
}

void page_walk::on_rem(const call &, const frame &, walk_output &) {}

}  // namespace quillet::dev
