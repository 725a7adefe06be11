#include "language/prepared_expression_calls.h"

#include "core/evaluator.h"
#include "core/quoting.h"
#include "core/variables.h"
#include "language/expression_arithmetic.h"
#include "language/number_format.h"
#include "language/prepared_condition.h"

namespace quillet {

int calculate_variable(char operation, int x, int y) {
  const long long a = x;
  const long long b = y;
  long long result = 0;
  if (operation == '+') result = a + b;
  if (operation == '-') result = a - b;
  if (operation == '*') result = a * b;
  if (operation == '/') result = b == 0 ? 0 : a / b;
  return static_cast<int>(static_cast<unsigned>(result));
}

namespace {

// Of ^var[name]
class prepared_reading : public prepared_call {
 public:
  explicit prepared_reading(std::string_view name) : read_(variable_named(name)) {}
  outcome make(text &out) override {
    quote(read_.value(), false, out);
    return complete;
  }

 private:
  variable &read_;
};

// Of ^var[name;text]
class prepared_assignment : public prepared_call {
 public:
  prepared_assignment(repeated_text &keeper, const parameters &call)
      : set_(variable_named(call[0])), value_(keeper, call[1]), is_plain_(!has_markup(call[1])) {}
  outcome make(text &) override {
    if (is_plain_) {
      set_.assign(value_.source());
      return complete;
    }
    const quoting_scope scope(quoting_none);
    text value;
    value_.evaluate(value);
    set_.assign(value);
    return complete;
  }

 private:
  variable &set_;
  prepared_part value_;
  bool is_plain_;
};

// Of ^var[name;operation;operand], of a text operation
class prepared_change : public prepared_call {
 public:
  prepared_change(repeated_text &keeper, const parameters &call)
      : changed_(variable_named(call[0])),
        operation_(call[1].front()),
        operand_(keeper, call[2]),
        plain_operand_(parse_int(call[2])),
        is_plain_(!has_markup(call[2])) {}
  outcome make(text &) override {
    if (is_plain_ && operation_ != '.') {
      calculate(plain_operand_);
      return complete;
    }
    const quoting_scope scope(quoting_none);
    text operand;
    operand_.evaluate(operand);
    if (operation_ == '.') {
      changed_.append(operand);
    } else {
      calculate(parse_int(operand));
    }
    return complete;
  }

 private:
  void calculate(int operand) {
    const int before = changed_.is_integer() ? changed_.integer() : parse_int(changed_.value());
    changed_.assign_integer(calculate_variable(operation_, before, operand));
  }

  variable &changed_;
  char operation_;
  prepared_part operand_;
  int plain_operand_;
  bool is_plain_;
};

// Of ^var[name;format;expression]
class prepared_computation : public prepared_call {
 public:
  prepared_computation(repeated_text &keeper, const parameters &call)
      : set_(variable_named(call[0])),
        format_(call[1]),
        is_integer_(format_ == "%d"),
        operand_(keeper, call[2], true) {}
  outcome make(text &) override {
    const long long integer = is_integer_ ? operand_.compute_integer() : integer_program::none;
    if (integer != integer_program::none) {
      set_.assign_integer(truncate_to_int(integer));
    } else {
      compute();
    }
    return complete;
  }

 private:
  // Apart, so that integers need no frame for it.
  [[gnu::noinline]] void compute() {
    double value = 0;
    bool is_empty = false;
    text result;
    const bool computed = operand_.compute("var", value, result, is_empty);
    if (is_empty) return;
    if (!computed) {
      set_.set(std::move(result));
    } else if (is_integer_) {
      set_.assign_integer(truncate_to_int(value));
    } else {
      append_number(value, format_, result);
      set_.set(std::move(result));
    }
  }

  variable &set_;
  std::string_view format_;
  bool is_integer_;
  prepared_condition operand_;
};

// Of ^eval[expression;format]
class prepared_eval : public prepared_call {
 public:
  prepared_eval(repeated_text &keeper, const parameters &call) : format_(call[1]), expression_(keeper, call[0]) {}
  outcome make(text &out) override {
    double value = 0;
    bool is_empty = false;
    if (expression_.compute("eval", value, out, is_empty) && !is_empty) append_number(value, format_, out);
    return complete;
  }

 private:
  std::string_view format_;
  prepared_condition expression_;
};

// Of ^if[condition;not zero;zero] ^if[condition;negative;zero;positive]
class prepared_if : public prepared_call {
 public:
  prepared_if(repeated_text &keeper, const parameters &call) : condition_(keeper, call[0]), count_(call.count()) {
    for (int i = 1; i < count_; ++i) branches_.push_back({{keeper, call[i]}, !has_markup(call[i])});
  }
  outcome make(text &out) override {
    const long long integer = condition_.compute_integer();
    return integer != integer_program::none ? choose(integer, out) : compute(out);
  }

 private:
  struct branch_text {
    prepared_part taken;
    bool is_plain;
  };

  [[gnu::noinline]] outcome compute(text &out) {
    double value = 0;
    bool is_empty = false;
    return condition_.compute("if", value, out, is_empty) ? choose(value, out) : complete;
  }

  template <class number>
  outcome choose(number value, text &out) {
    int branch = value == 0 ? 2 : 1;
    if (count_ == 4 && branch == 1 && !(value < 0)) branch = 3;
    if (branch >= count_) return complete;
    auto &[taken, is_plain] = branches_[static_cast<std::size_t>(branch - 1)];
    return is_plain ? append(taken.source(), out) : outcome{&taken.code(), nullptr};
  }
  [[gnu::noinline]] static outcome append(std::string_view branch, text &out) {
    out.append(branch);
    return complete;
  }

  prepared_condition condition_;
  int count_;
  std::vector<branch_text> branches_;
};

bool any_markup(const parameters &call, int from) {
  for (int i = from; i < call.count(); ++i) {
    if (has_markup(call[i])) return true;
  }
  return false;
}

}  // namespace

std::unique_ptr<prepared_call> prepare_var(const parameters &call, repeated_text &keeper) {
  if (has_markup(call[0])) return nullptr;
  if (call.count() == 1) return std::make_unique<prepared_reading>(call[0]);
  if (call.count() == 2) return std::make_unique<prepared_assignment>(keeper, call);
  if (has_markup(call[1]) || any_markup(call, 3)) return nullptr;
  const std::string_view operation = call[1];
  if (operation.size() == 1 && std::string_view("+-*/.").find(operation.front()) != std::string_view::npos) {
    return std::make_unique<prepared_change>(keeper, call);
  }
  return std::make_unique<prepared_computation>(keeper, call);
}

std::unique_ptr<prepared_call> prepare_eval(const parameters &call, repeated_text &keeper) {
  return any_markup(call, 1) ? nullptr : std::make_unique<prepared_eval>(keeper, call);
}

std::unique_ptr<prepared_call> prepare_if(const parameters &call, repeated_text &keeper) {
  return call.count() > 4 ? nullptr : std::make_unique<prepared_if>(keeper, call);
}

}  // namespace quillet
