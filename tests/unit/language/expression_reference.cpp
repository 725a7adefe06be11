#include "language/expression_reference.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace quillet {
namespace {

int to_integer(double x) {
  const double whole = std::trunc(x);
  return std::isnan(x) || whole < -2147483648.0 || whole > 2147483647.0 ? INT_MIN : static_cast<int>(whole);
}

// The number at the front of a text, by the C library itself; the bytes read.
std::size_t c_number(const char *text, double &value) {
  char *end = nullptr;
  if (*text == '0') {
    value = static_cast<double>(std::strtoul(text, &end, 0));
    return static_cast<std::size_t>(end - text);
  }
  // The C library also reads words and hexadecimal fractions here; they are no decimal numbers.
  const char *first = text + std::strspn(text, " \t\n\v\f\r");
  if (*first == '+' || *first == '-') ++first;
  if (std::strchr("iInN", *first) != nullptr && *first != '\0') return 0;
  if (first[0] == '0' && (first[1] == 'x' || first[1] == 'X')) {
    value = text[0] == '-' ? -0.0 : 0.0;
    return static_cast<std::size_t>(first + 1 - text);
  }
  value = std::strtod(text, &end);
  return static_cast<std::size_t>(end - text);
}

bool starts_name(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':'; }

enum mode { whole_text, group, single_operand };

constexpr int no_operator = 11;  // the precedence of the state without one

class reference {
 public:
  reference(const std::string &expression, const std::map<std::string, std::string> &variables)
      : variables_(variables), at_(expression.c_str()) {}

  double level(mode how) {
    double left = 0;
    double value = 0;
    std::string pending;
    int pending_precedence = no_operator;
    bool present = false;
    bool any_read = false;
    for (;;) {
      // 1. the stop test
      bool stop = how == single_operand && present;
      if (!stop && *at_ == '\0') {
        if (how == group) return fail(2);
        if (how == single_operand) return fail(1);
        stop = true;
      }
      if (how == group && *at_ == ')') stop = true;
      if (stop) {
        if (!pending.empty() && !present) return fail(1);
        return pending.empty() ? value : infix(pending, left, value);
      }
      // 2. a group
      if (*at_ == '(') {
        ++at_;
        if (present) return fail(1);
        value = level(group);
        if (status != 0) return 0;
        ++at_;
        present = any_read = true;
        continue;
      }
      // 3. a number, unless a sign after a value
      double number = 0;
      if (!(any_read && (*at_ == '+' || *at_ == '-'))) {
        const std::size_t read = starts_name(*at_) ? 0 : c_number(at_, number);
        if (read > 0) {
          at_ += read;
          value = number;
          present = any_read = true;
          continue;
        }
      }
      int precedence = 0;
      const std::string token = operator_token(precedence);
      if (status != 0) return 0;
      // a name
      if (token.empty()) {
        value = name();
        if (status != 0) return 0;
        present = any_read = true;
        continue;
      }
      // 4. a prefix operator or function
      if (precedence == 0) {
        const double operand = level(single_operand);
        if (status != 0) return 0;
        value = prefix(token, operand);
        present = any_read = true;
        continue;
      }
      // 5. an infix operator
      if (!present) return fail(1);
      if (pending_precedence < precedence) {
        const double operand = level(single_operand);
        if (status != 0) return 0;
        value = infix(token, value, operand);
        continue;
      }
      left = pending.empty() ? value : infix(pending, left, value);
      pending = token;
      pending_precedence = precedence;
      present = false;
    }
  }

  [[nodiscard]] std::size_t rest() const { return std::strlen(at_); }

  int status = 0;

 private:
  double fail(int why) {
    status = why;
    return 0;
  }

