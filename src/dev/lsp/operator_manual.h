// What the operators' tables and the manual say of an operator.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/operators.h"
#include "dev/page/source_file.h"

namespace quillet::dev {

// The operators in force, in the order of registration.
[[nodiscard]] std::vector<const operator_definition *> known_operators();
// The one of that name; null when there is none.
[[nodiscard]] const operator_definition *find_definition(std::string_view name);

// A form of a call, "^sum[number;number]", and where in it the parameters are.
struct call_form {
  std::string_view label;
  std::vector<text_range> parameters;
};

// The forms that the operator's row names; or the one form of a text such as the header of a macro.
[[nodiscard]] std::vector<call_form> call_forms(const operator_definition &definition);
[[nodiscard]] call_form read_call_form(std::string_view label);

// The operator's entry in the manual after the forms of the call, in Markdown without links; empty when there is none.
[[nodiscard]] std::string manual_entry(std::string_view name);

}  // namespace quillet::dev
