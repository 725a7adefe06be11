// case-order: a case that can never be chosen, as a later one of the same switch has all its labels.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "dev/check/rules.h"
#include "dev/page/literal.h"

namespace quillet::dev {

file_rule check_case_order;

namespace {

void check_switch(const document &file, const call &chosen, finding_list &found) {
  // Cases in a call inside the body may be reached or not: only those that are always reached count.
  std::set<std::string> later;
  const std::vector<call> &cases = chosen.parameters[1].calls;
  for (auto at = cases.rbegin(); at != cases.rend(); ++at) {
    if (!is_call_of(file, *at, "case") || at->parameters.size() < 2) continue;
    std::vector<std::string> labels;
    bool can_win = false;
    for (std::size_t i = 0; i + 1 < at->parameters.size(); ++i) {
      const auto label = literal_parameter(file, *at, i);
      if (!label || !later.contains(*label)) can_win = true;
      if (label) labels.push_back(*label);
    }
    if (!can_win) {
      found.add("case-order", file, {at->caret(), at->bracket() + 1},
                "this case is never chosen: of several cases with the label " + labels.front() + " the last one wins");
    }
    // A case without a branch gives way to DEFAULT, and so may an earlier one with the same label: it has replaced it.
    later.insert(labels.begin(), labels.end());
  }
}

}  // namespace

void check_case_order(const document &file, const checked_site & /*in*/, finding_list &found) {
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      if (is_call_of(file, each, "switch") && each.parameters.size() == 2) check_switch(file, each, found);
    });
  }
}

}  // namespace quillet::dev
