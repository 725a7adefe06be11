#include <algorithm>
#include <optional>

#include "cgi/form.h"
#include "core/onlooker.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

// ^form[name]
//
// The value of the first form field of that name, escaped by the quoting mode; "(file)" for an
// uploaded file; no text without such a field.
//
// [form element name exceeds maxlength]
void op_form(parameters &parameters, text &out) {
  const std::string_view name = parameters[0];
  const std::optional<form_entry> entry = find_form_entry(name);
  if (!entry) return;
  if (is_oversized(*entry)) {
    const text message = concat({"[form element ", name, " exceeds maxlength]"});
    out.append(message);
    return tell_message(message);
  }
  text value;
  append_form_text(*entry, value);
  quote(value, false, out);
}

// Whether the text has the form of a number. Deliberate: a sign alone, a "." alone and nothing at all
// have it, and the "." that may open a number does not count as its decimal point.
bool is_number(std::string_view value) {
  if (!value.empty() && (value.front() == '+' || value.front() == '-' || value.front() == '.')) value.remove_prefix(1);
  const std::string_view fraction = cut_at_char(value, '.');
  return std::all_of(value.begin(), value.end(), is_digit) && std::all_of(fraction.begin(), fraction.end(), is_digit);
}

// ^number[name]
//
// The value of the form field when it has the form of a number: a sign, digits, a decimal point.
// Otherwise, and without such a field, "0".
void op_number(parameters &parameters, text &out) {
  const std::optional<form_entry> entry = find_form_entry(parameters[0]);
  text value;
  if (entry && !is_oversized(*entry)) append_form_text(*entry, value);
  out.append(entry && !is_oversized(*entry) && is_number(value) ? value.view() : "0");
}

// ^combine[name]
// ^combine[name;separator]
//
// The values of every form field of that name, in the order they arrived, joined by the separator
// ("|" when none is given), escaped by the quoting mode.
void op_combine(parameters &parameters, text &out) {
  const std::string_view separator = parameters.count() > 1 ? parameters[1] : "|";
  bool first = true;
  for (auto entry = find_form_entry(parameters[0]); entry; entry = find_next_form_entry()) {
    if (!first) quote(separator, false, out);
    first = false;
    text value;
    append_form_text(*entry, value);
    quote(value, false, out);
  }
}

constexpr operator_definition definitions[] = {
    {"form", op_form, 1, evaluated, "^form[name]", "The value of a form field."},
    {"number", op_number, 1, evaluated, "^number[name]", "The value of a form field if it is a number, otherwise 0."},
    {"combine", op_combine, 0, evaluated, "^combine[name] ^combine[name;separator]",
     "All values of a form field, joined."},
};

}  // namespace

extern const operator_module form_operators{"language/form.cpp", definitions};

}  // namespace quillet
