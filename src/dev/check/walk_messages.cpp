// Following a page: conditions that a message makes true.
#include <algorithm>

#include "dev/check/page_walk.h"

namespace quillet::dev {

namespace {

// The only call of a text, without the blanks around it; null when there is something else.
const call *only_call(const document &file, const template_text &part) {
  if (part.calls.size() != 1) return nullptr;
  for (const text_range &each : part.literals) {
    if (file.text(each).find_first_not_of(" \t\n") != std::string_view::npos) return nullptr;
  }
  return &part.calls[0];
}

// Whether something is left of the text when all its calls give nothing.
bool has_text(const document &file, const template_text &part) {
  return std::any_of(part.literals.begin(), part.literals.end(), [&](const text_range &each) {
    return file.text(each).find_first_not_of(" \t\n") != std::string_view::npos && file.text(each).find('$') != 0;
  });
}

}  // namespace

// `part` is what the condition of ifdef, default or if is.
void page_walk::check_message(const call &condition, const template_text &part, const frame &in) {
  const call *asked = only_call(*in.file, part);
  if (in.file->text(condition.name) == "if" && part.calls.size() == 1) asked = &part.calls[0];
  if (asked == nullptr) return;
  const std::string_view name = in.file->text(asked->name);
  const std::string shown = std::string(in.file->text(condition.name));
  if ((name == "level" || name == "context") && asked->parameters.size() == 2) {
    return check_message(condition, asked->parameters[1], in);
  }
  walk_finding found{
      .rule = "logic-message", .file = in.file, .part = {asked->caret(), asked->name.end}, .message = ""};
  if (name == "upload" && asked->parameters.size() > 1) {
    const walk_value what = value_of(*asked, 1, in);
    if (!what.is("name") && !what.is("size") && !what.is("value") && !what.is("uuencode")) return;
    const walk_value field = value_of(*asked, 0, in);
    const std::string written(in.file->text(asked->parameters[0].range));
    found.message = "without a file upload gives a message, which " + shown + " takes for a value; ask ^eq[^form[" +
                    written + "];(file);...] first";
    found.visitors = {{"form " + field.text, in.file, found.part, 0}};
  } else if (shown != "if" && name == "eval" && has_text(*in.file, asked->parameters[0])) {
    found.message = "eval gives a value or a message, never nothing: " + shown + " has no choice";
  } else if (shown != "if" && name == "counter") {
    found.message = "counter gives a number or a message, never nothing: " + shown + " has no choice";
  } else if (shown != "if" && name == "match" && asked->parameters.size() < 4) {
    const walk_value options = asked->parameters.size() == 3 ? value_of(*asked, 1, in) : walk_value();
    const auto expression = compiled(value_of(*asked, 0, in), options);
    if (expression == nullptr || expression->error() == 0) return;
    found.message = "the regular expression is not valid; " + shown + " takes the message for a match";
  } else {
    return;
  }
  report(std::move(found));
}

}  // namespace quillet::dev
