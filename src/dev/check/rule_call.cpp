// The rules about single calls: call-unknown, call-count.
#include <string>

#include "core/operators.h"
#include "dev/check/rules.h"

namespace quillet::dev {

file_rule check_call_names;
file_rule check_call_counts;

void check_call_names(const document &file, const checked_site &, finding_list &found) {
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      if (find_operator(file.text(each.name)) != nullptr) return;
      found.add("call-unknown", file, {each.caret(), each.name.end},
                "there is no operator " + std::string(file.text(each.name)));
    });
  }
}

void check_call_counts(const document &file, const checked_site &, finding_list &found) {
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      const operator_entry *const called = find_operator(file.text(each.name));
      if (called == nullptr || called->parameter_count == 0) return;
      const auto wanted = static_cast<std::size_t>(called->parameter_count);
      if (each.parameters.size() == wanted) return;
      found.add("call-count", file, {each.caret(), each.name.end},
                std::string(called->name) + " takes " + std::to_string(wanted) +
                    (wanted == 1 ? " parameter" : " parameters") + ", here are " +
                    std::to_string(each.parameters.size()));
    });
  }
}

}  // namespace quillet::dev
