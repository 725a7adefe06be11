#include "language/prepared_choices.h"

#include <algorithm>

#include "core/calls.h"
#include "core/evaluator.h"
#include "core/scanner.h"
#include "language/switch_state.h"

namespace quillet {

namespace {

// A part that is mostly its own value.
class compared_part {
 public:
  compared_part(repeated_text &keeper, std::string_view source)
      : part_(keeper, source), is_plain_(!has_markup(source)) {}

  // Its value: its own bytes, or those put into `storage`.
  [[nodiscard]] std::string_view value(text &storage) {
    if (is_plain_) return part_.source();
    part_.evaluate(storage);
    return storage;
  }
  // For a call that it completes.
  [[nodiscard]] prepared_call::outcome finish(text &out) {
    if (!is_plain_) return {&part_.code(), nullptr};
    out.append(part_.source());
    return prepared_call::complete;
  }

 private:
  prepared_part part_;
  bool is_plain_;
};

// Of ^eq[a;b;then;else]
class prepared_eq : public prepared_call {
 public:
  prepared_eq(repeated_text &keeper, const parameters &call)
      : a_(keeper, call[0]), b_(keeper, call[1]), then_(keeper, call[2]), otherwise_(keeper, call[3]) {}
  outcome make(text &out) override {
    text storage_a;
    text storage_b;
    const std::string_view a = a_.value(storage_a);
    return (a == b_.value(storage_b) ? then_ : otherwise_).finish(out);
  }

 private:
  compared_part a_;
  compared_part b_;
  compared_part then_;
  compared_part otherwise_;
};

struct prepared_case {
  std::vector<std::string_view> labels;
  std::string_view branch;
};

// The cases in the body of a switch; false when it has other calls in it, or labels that are to be evaluated.
struct case_finder {
  std::vector<prepared_case> cases;
  bool only_cases = true;

  void literal(std::string_view) {}
  void call(std::string_view name, const parameters &parameters) {
    only_cases = only_cases && name == "case" && parameters.count() >= 2;
    cases.push_back({{}, parameters.last()});
    for (int i = 0; i + 1 < parameters.count(); ++i) {
      only_cases = only_cases && !has_markup(parameters[i]);
      cases.back().labels.push_back(parameters[i]);
    }
  }
};

// Of ^switch[value;body], of a body with cases only
class prepared_switch : public prepared_call {
 public:
  prepared_switch(repeated_text &keeper, const parameters &call, const std::vector<prepared_case> &cases)
      : value_(keeper, call[0]) {
    for (const prepared_case &each : cases) cases_.push_back({each, {keeper, each.branch}});
  }
  outcome make(text &out) override {
    if (calls.depth >= max_call_depth) return not_now;  // its cases would be refused
    const switch_scope scope;
    text storage;
    current_switch = {value_.value(storage), text(), text()};
    if (found_case *found = choose(current_switch.value)) found->branch.evaluate(out);
    return complete;
  }

 private:
  struct found_case {
    prepared_case written;
    prepared_part branch;
  };

  // As `case` does: of several that match, or are the default, the last one, and an empty branch is none.
  found_case *choose(std::string_view value) {
    found_case *matched = nullptr;
    found_case *usual = nullptr;
    for (found_case &each : cases_) {
      for (const std::string_view label : each.written.labels) {
        if (label != value && label != "DEFAULT") continue;
        (label == value ? matched : usual) = &each;
        break;
      }
    }
    return matched != nullptr && !matched->written.branch.empty() ? matched : usual;
  }

  compared_part value_;
  std::vector<found_case> cases_;
};

}  // namespace

std::unique_ptr<prepared_call> prepare_eq(const parameters &call, repeated_text &keeper) {
  return call.count() < 3 || call.count() > 4 ? nullptr : std::make_unique<prepared_eq>(keeper, call);
}

std::unique_ptr<prepared_call> prepare_switch(const parameters &call, repeated_text &keeper) {
  case_finder found;
  scanner(call[1], found).run();
  return found.only_cases ? std::make_unique<prepared_switch>(keeper, call, found.cases) : nullptr;
}

}  // namespace quillet