  // Steps over an operator token; empty when a name begins here. Precedence 0: a prefix operator.
  std::string operator_token(int &precedence) {
    for (const char *function : {"round", "floor", "ceiling", "abs", "sqrt", "sign"}) {
      if (std::strncmp(at_, function, std::strlen(function)) == 0) return take(std::strlen(function));
    }
    if (starts_name(*at_)) return "";
    const char c = at_[0];
    const char next = at_[1];
    const bool equals = next == '=';
    const bool twice = next == c;
    switch (c) {
      case '*':
      case '/':
      case '%':
        precedence = 9;
        return take(1);
      case '+':
      case '-':
        precedence = 8;
        return take(1);
      case '<':
      case '>':
        precedence = twice ? 7 : 6;
        return take(twice || equals ? 2 : 1);
      case '!':
        precedence = equals ? 6 : 0;
        return take(equals ? 2 : 1);
      case '~':
        return take(1);
      case '&':
        precedence = twice ? 3 : 5;
        return take(twice ? 2 : 1);
      case '|':
        precedence = twice ? 2 : 4;
        return take(twice ? 2 : 1);
      case '^':
        precedence = 4;
        return take(1);
      case '=':
        if (twice) {
          precedence = 6;
          return take(2);
        }
        break;
      default:
        break;
    }
    ++at_;
    fail(1);
    return "";
  }

  std::string take(std::size_t length) {
    std::string token(at_, length);
    at_ += length;
    return token;
  }

  double name() {
    std::size_t length = 0;
    while (starts_name(at_[length]) || (at_[length] >= '0' && at_[length] <= '9')) ++length;
    const std::string read = take(length);
    if (length > 127) return fail(4);
    const auto variable = variables_.find(read);
    if (variable == variables_.end()) return fail(4);
    double value = 0;
    if (c_number(variable->second.c_str(), value) == 0) return fail(3);
    return value;
  }

  static double infix(const std::string &token, double x, double y) {
    const int a = to_integer(x);
    const int b = to_integer(y);
    const int count = ((b % 32) + 32) % 32;
    if (token == "*") return x * y;
    if (token == "/") return y == 0 ? 1e300 : x / y;
    if (token == "%") return b == 0 ? 0 : static_cast<double>(std::int64_t{a} % b);
    if (token == "+") return x + y;
    if (token == "-") return x - y;
    if (token == "<<") return static_cast<std::int32_t>(static_cast<std::uint32_t>(std::int64_t{a} * (1LL << count)));
    if (token == ">>") return std::floor(static_cast<double>(a) / std::pow(2.0, count));
    if (token == "<") return x < y ? 1 : 0;
    if (token == ">") return x > y ? 1 : 0;
    if (token == "<=") return x <= y ? 1 : 0;
    if (token == ">=") return x >= y ? 1 : 0;
    if (token == "==") return x == y ? 1 : 0;
    if (token == "!=") return x != y ? 1 : 0;
    if (token == "&") return a & b;
    if (token == "^") return a ^ b;
    if (token == "|") return a | b;
    if (token == "&&") return a != 0 && b != 0 ? 1 : 0;
    return a != 0 || b != 0 ? 1 : 0;
  }

  static double prefix(const std::string &token, double x) {
    if (token == "!") return to_integer(x) == 0 ? 1 : 0;
    if (token == "~") return static_cast<double>(~static_cast<std::uint32_t>(to_integer(x)));
    if (token == "round") return std::floor(x + 0.5);
    if (token == "floor") return std::floor(x);
    if (token == "ceiling") return std::ceil(x);
    if (token == "abs") return std::fabs(x);
    if (token == "sign") return x > 0 ? 1 : (x < 0 ? -1 : 0);
    return 0;
  }

  const std::map<std::string, std::string> &variables_;
  const char *at_;
};

}  // namespace

reference_result reference_evaluate(const std::string &expression,
                                    const std::map<std::string, std::string> &variables) {
  reference evaluator(expression, variables);
  const double value = evaluator.level(whole_text);
  if (evaluator.status == 0) return {value, 0, 0};
  return {0, evaluator.status, evaluator.rest()};
}

}  // namespace quillet
