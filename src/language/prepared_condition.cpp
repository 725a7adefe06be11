#include "language/prepared_condition.h"

#include <algorithm>
#include <optional>

#include "core/quoting.h"
#include "core/scanner.h"
#include "language/expression.h"
#include "language/number_reading.h"

namespace quillet {

namespace {

// What is literal in a text, and its calls as they are in it.
struct call_finder {
  struct found_call {
    std::string_view source;
    std::string_view shown;  // the name in `^var[name]`; otherwise without data
  };

  std::vector<text> literals = std::vector<text>(1);
  std::vector<found_call> calls;
  const char *call_start = nullptr;  // of a call whose end is not known yet

  // The first literal after a call, which may be empty, begins where the call ends.
  void literal(std::string_view bytes) {
    if (call_start != nullptr) {
      calls.back().source = {call_start, static_cast<std::size_t>(bytes.data() - call_start)};
      call_start = nullptr;
    }
    literals.back().append(bytes);
  }
  void call(std::string_view name, const parameters &parameters) {
    const bool shows = name == "var" && parameters.count() == 1 && !has_markup(parameters[0]);
    calls.push_back({{}, shows ? parameters[0].substr(0) : std::string_view()});
    literals.emplace_back();
    call_start = name.data() - 1;
  }
};

bool is_one_of(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }

// Whether the number at that offset is read for itself, whatever it is.
bool is_apart(std::string_view expression, std::size_t offset) {
  const std::size_t after = offset + hole_number.size();
  return (offset == 0 || is_one_of(expression[offset - 1], "+-*/%<>=!&|^~(")) &&
         (after == expression.size() || is_one_of(expression[after], "+-*/%<>=!&|^)"));
}

// A number that a hole can take (see `hole_number`).
bool fits_hole(std::string_view bytes, double &number) {
  const number_reading read = read_plain_integer(bytes);
  number = read.value;
  return read.length != 0 && read.length == bytes.size();
}

}  // namespace

prepared_condition::prepared_condition(repeated_text &keeper, std::string_view source, bool unquoted)
    : unquoted_(unquoted) {
  call_finder found;
  scanner(source, found).run();
  literals_ = std::move(found.literals);
  text expression;
  std::vector<expression_hole> holes;
  for (std::size_t i = 0; i < found.calls.size(); ++i) {
    text stripped = copy_text(literals_[i]);
    remove_white_space(stripped);
    expression.append(stripped);
    const call_finder::found_call &call = found.calls[i];
    variable *const shown = call.shown.data() == nullptr ? nullptr : &variable_named(call.shown);
    holes.push_back({expression.size(), shown});
    holes_.push_back({{keeper, call.source}, shown});
    expression.append(hole_number);
  }
  text stripped = copy_text(literals_.back());
  remove_white_space(stripped);
  expression.append(stripped);
  has_form_ = holes.size() <= most_holes && std::all_of(holes.begin(), holes.end(), [&](const expression_hole &each) {
                return is_apart(expression, each.offset);
              });
  if (has_form_) expression_ = prepared_expression(expression, holes);
}

bool prepared_condition::compute_shown(double &value) const {
  if (calls.depth >= max_call_depth) return false;
  double numbers[most_holes];
  for (std::size_t i = 0; i < holes_.size(); ++i) {
    variable *const shown = holes_[i].shown;
    if (shown == nullptr) return false;
    numbers[i] = shown->number();
    if (shown->is_integer() ? numbers[i] < 0 : !fits_hole(shown->value(), numbers[i])) return false;
  }
  return expression_.compute(numbers, value);
}

bool prepared_condition::expand(text &expanded, double *numbers) {
  bool all_fit = has_form_;
  std::optional<quoting_scope> scope;
  if (unquoted_) scope.emplace(quoting_none);
  for (std::size_t i = 0; i < holes_.size(); ++i) {
    expanded.append(literals_[i]);
    const std::size_t before = expanded.size();
    holes_[i].call.evaluate(expanded);
    all_fit = all_fit && fits_hole(expanded.view().substr(before), numbers[i]);
  }
  expanded.append(literals_.back());
  return all_fit;
}

bool prepared_condition::compute_called(std::string_view operator_name, double &value, text &out, bool &is_empty) {
  double numbers[most_holes];
  text expanded;
  const bool all_fit = expand(expanded, numbers);
  is_empty = expanded.is_empty();
  if (all_fit && expression_.compute(numbers, value)) return true;
  return compute_expression(operator_name, expanded, value, out);
}

bool prepared_condition::compute(std::string_view operator_name, double &value, text &out, bool &is_empty) {
  is_empty = false;
  if (!holes_.empty()) {
    return (has_form_ && compute_shown(value)) || compute_called(operator_name, value, out, is_empty);
  }
  is_empty = literals_.back().is_empty();
  return expression_.compute(nullptr, value) || compute_expression(operator_name, literals_.back(), value, out);
}

}  // namespace quillet
