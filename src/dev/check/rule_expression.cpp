// The rules about expressions that need no values: logic-order, and the formats of logic-number.
#include <algorithm>
#include <optional>
#include <string>

#include "dev/check/expression_order.h"
#include "dev/check/expression_text.h"
#include "dev/check/expressions_of_call.h"
#include "dev/check/rules.h"
#include "dev/page/literal.h"
#include "language/number_format.h"

namespace quillet::dev {

file_rule check_expression_order;
file_rule check_formats;

namespace {

// A part of an expression as it is written, on one line.
std::string shown(const document &file, text_range part) {
  constexpr std::size_t longest = 50;
  std::string bytes(file.text(part));
  std::replace(bytes.begin(), bytes.end(), '\n', ' ');
  return bytes.size() <= longest ? bytes : bytes.substr(0, longest) + "...";
}

void check_order(const document &file, const template_text &parameter, finding_list &found) {
  const expression_text expression = read_expression_text(file.text(), parameter);
  const std::optional<order_surprise> surprise = find_order_surprise(expression.bytes);
  if (!surprise) return;
  const text_range taken = expression.origin_of(surprise->taken.begin, surprise->taken.end);
  const text_range expected = expression.origin_of(surprise->expected.begin, surprise->expected.end);
  const text_range sign = expression.origin_of(surprise->sign.begin, surprise->sign.end);
  found.add("logic-order", file, sign,
            "\"" + shown(file, sign) + "\" takes the result of \"" + shown(file, taken) + "\"; put \"" +
                shown(file, expected) + "\" in parentheses");
}

void check_format(const document &file, const call &each, finding_list &found) {
  const std::optional<std::size_t> index = format_of_call(file, each);
  if (!index) return;
  const std::optional<std::string> format = literal_parameter(file, each, *index);
  if (!format) return;
  const std::size_t letter = find_integer_letter(*format);
  if (letter == std::string::npos) return;
  // Escapes make what is written longer than the format: the letter is looked for in it once more.
  const text_range written = each.parameters[*index].range;
  const std::size_t place = written.begin + file.text(written).find_first_of((*format)[letter]);
  found.add("logic-number", file, {place, place + 1},
            std::string("the letter ") + (*format)[letter] +
                " in the format makes the number a whole one; write the text outside");
}

}  // namespace

void check_expression_order(const document &file, const checked_site &, finding_list &found) {
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      for (const template_text *expression : expressions_of_call(file, each)) check_order(file, *expression, found);
    });
  }
}

void check_formats(const document &file, const checked_site &, finding_list &found) {
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) { check_format(file, each, found); });
  }
}

}  // namespace quillet::dev
